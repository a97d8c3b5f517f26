// The contents of a PKCS#12 file, read as PKCS12_parse reads them.
#pragma once

#include "common/cry_ossl.hpp"

#include <pb/containers.hpp>

#include <openssl/pkcs12.h>

namespace cry::pkcs12
{

struct Contents
{
    ossl::Ptr<EVP_PKEY>            key;         // null if there is none
    ossl::Ptr<X509>                certificate; // the first one to which the key belongs; null if there is none
    pb::StdVector<ossl::Ptr<X509>> others;      // in the order of the file
};

enum class Outcome
{
    read,
    failed,     // OpenSSL's queue has the reason
    refused,    // too many rounds; the queue's last error says so
    refusedKey, // a DSA or DH key with numbers that are too large; the same
};

// The most rounds of key derivation for one key, and for all of a file.
constexpr int64_t mostRoundsAtOnce = 10000000, mostRounds = 30000000;

// Reads a file that was decoded in the legacy context. `password` is UTF-8 or null.
Outcome tryRead( PKCS12 *pkcs, const char *password, Contents &contents );

}
