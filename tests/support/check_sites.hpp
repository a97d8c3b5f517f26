// Where contract checks stand in the sources.
#pragma once

#include <pb/pb_base.h>

#include <string>

namespace support
{

// Looks whether a check with this text stands on this line of a file, whose path begins at the root
// of the repository. It may be written there, or a macro that is used there may hold it, or a
// function that is called there may make it for its caller (PB_CHECK_AT). An empty text if so, else
// a text that says what is wrong.
std::string wrongPlaceOfCheck( const std::string &file, PB_INT line, const std::string &expression );

}
