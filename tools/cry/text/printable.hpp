// Text that a terminal may show.
#pragma once

#include <string>
#include <string_view>

namespace tool
{

// Text from a certificate or a file name, made harmless for the terminal: control, invisible and
// direction characters become \u{...}, bytes that are not UTF-8 become \x{...}.
std::string printable( std::string_view text );

// Text that can be read back from what is shown: as above, and a backslash becomes \\.
std::string escaped( std::string_view text );

// The same for names that are made of ASCII characters (domain names, addresses): everything else
// in them is escaped, too, and blanks and commas, so that one name does not look like another one
// or like two.
std::string escapedName( std::string_view text );

bool isUtf8( std::string_view text );

// Text of any length for a message: in quotation marks, printable, and cut off after the
// last character that ends within 60 bytes.
std::string shown( std::string_view text );

}
