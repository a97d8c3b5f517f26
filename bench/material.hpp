// Keys and certificates for the benchmarks, made at the start with plain OpenSSL.
#pragma once

#include <array>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <string>
#include <vector>

namespace bench
{

struct Certificate
{
    std::string pem, der, keyPem;
};

using Chain = std::array<Certificate, 3>; // leaf, intermediate, root

struct Material
{
    Chain rsa; // RSA-2048
    Chain ec;  // P-256
};

const Material &material();

// Leaves with RSA-2048 keys of their own, made at each call.
std::vector<Certificate> differentLeaves( int count );

// Chains that nobody has seen, made at each call, in DER only. Their leaves are new. Their
// intermediates are new, too, below the root of `chain`; or all have the intermediate of `chain`.
std::vector<Chain> newChains( const Chain &chain, int count, bool newIntermediates );

// What plain OpenSSL makes of them; the caller frees it.
EVP_PKEY *plainPrivateKey( const std::string &pem );
X509     *plainCertificate( const std::string &der );

// The chain must verify at the present time.
void plainVerify( X509_STORE *store, X509 *leaf, X509 *intermediate );

}
