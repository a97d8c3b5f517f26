// The facts of a key for people and for JSON.
#pragma once

#include <cry/cry_pkey_public.h>

#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <string>

namespace tool
{

struct KeyFacts
{
    std::string type, curve, description, fingerprint; // curve and description are empty if there is no named curve
    PB_INT      bits = 0;

    KeyFacts( CRY_PKEY_PUBLIC *key, EVP_PKEY *pkey );

    void addTo( nlohmann::ordered_json &json ) const;
};

// "EC prime256v1, 256 bits".
std::string keyText( EVP_PKEY *key );

}
