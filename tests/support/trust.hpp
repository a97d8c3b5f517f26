// The certificates and the key for development that trust tokens of this build lead to the root
// with, and tokens that are made with them.
#pragma once

#include "support/signatures.hpp"

#include <string>
#include <string_view>

namespace support
{

// The folder in the build tree; empty if the build has the root of a product.
std::string trustFolder();

// From "root.pem", "intermediate.pem" or "signer.pem".
pb::Ref<CRY_X509_CERTIFICATE> trustCertificate( std::string_view name );
PrivateKey                    trustKey();

// A token that verifies after trustKey() has signed it: the signer, the intermediate and the
// present time.
pb::Ref<CRY_TRUST_TOKEN> trustToken();
// The same, signed for some data.
pb::Ref<CRY_TRUST_TOKEN> trustTokenFor( std::string_view data );

// Stores as JSON, and what is signed besides the data.
std::string       jsonOf( const pb::Ref<CRY_TRUST_TOKEN> &tok );
pb::Ref<PB_STORE> storeOfJson( std::string_view json );
std::string       prefixOf( const pb::Ref<CRY_TRUST_TOKEN> &tok );

// Stores in stores, `depth` of them.
pb::Ref<PB_STORE> nestedStore( int depth );

}

#define NEED_DEVELOPMENT_ROOT()          \
    if( support::trustFolder().empty() ) \
    GTEST_SKIP() << "this build has the root of a product (CRY_TRUST_ROOT), and the key of a signer is not in the build tree"
