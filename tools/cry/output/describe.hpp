// What is said of a certificate.
#pragma once

#include <cry/cry_x509_certificate.h>

#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <string>

namespace tool
{

struct Facts
{
    std::string subject, issuer, validFrom, validUntil, key, signatureAlgorithm, fingerprint;

    explicit Facts( CRY_X509_CERTIFICATE *certificate );

    nlohmann::ordered_json json() const;
};

// "EC prime256v1, 256 bits".
std::string keyText( EVP_PKEY *key );

// Bytes as a fingerprint is written: "0A:FF".
std::string withColons( PB_BUFFER *bytes );

// A name, or what stands in its place.
std::string nameOrNone( const std::string &name );

// "3 certificates", "1 certificate".
std::string counted( size_t count, const std::string &what );

}
