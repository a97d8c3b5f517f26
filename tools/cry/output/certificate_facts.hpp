// The facts of a certificate for people and for JSON.
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

// A name, printable; "(no name)" for an empty one.
std::string nameOrNone( const std::string &name );

}
