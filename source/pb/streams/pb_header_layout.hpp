// What stands before the text of a stream's header.
#pragma once

#include <pb/pb_base.h>

namespace pb
{

// A transfer that changes line ends or the eighth bit also changes this mark.
inline constexpr PB_BYTE headerMagic[8] = { 0x89, 'P', 'B', 'H', 'D', '1', '\r', '\n' };

inline constexpr PB_INT headerPrefixLength = sizeof headerMagic + 4;

}
