// Signatures of the library and of plain OpenSSL, whose results are the expected ones.
#pragma once

#include "support/certificates.hpp"

#include <cry/cry_sign.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include <string>

namespace support
{

using PrivateKey = pb::Ref<CRY_PKEY_PRIVATE>;
using PublicKey  = pb::Ref<CRY_PKEY_PUBLIC>;

// OpenSSL's names of the digests, by CRY_HASH_ALGORITHM.
inline constexpr const char *digestNames[] = { "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA3-224", "SHA3-256", "SHA3-384",
    "SHA3-512" };

// New keys, made with plain OpenSSL. If no encoding of the curve is given, OpenSSL chooses it.
Pkey newEcKey( const char *group, const char *encoding = nullptr );
Pkey newRsaKey( size_t bits );

// Keys of the library, parsed from the text that OpenSSL writes, with or without the key-decoding
// context; null if the text is refused.
PrivateKey privateKey( const Pkey &pkey, bool fast = true );
PublicKey  publicKey( const Pkey &pkey, bool fast = true );
// The same from SubjectPublicKeyInfo.
PublicKey publicKeyOf( const std::string &der, bool fast = true );
// A key that holds the same OpenSSL key.
PublicKey wrappedPublicKey( const Pkey &pkey );

// In one call.
std::string sign( PB_INT alg, const PrivateKey &priv, const std::string &data );
bool        verify( PB_INT alg, const PublicKey &pub, const std::string &signature, const std::string &data );

// In pieces of growing length.
std::string signPieces( PB_INT alg, const PrivateKey &priv, const std::string &data );
bool        verifyPieces( PB_INT alg, const PublicKey &pub, const std::string &signature, const std::string &data );

// The signature of EVP_SignFinal, empty if it cannot sign; and whether EVP_VerifyFinal accepts a
// signature. Both leave no errors.
std::string plainSign( PB_INT alg, EVP_PKEY *pkey, const std::string &data );
bool        plainVerify( PB_INT alg, EVP_PKEY *pkey, const std::string &signature, const std::string &data );
// The same with EVP_DigestVerify, another way through OpenSSL.
bool plainDigestVerify( PB_INT alg, EVP_PKEY *pkey, const std::string &signature, const std::string &data );

// The DER of r and s, as i2d_ECDSA_SIG writes it.
std::string ecdsaDer( const std::string &r, const std::string &s );

// Bytes that repeat only after a long period.
std::string pattern( size_t length );

}
