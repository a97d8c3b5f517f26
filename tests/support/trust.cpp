#include "support/trust.hpp"

#include "support/files.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

static pb::Ref<CRY_PEM> pemOf( std::string_view name )
{
    return pb::adopt( cryPemTryDecode( buf( read( trustFolder() + "/" + std::string( name ) ) ).get() ) );
}

std::string support::trustFolder() { return CRY_TRUST_FOLDER; }

pb::Ref<CRY_X509_CERTIFICATE> support::trustCertificate( std::string_view name )
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509CertificateTryCreateFromPem( pemOf( name ).get() ) );
    EXPECT_TRUE( cert ) << name;
    return cert;
}

PrivateKey support::trustKey()
{
    PrivateKey priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( pemOf( "signer.key" ).get() ) );
    EXPECT_TRUE( priv );
    return priv;
}

pb::Ref<CRY_TRUST_TOKEN> support::trustToken()
{
    pb::Ref<CRY_TRUST_TOKEN> tok = pb::adopt( cryTrustTokenCreate() );
    cryTrustTokenSetCertificate( tok.handle(), trustCertificate( "signer.pem" ).get() );
    cryTrustTokenSetExtraCertificates( tok.handle(), certificates( { trustCertificate( "intermediate.pem" ) } ).get() );
    cryTrustTokenSetTimeNow( tok.handle() );
    return tok;
}

pb::Ref<CRY_TRUST_TOKEN> support::trustTokenFor( std::string_view data )
{
    pb::Ref<CRY_TRUST_TOKEN> tok = trustToken();
    EXPECT_TRUE( cryTrustTokenTrySignWithBuffer( tok.handle(), trustKey().get(), buf( data ).get() ) );
    return tok;
}

std::string support::jsonOf( const pb::Ref<CRY_TRUST_TOKEN> &tok )
{
    pb::Ref<PB_STORE> store = pb::adopt( cryTrustTokenStore( tok.get() ) );
    return bytes( pb::adopt( pbStoreTryEncode( store.get(), nullptr ) ) );
}

pb::Ref<PB_STORE> support::storeOfJson( std::string_view json )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreTryDecode( buf( json ).get(), nullptr ) );
    EXPECT_TRUE( store ) << json;
    return store;
}

std::string support::prefixOf( const pb::Ref<CRY_TRUST_TOKEN> &tok )
{
    pb::Ref<PB_STORE> store = pb::adopt( cryTrustTokenStore( tok.get() ) );
    pbStoreDelCstr( store.handle(), "signature", -1 );
    return bytes( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) ) );
}

pb::Ref<PB_STORE> support::nestedStore( int depth )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    for( int level = 1; level < depth; level++ )
    {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( outer.handle(), store.get() );
        store = outer;
    }
    return store;
}
