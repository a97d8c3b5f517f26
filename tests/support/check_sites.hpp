// The places of contract checks in the sources.
#pragma once

#include <pb/pb_base.h>

#include <string>

namespace support
{

// Looks for a check with this text on this line of a file, whose path begins at the root of the
// repository. The check may be written there, or be in a macro that is used there, or be made by a
// function that is called there, for its caller (PB_CHECK_AT). Gives an empty text if there is such
// a check, else the reason.
std::string wrongPlaceOfCheck( const std::string &file, PB_INT line, const std::string &expression );

}
