// What a save that was killed can leave beside the vault's file.
#pragma once

#include <pb/pb_string.h>
#include <string_view>

namespace cry::vault
{

// Removes files that pbPathFileWriteBuffer wrote and did not rename, because the process was
// killed: they may hold keys that were deleted since then. The directory is the host's, so a file
// must have such a name, begin as a vault's file does (or end before that), be this user's, have no
// other name, and be an hour old. The caller holds the lock of the vault. No error counts.
void removeLeftovers( PB_STRING *directory, std::string_view begin );

}
