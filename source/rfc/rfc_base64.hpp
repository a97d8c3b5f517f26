// The two ways to encode and decode base 64: with AVX2 if the processor has it, and with tables.
// Both give the same results. The way with AVX2 finds no value in a table at a place that depends
// on the data, except for the last characters of a text that is decoded.
#pragma once

#include <pb/pb_base.h>

namespace rfc::base64
{

// Alphabet: RFC 4648, clause 4 or clause 5. They differ in the last two characters.
enum class Alphabet
{
    standard,
    url,
};

inline constexpr PB_INT lineBytes = 48, lineCharacters = 64;

// Writes all characters, with the padding. Reads and writes nothing behind the end.
void encode( Alphabet alphabet, const PB_BYTE *bytes, PB_INT byteCount, char *text );

// The same for the standard alphabet in lines of 64 characters. Each line ends with CR LF, the last
// one too. Returns the end of the text.
char *encodeLines( const PB_BYTE *bytes, PB_INT byteCount, char *text );

// Decodes groups of four characters of the alphabet from the beginning. It stops at some place
// before the first other character, or at less than four characters. Returns the number of groups;
// each has three bytes. `text` and `bytes` may begin at the same address.
PB_INT decodeGroups( Alphabet alphabet, const char *text, PB_INT length, PB_BYTE *bytes );

// Decodes `count` lines of 64 characters. Each line ends with LF, or CR LF if `lineEndLength` is 2.
// False if something is not a character of the standard alphabet or not this line end.
bool tryDecodeLines( const char *text, PB_INT count, PB_INT lineEndLength, PB_BYTE *bytes );

// Whether this processor has AVX2 and the way with AVX2 is compiled in.
bool vectorsPresent();

// For tests: the way with tables is used in the whole process if this is false.
void setVectorsUsed( bool used );

}
