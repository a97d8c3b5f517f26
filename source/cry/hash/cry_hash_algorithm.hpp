// Fetched digests, for the module's own files.
#pragma once

#include <cry/cry_hash_algorithm.h>

#include <atomic>
#include <openssl/evp.h>

namespace cry
{

// `defaults` is stored first, so it is known as soon as the digest is.
struct FetchedDigest
{
    std::atomic<const EVP_MD *> md;
    std::atomic<int>            defaults; // the NID, or 0
};

extern constinit FetchedDigest fetchedDigests[CRY_HASH_ALGORITHM_SHA3_512 + 1];

const EVP_MD *fetchDigest( PB_INT alg );

// The fetched digest of a valid algorithm; null as long as this libcrypto does not have it.
inline const EVP_MD *digestOf( PB_INT alg )
{
    const EVP_MD *known = fetchedDigests[alg].md.load( std::memory_order_acquire );
    return known ? known : fetchDigest( alg );
}

// The NID of a valid algorithm, if the fetched digest is that of libcrypto's built-in default
// provider. It is decided when the digest is fetched. 0 for all others, and before that.
inline int defaultProvidersDigest( PB_INT alg ) { return fetchedDigests[alg].defaults.load( std::memory_order_relaxed ); }

}
