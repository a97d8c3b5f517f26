// Trust tokens in files, and the built-in root that they lead to.
#pragma once

#include <cry/cry_trust_token.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

// The token of a file. Throws InputError if the file cannot be read or holds no token; warns of
// what in it cannot be read.
pb::Ref<CRY_TRUST_TOKEN> readToken( const std::string &path );

// The token of a store in a file, with the same errors and warnings.
pb::Ref<CRY_TRUST_TOKEN> tokenIn( PB_STORE *store, const std::string &path );

// A token as a file. Throws InputError if it is larger than such files are.
pb::Ref<PB_BUFFER> tokenFile( CRY_TRUST_TOKEN *tok );

// The root that the module trusts.
pb::Ref<CRY_X509_CERTIFICATE> trustRoot();
// Whether the build made the root itself, so that it is for no product.
bool isDevelopmentRoot();

// The way from a token's certificate to the root.
struct WayToRoot
{
    std::string                                time;    // at which the certificates are looked at
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain;   // empty if there is no way
    std::string                                problem; // why there is none

    explicit WayToRoot( CRY_TRUST_TOKEN *tok );
};

}
