#include "output/error.hpp"

#include "text/printable.hpp"

#include <cstdio>

void tool::printError( std::string_view text )
{
    std::fflush( stdout );
    // Most of it is printable already; a second time changes nothing.
    std::string line = "cry: " + printable( text ) + "\n";
    std::fwrite( line.data(), 1, line.size(), stderr );
}
