#include "hash/cry_hash_direct.hpp"

#include <cry/cry_hash_algorithm.h>
#include <pb/pb_mem.h>

#include "hash/cry_hash_algorithm.hpp"

#include <cstring>
#include <openssl/engine.h>
#include <openssl/md5.h>
#include <openssl/sha.h>
#include <openssl_module/internal/openssl_module.h>

#if !defined( OPENSSL_NO_DEPRECATED_3_0 ) && !defined( OPENSSL_NO_MD5 )
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace
{

// One digest in the making. Nothing of its input is left behind.
template<class Context, int ( *Init )( Context * ), int ( *Update )( Context *, const void *, size_t ), int ( *Final )( unsigned char *, Context * ),
    size_t BlockSize, size_t DigestSize>
class Digest
{
public:
    static constexpr size_t blockSize = BlockSize, digestSize = DigestSize;

    Digest() = default;
    ~Digest() { pbMemCleanse( &context, sizeof context ); }
    Digest( const Digest & )            = delete;
    Digest &operator=( const Digest & ) = delete;

    bool start() { return Init( &context ) == 1; }
    bool add( const PB_BYTE *bytes, size_t length ) { return Update( &context, bytes, length ) == 1; }
    bool add( PB_BUFFER *part ) { return add( pbBufferBytes( part ), (size_t)pbBufferLength( part ) ); }
    bool finish( PB_BYTE *digest ) { return Final( digest, &context ) == 1; }

private:
    Context context;
};

using Md5    = Digest<MD5_CTX, MD5_Init, MD5_Update, MD5_Final, MD5_CBLOCK, MD5_DIGEST_LENGTH>;
using Sha1   = Digest<SHA_CTX, SHA1_Init, SHA1_Update, SHA1_Final, SHA_CBLOCK, SHA_DIGEST_LENGTH>;
using Sha224 = Digest<SHA256_CTX, SHA224_Init, SHA224_Update, SHA224_Final, SHA256_CBLOCK, SHA224_DIGEST_LENGTH>;
using Sha256 = Digest<SHA256_CTX, SHA256_Init, SHA256_Update, SHA256_Final, SHA256_CBLOCK, SHA256_DIGEST_LENGTH>;
using Sha384 = Digest<SHA512_CTX, SHA384_Init, SHA384_Update, SHA384_Final, SHA512_CBLOCK, SHA384_DIGEST_LENGTH>;
using Sha512 = Digest<SHA512_CTX, SHA512_Init, SHA512_Update, SHA512_Final, SHA512_CBLOCK, SHA512_DIGEST_LENGTH>;

// OpenSSL asks an engine that a host made the default for a digest, even if a provider has it.
bool engineComputes( [[maybe_unused]] int nid )
{
#ifndef OPENSSL_NO_ENGINE
    ENGINE *engine = ENGINE_get_digest_engine( nid );
    if( engine )
        ENGINE_finish( engine );
    return engine != nullptr;
#else
    return false;
#endif
}

// Calls `compute` with a digest of this algorithm. False if the digest has to be left to OpenSSL's
// general interface, or if `compute` gives false.
template<class Compute>
bool tryDirectly( PB_INT alg, Compute compute )
{
    int nid = cry::defaultProvidersDigest( alg );
    if( !nid || alg > CRY_HASH_ALGORITHM_SHA2_512 || !openssl___ShortcutsUsed() || engineComputes( nid ) )
        return false;
    auto with = [&]<class Kind>( Kind &&digest ) { return compute( digest ); };
    switch( alg )
    {
    case CRY_HASH_ALGORITHM_MD5:
        return with( Md5() );
    case CRY_HASH_ALGORITHM_SHA1:
        return with( Sha1() );
    case CRY_HASH_ALGORITHM_SHA2_224:
        return with( Sha224() );
    case CRY_HASH_ALGORITHM_SHA2_256:
        return with( Sha256() );
    case CRY_HASH_ALGORITHM_SHA2_384:
        return with( Sha384() );
    case CRY_HASH_ALGORITHM_SHA2_512:
        return with( Sha512() );
    }
    return false;
}

// The key of an HMAC as a block, combined with one of the two constants.
template<size_t Size>
struct Pad
{
    PB_BYTE bytes[Size] = {};

    Pad() = default;
    ~Pad() { pbMemCleanse( bytes, Size ); }
    Pad( const Pad & )            = delete;
    Pad &operator=( const Pad & ) = delete;

    void combine( PB_BYTE constant )
    {
        for( PB_BYTE &byte : bytes )
            byte ^= constant;
    }
};

template<class Kind>
bool computeHmac( Kind &digest, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *mac )
{
    static constexpr PB_BYTE inner = 0x36, outer = 0x5C;

    Pad<Kind::blockSize> pad;
    size_t               keyLength = (size_t)pbBufferLength( key );
    if( keyLength <= Kind::blockSize )
        std::memcpy( pad.bytes, pbBufferBytes( key ), keyLength );
    else if( !digest.start() || !digest.add( key ) || !digest.finish( pad.bytes ) )
        return false;
    pad.combine( inner );
    if( !digest.start() || !digest.add( pad.bytes, Kind::blockSize ) || !digest.add( data ) || !digest.finish( mac ) )
        return false;
    pad.combine( inner ^ outer );
    return digest.start() && digest.add( pad.bytes, Kind::blockSize ) && digest.add( mac, Kind::digestSize ) && digest.finish( mac );
}

}

bool cry::tryDigestDirectly( PB_INT alg, std::initializer_list<PB_BUFFER *> parts, PB_BYTE *result )
{
    return tryDirectly( alg, [&]( auto &digest ) {
        bool good = digest.start();
        for( PB_BUFFER *part : parts )
            good = good && digest.add( part );
        return good && digest.finish( result );
    } );
}

bool cry::tryHmacDirectly( PB_INT alg, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *mac )
{
    return tryDirectly( alg, [&]( auto &digest ) { return computeHmac( digest, key, data, mac ); } );
}
#pragma GCC diagnostic pop
#else
bool cry::tryDigestDirectly( PB_INT, std::initializer_list<PB_BUFFER *>, PB_BYTE * ) { return false; }

bool cry::tryHmacDirectly( PB_INT, PB_BUFFER *, PB_BUFFER *, PB_BYTE * ) { return false; }
#endif
