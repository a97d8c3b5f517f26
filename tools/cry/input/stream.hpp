// Files that are read piece by piece, however large they are.
#pragma once

#include <pb/pb_base.h>

#include <cstdint>
#include <functional>
#include <string>

namespace tool
{

// Calls take( bytes, count ) for the pieces of a file or of standard input, and shows progress where there is much. Throws InputError when it cannot be read.
void forEachPiece( const std::string &path, const std::function<void( const PB_BYTE *bytes, PB_INT count )> &take );

// A line of a list as sha256sum writes it: a name with a backslash or a line end in it is escaped, and a backslash stands before the digest then.
std::string listLine( const std::string &digest, const std::string &path );

}
