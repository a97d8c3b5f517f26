#include "hash/cry_hash_algorithm.hpp"

#include <cry/cry_hash_algorithm.h>
#include <cry/internal/cry_hash.h>
#include <cry/internal/cry_module.h>
#include <openssl_module/internal/openssl_module.h>

#include "common/cry_enumeration.hpp"

namespace
{

struct Algorithm
{
    const char *opensslName;
    PB_INT      blockSizeBits;
    PB_INT      digestSizeBits;
};

// In the order of the values. The block size of SHA-3 is its rate: 1600 minus twice the digest
// size.
constexpr Algorithm algorithms[] = {
    { "MD5", 512, 128 },
    { "SHA1", 512, 160 },
    { "SHA2-224", 512, 224 },
    { "SHA2-256", 512, 256 },
    { "SHA2-384", 1024, 384 },
    { "SHA2-512", 1024, 512 },
    { "SHA3-224", 1152, 224 },
    { "SHA3-256", 1088, 256 },
    { "SHA3-384", 832, 384 },
    { "SHA3-512", 576, 512 },
};

}

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_HASH_ALGORITHM_MD5 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA1 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA2_224 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA2_256 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA2_384 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA2_512 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA3_224 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA3_256 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA3_384 ),
    CRY_NAMED( CRY_HASH_ALGORITHM_SHA3_512 ),
};
static_assert( PB_SIZEOF_ARRAY( algorithms ) == PB_SIZEOF_ARRAY( names ), "one row each" );
static_assert( cry::isDense( names ), "enumerants count from 0" );

PB_ENUM *cry___HashAlgorithmEnum;

constinit cry::FetchedDigest cry::fetchedDigests[];
static_assert( PB_SIZEOF_ARRAY( cry::fetchedDigests ) == PB_SIZEOF_ARRAY( algorithms ) );

void cry___HashAlgorithmStartup()
{
    cry::startEnumeration( cry___HashAlgorithmEnum, names );
    for( PB_INT alg = 0; alg < PB_SIZEOF_ARRAY( algorithms ); alg++ )
        cry::digestOf( alg );
}

void cry___HashAlgorithmShutdown() { cry::stopModuleGlobal( cry___HashAlgorithmEnum ); }

PB_STRING *cryHashAlgorithmToString( CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    return pbEnumGenerate( cry___HashAlgorithmEnum, alg );
}

CRY_HASH_ALGORITHM cryHashAlgorithmFromString( PB_STRING *pbs ) { return PB_CHECK( pbs ), pbEnumParse( cry___HashAlgorithmEnum, pbs ); }

PB_INT cryHashAlgorithmBlockSizeBits( CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    return algorithms[alg].blockSizeBits;
}

PB_INT cryHashAlgorithmDigestSizeBits( CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    return algorithms[alg].digestSizeBits;
}

const char *cry___HashAlgorithmOpensslDigestName( CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    return algorithms[alg].opensslName;
}

const EVP_MD *cry::fetchDigest( PB_INT alg )
{
    // The lookup is repeated, since the host may load a provider with this digest after the start.
    FetchedDigest &digest = fetchedDigests[alg];
    const EVP_MD  *known  = openssl___Digest( algorithms[alg].opensslName );
    digest.defaults.store( known && openssl___IsDefaultProviders( known ) ? EVP_MD_get_type( known ) : 0, std::memory_order_relaxed );
    digest.md.store( known, std::memory_order_release );
    return known;
}
