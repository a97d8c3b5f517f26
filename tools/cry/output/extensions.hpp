// Extensions of certificates, requests and CRLs, for people and for JSON.
#pragma once

#include "output/general_names.hpp"

#include <nlohmann/json.hpp>
#include <openssl/x509.h>
#include <optional>
#include <pb/pb_base.h>
#include <string>
#include <vector>

namespace tool
{

struct Extension
{
    std::string                      oid, name, hex, text; // text is empty if OpenSSL cannot print it, and for names
    bool                             critical = false;
    int                              nid      = NID_undef;
    std::optional<std::vector<Name>> names;

    explicit Extension( X509_EXTENSION *extension );

    nlohmann::ordered_json json() const;
    // What it says. Each name has its own line, since a name may look like two.
    std::vector<std::string> lines() const;
};

// The extensions of a list, which may be null.
std::vector<Extension> extensionsOf( const STACK_OF( X509_EXTENSION ) * list );

// The extensions that a request asks for, in all the places for them. Those that cannot be read are
// reported; `line` is that of the request in its file.
std::vector<Extension> requestedExtensions( X509_REQ *req, const std::string &path, PB_INT line = 0 );

nlohmann::ordered_json extensionsJson( const std::vector<Extension> &extensions );

}
