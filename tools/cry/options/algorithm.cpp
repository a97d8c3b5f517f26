#include "options/algorithm.hpp"

#include "options/command.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <pb/pb_string.h>
#include <pb/ref.hpp>

namespace
{

struct Name
{
    const char        *text;
    CRY_HASH_ALGORITHM value;
};

constexpr Name names[] = {
    { "md5", CRY_HASH_ALGORITHM_MD5 },
    { "sha1", CRY_HASH_ALGORITHM_SHA1 },
    { "sha224", CRY_HASH_ALGORITHM_SHA2_224 },
    { "sha256", CRY_HASH_ALGORITHM_SHA2_256 },
    { "sha384", CRY_HASH_ALGORITHM_SHA2_384 },
    { "sha512", CRY_HASH_ALGORITHM_SHA2_512 },
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
}

tool::InputError tool::algorithmMissing() { return InputError( "this libcrypto does not have the algorithm" ); }

CRY_HASH_ALGORITHM tool::algorithmOf( const std::string &text )
{
    for( const Name &name : names )
    {
        if( lowerCase( text ) == name.text )
            return name.value;
    }
    pb::Ref<PB_STRING> str   = pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ) );
    PB_INT             value = cryHashAlgorithmFromString( str.get() );
    if( value < 0 )
        throw InputError( "--algorithm: " + shown( text ) + " is unknown; known are " + algorithmNames() );
    return value;
}
