// Keys and certificates for the benchmarks, made at the start with plain OpenSSL.
#pragma once

#include <array>
#include <string>

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

}
