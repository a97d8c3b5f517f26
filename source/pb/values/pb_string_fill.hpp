// New strings whose text is written in place, so that no other memory holds it.
#pragma once

#include <pb/pb_string.h>

namespace pb
{

// createStringOfLength: a string of `length` bytes, at least one, and the address of its memory.
// The caller writes the bytes there, then calls finishString before any other use except the
// release.
PB_STRING *createStringOfLength( PB_INT length, PB_BOOL sensitive, PB_BYTE *&bytes );

// finishString: the first `length` bytes are the text; they must be valid UTF-8.
void finishString( PB_STRING *str, PB_INT length );

}
