// Signing and verifying digests with one key. What OpenSSL prepares for a key and a digest is kept
// with the key and used again.
#pragma once

#include "common/cry_context_pool.hpp"

namespace cry::pkey
{

// A field of a key object; zeroed memory is an empty one. For any thread.
class SignatureContexts
{
public:
    // Signs a digest under a valid algorithm; `signatureLength` is the room, then the length. False
    // when OpenSSL cannot; its errors are taken back.
    bool trySign( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength );

    // Whether a signature is that of a digest.
    bool verify( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, const PB_BYTE *signature, size_t signatureLength );

    void clear() { contexts.clear(); }

private:
    using Start = int( EVP_PKEY_CTX * );
    ossl::Ptr<EVP_PKEY_CTX> tryPrepare( EVP_PKEY *pkey, PB_INT alg, Start start );

    ContextPool<EVP_PKEY_CTX, 4> contexts;
};

}

template<>
struct pb::Field<cry::pkey::SignatureContexts>
{
    static void release( cry::pkey::SignatureContexts &field ) { field.clear(); }
};
