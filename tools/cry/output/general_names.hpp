// Alternative names, each as its type and a value that cannot look like another name or like two.
#pragma once

#include <nlohmann/json.hpp>
#include <openssl/x509v3.h>
#include <optional>
#include <string>
#include <vector>

namespace tool
{

struct Name
{
    std::string type;  // dns, email, uri, ip, dirname, rid, other, x400 or ediparty
    std::string value; // escaped
};

// The names in an extension's value; nothing if it is not a list of names.
std::optional<std::vector<Name>> namesIn( const ASN1_OCTET_STRING *value );
// The names of a list, one for each.
std::vector<Name> namesOf( const GENERAL_NAMES *list );

nlohmann::ordered_json namesJson( const std::vector<Name> &names );

}
