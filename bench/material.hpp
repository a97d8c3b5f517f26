// Keys and certificates for the benchmarks, made at the start with plain OpenSSL.
#pragma once

#include <array>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <vector>

namespace bench
{

struct Certificate
{
    std::string pem, der, keyPem;
};

// Chains of leaf, intermediate, root.
struct Material
{
    std::array<Certificate, 3> rsa; // RSA-2048
    std::array<Certificate, 3> ec;  // P-256
};

const Material &material();

// Leaves with RSA-2048 keys of their own, made at each call.
std::vector<Certificate> differentLeaves( int count );

// What plain OpenSSL makes of them; the caller frees it.
EVP_PKEY *plainPrivateKey( const std::string &pem );
X509     *plainCertificate( const std::string &der );

}
