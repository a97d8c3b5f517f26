#include "output/error.hpp"

#include "input/file.hpp"
#include "text/printable.hpp"

#include <cstdio>
#include <cstring>

tool::InputError::InputError( const std::string &path, const std::string &problem, PB_INT lineNumber ) :
    std::runtime_error( nameOf( path ) + ( lineNumber ? ":" + std::to_string( lineNumber ) : "" ) + ": " + problem ), file( path ), line( lineNumber )
{
}

tool::InputError::InputError( const InputError &other, const std::string &more ) :
    std::runtime_error( other.what() + more ), file( other.file ), line( other.line )
{
}

tool::OutputError::OutputError( int code ) : InputError( std::string( "standard output: " ) + std::strerror( code ) ) {}

tool::OutputError::OutputError( const std::string &path, int code ) : InputError( path, std::strerror( code ) ) {}

void tool::printError( std::string_view text )
{
    std::fflush( stdout );
    // Most of it is printable already; a second time changes nothing.
    std::string line = "cry: " + printable( text ) + "\n";
    std::fwrite( line.data(), 1, line.size(), stderr );
}
