// The facts of an identity for people and for JSON.
#pragma once

#include "output/key_facts.hpp"

#include <cry/cry_x509_identity.h>

#include <nlohmann/json.hpp>
#include <pb/ref.hpp>
#include <string>
#include <vector>

namespace tool
{

// What an identity has. It may come from a file that was made elsewhere, so that any part may be
// missing.
struct IdentityFacts
{
    std::string                                identifier; // empty if it has none
    pb::Ref<CRY_PKEY_PRIVATE>                  key;
    pb::Ref<CRY_X509_CERTIFICATE>              certificate;
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> others;

    explicit IdentityFacts( CRY_X509_IDENTITY *identity );

    KeyFacts               keyFacts() const; // only if there is a key
    std::string            keyText() const;
    nlohmann::ordered_json json() const;
};

}
