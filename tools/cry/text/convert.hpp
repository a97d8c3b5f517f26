// Text as the library and the tool have it, and digits.
#pragma once

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

#include <string>
#include <string_view>

namespace tool
{

// The text of a string object, which is released.
std::string take( PB_STRING *str );

// The bytes of a buffer as text.
std::string textOf( PB_BUFFER *bytes );

// Whether the bytes of a buffer begin with these.
bool startsWith( PB_BUFFER *buf, std::string_view bytes );

// A to Z as a to z.
std::string lowerCase( std::string text );

// The value of a hexadecimal digit, -1 for any other character.
int hexDigit( char c );

// Bytes as hexadecimal digits, in small letters.
std::string hexText( std::string_view bytes );

// Bytes as a fingerprint is written: "0A:FF".
std::string withColons( PB_BUFFER *bytes );

// "3 certificates", "1 certificate".
std::string counted( size_t count, const std::string &what );

}
