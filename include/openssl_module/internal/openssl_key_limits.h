/* How much work a private key in a file asks for. The functions look before any of it is done. They
   keep no state; any thread may call them at any time. */
#ifndef OPENSSL_MODULE_INTERNAL_OPENSSL_KEY_LIMITS_H
#define OPENSSL_MODULE_INTERNAL_OPENSSL_KEY_LIMITS_H

#include <pb/pb_base.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* The largest key of which numbers are accepted, in bits; libcrypto verifies with no larger RSA
   key. */
#define OPENSSL___MOST_KEY_BITS 16384
/* The most rounds of PBKDF2 (RFC 8018) or its forerunners for one key of PKCS#8. */
#define OPENSSL___MOST_DERIVATION_ROUNDS 10000000
/* The most bytes that scrypt (RFC 7914) may write for one key of PKCS#8: 128 * N * r * p. */
#define OPENSSL___MOST_SCRYPT_BYTES ( (int64_t)1 << 30 )

/* openssl___DerivationRounds: how many rounds it takes to derive a key for an algorithm of PKCS#5
   or PKCS#12; for scrypt, two for each of its blocks (RFC 7914, 5 and 6). INT64_MAX if there are
   more. 0 if the algorithm does not say, so that there is nothing to derive. Leaves no errors in
   the queue. */
PB_EXPORT int64_t openssl___DerivationRounds( const X509_ALGOR *algorithm );

/* openssl___RoundsOf: a number of rounds as a file has it, which is not to be trusted; 0 if it is
   null or negative, INT64_MAX if it has more than 64 bits. */
PB_EXPORT int64_t openssl___RoundsOf( const ASN1_INTEGER *rounds );

/* openssl___DerivationIsBounded: whether the derivation for a key of PKCS#8 stays within the limits
   above. Leaves no errors in the queue. */
PB_EXPORT PB_BOOL openssl___DerivationIsBounded( const X509_ALGOR *algorithm );

/* OPENSSL___KEY_PROBLEM: why the DER of a key should not be decoded. */
typedef enum
{
    OPENSSL___KEY_PROBLEM_NONE,
    OPENSSL___KEY_PROBLEM_NUMBER, /* an INTEGER has more than OPENSSL___MOST_KEY_BITS bits */
    OPENSSL___KEY_PROBLEM_FORM    /* it is nested deeper than any key is, or has octets in pieces */
} OPENSSL___KEY_PROBLEM;

/* openssl___KeyProblem: goes through the DER of a key, which is not encrypted. INTEGERs inside of
   OCTET STRINGs and BIT STRINGs count, too, if the string is long enough to hold one that is too
   large. There is no problem in bytes that are not DER, since OpenSSL refuses them at once. Leaves
   no errors in the queue. */
PB_EXPORT OPENSSL___KEY_PROBLEM openssl___KeyProblem( const PB_BYTE *der, PB_INT length );

/* openssl___PrivateKeyIsBounded: false for a DSA or DH key that has such a problem. OpenSSL
   computes the public half of such a key when it decodes the private one, which takes time by the
   third power of its length. */
PB_EXPORT PB_BOOL openssl___PrivateKeyIsBounded( const PKCS8_PRIV_KEY_INFO *info );

PB_END_DECLS

#endif
