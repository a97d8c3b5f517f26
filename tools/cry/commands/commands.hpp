// All commands of the tool, in one table.
#pragma once

#include <CLI/CLI.hpp>
#include <span>
#include <string_view>
#include <vector>

namespace tool
{

struct Command
{
    std::string_view name;
    std::string_view group;   // the command stands under this one; empty for a command of its own
    const char      *summary; // a line for the help

    // Adds the options. If the command was given, its callback puts the exit code into `exit`. Null
    // for a group, which only has other commands.
    void ( *add )( CLI::App &command, int &exit );

    constexpr bool isGroup() const { return !add; }
};

// A group stands before its commands.
std::span<const Command> commands();

// The row of a name in a group; null if there is none.
const Command *findCommand( std::string_view name, std::string_view group );

// Adds what stands before the commands: the name of the tool and its own options.
void addTool( CLI::App &app, bool &version, bool &json );

// Adds all commands to the tool. Only those in `used` get their options, which saves time.
void addCommands( CLI::App &app, const std::vector<const Command *> &used, int &exit );

// `cry --version`, which is not a command.
void printVersion( bool json );

// The functions of the table. Each is defined in the file of its name, or of its group's name.
void addVerify( CLI::App &command, int &exit );
void addInspect( CLI::App &command, int &exit );
void addConvert( CLI::App &command, int &exit );
void addTnList( CLI::App &command, int &exit );
void addHash( CLI::App &command, int &exit );
void addRoots( CLI::App &command, int &exit );
void addHmac( CLI::App &command, int &exit );
void addRandom( CLI::App &command, int &exit );
void addUuid( CLI::App &command, int &exit );
void addKeyGenerate( CLI::App &command, int &exit );
void addKeyPublic( CLI::App &command, int &exit );
void addKeyInfo( CLI::App &command, int &exit );
void addKeyCurves( CLI::App &command, int &exit );
void addSignatureMake( CLI::App &command, int &exit );
void addSignatureCheck( CLI::App &command, int &exit );
void addSignatureConvert( CLI::App &command, int &exit );
void addCertificateGenerate( CLI::App &command, int &exit );
void addRequestGenerate( CLI::App &command, int &exit );
void addRequestCheck( CLI::App &command, int &exit );
void addCrlCheck( CLI::App &command, int &exit );
void addPkcs12Read( CLI::App &command, int &exit );
void addPkcs12Write( CLI::App &command, int &exit );
void addVaultList( CLI::App &command, int &exit );
void addVaultShow( CLI::App &command, int &exit );
void addVaultSet( CLI::App &command, int &exit );
void addVaultDelete( CLI::App &command, int &exit );
void addStackRun( CLI::App &command, int &exit );
void addStackNormalize( CLI::App &command, int &exit );
void addStackOptions( CLI::App &command, int &exit );
void addTokenSign( CLI::App &command, int &exit );
void addTokenVerify( CLI::App &command, int &exit );
void addTokenShow( CLI::App &command, int &exit );
void addTokenRoot( CLI::App &command, int &exit );
void addBundlePack( CLI::App &command, int &exit );
void addBundleUnpack( CLI::App &command, int &exit );
void addBundleVerify( CLI::App &command, int &exit );
void addNameCheck( CLI::App &command, int &exit );

}
