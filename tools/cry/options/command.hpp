// What every subcommand has: its options, and how it ends.
#pragma once

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

namespace tool
{

// How the tool ends.
enum Exit
{
    exitGood       = 0,
    exitNegative   = 1, // the verdict is negative
    exitInputError = 2, // wrong use, or input that cannot be read
};

// Ends the command with exitInputError and this message, which names the file and the place.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// A value as it was given; every option that takes one needs this as its transformation (see hideNames in main.cpp).
inline std::string plain( const std::string &value ) { return value.starts_with( '\0' ) ? value.substr( 1 ) : value; }

// Each adds its subcommand; when it was given, the callback puts the exit code into `exit`.
void addVerify( CLI::App &app, int &exit );
void addHash( CLI::App &app, int &exit );
void addRoots( CLI::App &app, int &exit );
void addHmac( CLI::App &app, int &exit );
void addRandom( CLI::App &app, int &exit );
void addUuid( CLI::App &app, int &exit );
void addKey( CLI::App &app, int &exit );
void addSignature( CLI::App &app, int &exit );
void addCertificate( CLI::App &app, int &exit );
void addRequest( CLI::App &app, int &exit );
void addPkcs12( CLI::App &app, int &exit );
void addName( CLI::App &app, int &exit );

// What `cry --version` prints.
void printVersion( bool json );

}
