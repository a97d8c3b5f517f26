#include "options/algorithm.hpp"

#include "options/command.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"
#include "text/spelling.hpp"

#include <algorithm>
#include <iterator>

namespace
{

struct Name
{
    const char        *text;
    CRY_HASH_ALGORITHM value;
    const char        *other = nullptr; // another name
};

constexpr Name names[] = {
    { "md5", CRY_HASH_ALGORITHM_MD5 },
    { "sha1", CRY_HASH_ALGORITHM_SHA1 },
    { "sha224", CRY_HASH_ALGORITHM_SHA2_224, "sha2-224" },
    { "sha256", CRY_HASH_ALGORITHM_SHA2_256, "sha2-256" },
    { "sha384", CRY_HASH_ALGORITHM_SHA2_384, "sha2-384" },
    { "sha512", CRY_HASH_ALGORITHM_SHA2_512, "sha2-512" },
    { "sha3-224", CRY_HASH_ALGORITHM_SHA3_224 },
    { "sha3-256", CRY_HASH_ALGORITHM_SHA3_256 },
    { "sha3-384", CRY_HASH_ALGORITHM_SHA3_384 },
    { "sha3-512", CRY_HASH_ALGORITHM_SHA3_512 },
};

std::string algorithmNames()
{
    std::string all;
    for( const Name &name : names )
        all += ( all.empty() ? "" : ", " ) + std::string( name.text );
    return all;
}

}

void tool::addAlgorithm( CLI::App &command, std::string &name, const std::string &what )
{
    addOption( command, "--algorithm", name, "NAME", what + "one of " + algorithmNames() )->capture_default_str();
    std::vector<std::string> known;
    for( const Name &each : names )
        known.emplace_back( each.text );
    addKnown( command, "--algorithm", known );
}

tool::InputError tool::algorithmMissing() { return InputError( "this libcrypto does not have the algorithm" ); }

std::optional<CRY_HASH_ALGORITHM> tool::findAlgorithm( const std::string &text )
{
    for( const Name &name : names )
    {
        if( isSameName( text, name.text ) || ( name.other && isSameName( text, name.other ) ) ||
            isSameName( text, take( cryHashAlgorithmToString( name.value ) ) ) )
            return name.value;
    }
    return {};
}

CRY_HASH_ALGORITHM tool::algorithmOf( const std::string &text )
{
    std::optional<CRY_HASH_ALGORITHM> found = findAlgorithm( text );
    if( !found )
        throw InputError( "--algorithm: " + shown( text ) + " is unknown; known are " + algorithmNames() );
    return *found;
}

std::string tool::nameOfAlgorithm( CRY_HASH_ALGORITHM algorithm )
{
    return std::find_if( std::begin( names ), std::end( names ), [=]( const Name &name ) { return name.value == algorithm; } )->text;
}
