// Signing and verifying digests with one key. What OpenSSL prepares for a key and a digest is kept with the key and used again.
#pragma once

#include "base/cry_spares.hpp"

namespace cry::pkey
{

// A field of a key object; zeroed memory is an empty one. For any thread.
class Operations
{
public:
    // Signs a digest under a valid algorithm; `signatureLength` is the room, then the length. False when OpenSSL cannot; its errors are taken back.
    bool trySign( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength );

    // Whether a signature is that of a digest.
    bool verify( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, const PB_BYTE *signature, size_t signatureLength );

    void clear() { contexts.clear(); }

private:
    using Start = int( EVP_PKEY_CTX * );
    ossl::Ptr<EVP_PKEY_CTX> tryPrepare( EVP_PKEY *pkey, PB_INT alg, Start start );

    Spares<EVP_PKEY_CTX, 4> contexts;
};

}

template<>
struct pb::Field<cry::pkey::Operations>
{
    static void release( cry::pkey::Operations &field ) { field.clear(); }
};
