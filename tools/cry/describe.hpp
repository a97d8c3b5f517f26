// What is said of a certificate.
#pragma once

#include <cry/cry_x509_certificate.h>

#include <nlohmann/json.hpp>
#include <string>

namespace tool
{

struct Facts
{
    std::string subject, issuer, validFrom, validUntil, key, signatureAlgorithm, fingerprint;

    explicit Facts( CRY_X509_CERTIFICATE *certificate );

    nlohmann::ordered_json json() const;
};

// A name, or what stands in its place.
std::string nameOrNone( const std::string &name );

// "3 certificates", "1 certificate".
std::string counted( size_t count, const std::string &what );

}
