// The facts of a certificate for people and for JSON.
#pragma once

#include "output/key_facts.hpp"

#include <cry/cry_x509_certificate.h>

#include <nlohmann/json.hpp>
#include <pb/ref.hpp>
#include <string>
#include <vector>

namespace tool
{

struct Facts
{
    std::string subject, issuer, validFrom, validUntil, signatureAlgorithm;
    std::string fingerprint; // empty if there is no SHA-256
    KeyFacts    key;

    explicit Facts( CRY_X509_CERTIFICATE *certificate );

    nlohmann::ordered_json json() const;
    // One line: "CN=a, by CN=b, until 2027-01-31T12:00:00Z".
    std::string text() const;
    // What stands under its name, in lines that begin with `indent`.
    std::string details( const std::string &indent ) const;
};

// The facts of several certificates.
nlohmann::ordered_json factsJson( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &certificates );

// A fingerprint for people; text for none.
std::string orMissing( const std::string &fingerprint );

// A name, printable; "(no name)" for an empty one.
std::string nameOrNone( const std::string &name );

}
