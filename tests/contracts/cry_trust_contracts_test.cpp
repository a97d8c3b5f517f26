#include <cry/cry_trust_bundle.h>
#include <cry/cry_trust_token.h>

#include "support/signatures.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char tokenFile[]  = "source/cry/trust/cry_trust_token.cpp";
static constexpr char bundleFile[] = "source/cry/trust/cry_trust_bundle.cpp";

static pb::Ref<CRY_TRUST_TOKEN> token() { return pb::adopt( cryTrustTokenCreate() ); }
static pb::Ref<PB_BYTE_SOURCE>  noBytes() { return pb::adopt( pbBufferByteSourceCreate( buf( "" ).get() ) ); }
static pb::Ref<PB_BYTE_SINK>    sink() { return pb::adopt( pbBufferByteSinkCreate() ); }

TEST( CryTrustTokenContracts, Reading )
{
    pb::Ref<CRY_TRUST_TOKEN> tok = token();
    EXPECT_STANDARD_CHECKS( tokenFile, cry, TrustToken, CRY_TRUST_TOKEN, "tok", tok.get() );
    EXPECT_ABORT( tokenFile, "source", cryTrustTokenCreateFrom( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenCertificate( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenHasCertificate( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenExtraCertificates( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenHasExtraCertificates( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenTime( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenHasTime( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenMetaData( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenHashAlgorithm( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSignature( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenHasSignature( nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenStore( nullptr ) );
    EXPECT_ABORT( tokenFile, "store", cryTrustTokenRestore( nullptr ) );
}

TEST( CryTrustTokenContracts, Editing )
{
    pb::Ref<CRY_TRUST_TOKEN> tok  = token();
    CRY_TRUST_TOKEN         *none = nullptr;
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetCertificate( nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetCertificate( &none, nullptr ) );
    EXPECT_ABORT( tokenFile, "cert", cryTrustTokenSetCertificate( tok.handle(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetExtraCertificates( nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetExtraCertificates( &none, nullptr ) );
    EXPECT_ABORT( tokenFile, "certs", cryTrustTokenSetExtraCertificates( tok.handle(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetTime( nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetTime( &none, nullptr ) );
    EXPECT_ABORT( tokenFile, "tm", cryTrustTokenSetTime( tok.handle(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetMetaData( nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetMetaData( &none, nullptr ) );
    EXPECT_ABORT( tokenFile, "metaData", cryTrustTokenSetMetaData( tok.handle(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetSignature( nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetSignature( &none, nullptr ) );
    EXPECT_ABORT( tokenFile, "signature", cryTrustTokenSetSignature( tok.handle(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenSetHashAlgorithm( nullptr, -1 ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenSetHashAlgorithm( &none, -1 ) );
    for( PB_INT algorithm : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( tokenFile, "CRY_HASH_ALGORITHM_OK( algorithm )", cryTrustTokenSetHashAlgorithm( tok.handle(), algorithm ) );
    for( auto *edit :
        { cryTrustTokenDelCertificate, cryTrustTokenDelExtraCertificates, cryTrustTokenDelTime, cryTrustTokenDelSignature, cryTrustTokenSetTimeNow } )
    {
        EXPECT_ABORT( tokenFile, "tok", edit( nullptr ) );
        EXPECT_ABORT( tokenFile, "*tok", edit( &none ) );
    }
}

TEST( CryTrustTokenContracts, SigningAndVerifying )
{
    pb::Ref<CRY_TRUST_TOKEN> tok  = token();
    CRY_TRUST_TOKEN         *none = nullptr;
    PrivateKey               priv = privateKey( key( KeyKind::p256 ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenTrySign( nullptr, priv.get(), noBytes().get() ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenTrySign( &none, nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "privateKey", cryTrustTokenTrySign( tok.handle(), nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "dataByteSource", cryTrustTokenTrySign( tok.handle(), priv.get(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenTrySignWithBuffer( nullptr, priv.get(), buf( "" ).get() ) );
    EXPECT_ABORT( tokenFile, "*tok", cryTrustTokenTrySignWithBuffer( &none, nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "privateKey", cryTrustTokenTrySignWithBuffer( tok.handle(), nullptr, nullptr ) );
    EXPECT_ABORT( tokenFile, "dataBuffer", cryTrustTokenTrySignWithBuffer( tok.handle(), priv.get(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenTryVerify( nullptr, noBytes().get() ) );
    EXPECT_ABORT( tokenFile, "dataByteSource", cryTrustTokenTryVerify( tok.get(), nullptr ) );
    EXPECT_ABORT( tokenFile, "tok", cryTrustTokenTryVerifyWithBuffer( nullptr, buf( "" ).get() ) );
    EXPECT_ABORT( tokenFile, "dataBuffer", cryTrustTokenTryVerifyWithBuffer( tok.get(), nullptr ) );
    // A key that cannot sign is found at the end, as by the signer itself.
    EXPECT_ABORT( "source/cry/sign/cry_sign_signer.cpp", "EVP_SignFinal( sig->mdCtx, signature, &signatureLength, pkey )",
        cryTrustTokenTrySign( tok.handle(), privateKey( key( KeyKind::ed25519 ) ).get(), noBytes().get() ) );
    EXPECT_FALSE( cryTrustTokenHasSignature( tok.get() ) );
    takeErrors();
}

TEST( CryTrustBundleContracts, Packing )
{
    pb::Ref<CRY_TRUST_TOKEN> tok  = token();
    pb::Ref<PB_BUFFER>       out  = buf( "" );
    PB_BUFFER               *none = nullptr;
    EXPECT_ABORT( bundleFile, "tok", cryTrustBundleTryPack( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "dataByteSource", cryTrustBundleTryPack( tok.get(), nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "bundleByteSink", cryTrustBundleTryPack( tok.get(), noBytes().get(), nullptr ) );
    EXPECT_ABORT( bundleFile, "tok", cryTrustBundleTryPackWithBuffer( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "dataBuffer", cryTrustBundleTryPackWithBuffer( tok.get(), nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "bundleBuffer", cryTrustBundleTryPackWithBuffer( tok.get(), out.get(), nullptr ) );
    EXPECT_ABORT( bundleFile, "*bundleBuffer", cryTrustBundleTryPackWithBuffer( tok.get(), out.get(), &none ) );
}

TEST( CryTrustBundleContracts, Unpacking )
{
    pb::Ref<PB_BUFFER> out  = buf( "" );
    PB_BUFFER         *none = nullptr;
    EXPECT_ABORT( bundleFile, "bundleByteSource", cryTrustBundleTryUnpack( nullptr, sink().get() ) );
    EXPECT_ABORT( bundleFile, "bundleByteSource", cryTrustBundleTryUnpack( nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "dataByteSink", cryTrustBundleTryUnpack( noBytes().get(), nullptr ) );
    EXPECT_ABORT( bundleFile, "bundleBuffer", cryTrustBundleTryUnpackWithBuffer( nullptr, nullptr ) );
    EXPECT_ABORT( bundleFile, "dataBuffer", cryTrustBundleTryUnpackWithBuffer( out.get(), nullptr ) );
    EXPECT_ABORT( bundleFile, "*dataBuffer", cryTrustBundleTryUnpackWithBuffer( out.get(), &none ) );
}
