// Random bytes for UUIDs. UUIDs are no secrets, so a few of the next ones may lie in memory. No
// other random numbers may come from here.
#pragma once

#include <pb/pb_base.h>

namespace cry::uuid
{

inline constexpr PB_INT bytesOfOne = 16, onesInBlock = 32;

// Sixteen bytes with the strength of cryRandomBytes, which no other call has given and no other
// call will give.
void randomBytes( PB_BYTE *bytes );

// For tests: the bytes that this thread has in store, used ones are zero, or null if it has no
// block; and the number of blocks of all threads.
const PB_BYTE *blockOfThread();
PB_INT         blocks();

}
