// Signing and verifying digests with one key. The contexts that OpenSSL prepares for a key and a
// digest are kept with the key and used again.
#pragma once

#include "common/cry_context_pool.hpp"

namespace cry::pkey
{

// A field of a key object. All zeros is the empty state. Every thread may use it at any time.
class SignatureContexts
{
public:
    // Signs a digest. The algorithm must be valid. `signatureLength` is the room before the call
    // and the length after it. False if OpenSSL cannot sign; its errors are taken back.
    bool trySign( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength );

    // Whether a signature of a digest is valid.
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
