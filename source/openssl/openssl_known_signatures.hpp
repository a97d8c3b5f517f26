// Signatures that were verified once, with the same key over the same bytes.
#pragma once

#include "openssl_der.hpp"

namespace openssl
{

enum class KeyKind
{
    Rsa, // with PKCS#1 v1.5
    Ec   // with ECDSA
};

// A signature and all that its verification depends on. The key is the key data of the default
// provider, so isComparableKey must be true for it.
struct SignedBytes
{
    KeyKind kind;
    void   *key;
    PB_BYTE digest; // a number that the caller gives to each digest
    Bytes   signature, message;
};

// Whether the key data is a public key of this kind that can be compared: an RSA key that is not
// bound to PSS, or a point on a named curve other than SM2. OpenSSL's own operations must stand
// behind it: a host can replace them.
bool isComparableKey( KeyKind kind, void *key );

// Whether the message is something that is public and is verified again and again: the signed part
// of an X.509 certificate with version 3. Other messages are never kept, because a host can verify
// signatures of secret texts with the same keys.
bool isKeptMessage( Bytes message );

// The signatures are in a table of at most mostKnownSignatures entries. Larger messages,
// signatures and keys are not kept, so the table never takes more than 8 MiB. Real certificates
// take less than a fifth of that.
inline constexpr size_t mostKnownSignatures = 1024, largestKeptMessage = 4096, largestKeptSignature = 1024, mostKeptKeyBits = 8192;

// Whether this signature was kept: the key (for an EC key with its curve), the digest, the message
// and the signature are equal.
bool isKnownSignature( const SignedBytes &signature );

// Keeps a signature that was verified with success, if it is small enough and its message is kept.
void keepKnownSignature( const SignedBytes &signature );

void   forgetKnownSignatures();
size_t countKnownSignatures();

}
