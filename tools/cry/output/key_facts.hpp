// The facts of a key for people and for JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <pb/pb_buffer.h>
#include <string>

namespace tool
{

struct KeyFacts
{
    std::string problem;           // why the key cannot be read; the others are not known then
    std::string type, fingerprint; // of the SubjectPublicKeyInfo; empty if there is no SHA-256
    std::string curve;             // empty if there is no named curve
    int         bits = 0;

    // Null is a key that cannot be read; OpenSSL's reason is taken off its queue.
    explicit KeyFacts( EVP_PKEY *key );

    // "EC prime256v1, 256 bits".
    std::string            text() const;
    nlohmann::ordered_json json() const;
};

// The SHA-256 fingerprint of bytes; empty if there is no SHA-256.
std::string sha256Text( PB_BUFFER *bytes );

// The text alone.
std::string keyText( EVP_PKEY *key );

}
