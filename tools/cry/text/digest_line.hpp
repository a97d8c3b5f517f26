// A line of a list of digests and file names, as sha256sum writes it, or sha256sum --tag.
#pragma once

#include <cry/cry_hash_algorithm.h>

#include <optional>
#include <string>
#include <string_view>

namespace tool
{

struct DigestLine
{
    std::string        digest, path;
    CRY_HASH_ALGORITHM algorithm;
    bool               tagged = false; // the line names the algorithm
};

// The line, with its end. In a name, a backslash and line ends are escaped, and then a backslash
// stands at the front.
std::string digestLine( const std::string &digest, const std::string &path );
// The same with the algorithm: "SHA256 (path) = digest".
std::string taggedLine( CRY_HASH_ALGORITHM algorithm, const std::string &digest, const std::string &path );

// Reads a line of either form, without its end; nothing if it is neither. The digest is one of
// `algorithm` if the line does not name another one.
std::optional<DigestLine> parseDigestLine( std::string_view line, CRY_HASH_ALGORITHM algorithm );

}
