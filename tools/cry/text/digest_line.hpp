// A line of a list of digests and file names, as sha256sum writes it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tool
{

struct DigestLine
{
    std::string digest, path;
};

// The line, with its end. In a name, a backslash and line ends are escaped, and then a backslash
// stands before the digest.
std::string digestLine( const std::string &digest, const std::string &path );

// Reads a line with a digest of so many digits, without its end; nothing if it is not such a line.
std::optional<DigestLine> parseDigestLine( std::string_view line, size_t digits );

}
