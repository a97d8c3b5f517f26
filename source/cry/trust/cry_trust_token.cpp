#include <cry/cry_pem.h>
#include <cry/cry_sign_signer.h>
#include <cry/cry_sign_verifier.h>
#include <cry/cry_trust_token.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <pb/pb_store_legacy_binary.h>
#include <pb/stored.hpp>

#include "trust/cry_trust_root.hpp"

#include <openssl_module/internal/openssl_errors.hpp>

static constexpr char   signatureLabel[] = "TOKEN SIGNATURE";
static constexpr PB_INT chunkLength      = 1000000;

struct CRY_TRUST_TOKEN : PB_OBJ
{
    CRY_X509_CERTIFICATE  *certificate;
    CRY_X509_CERTIFICATES *extraCertificates;
    PB_TIME               *time;
    PB_STORE              *metaData;
    CRY_HASH_ALGORITHM     hashAlgorithm;
    PB_BUFFER             *signature;
};

using Token = CRY_TRUST_TOKEN;

static constexpr auto tokenFields =
    pb::fields<&Token::certificate, &Token::extraCertificates, &Token::time, &Token::metaData, &Token::hashAlgorithm, &Token::signature>;

PB_SORT_DEFINE( cry, TrustToken, CRY_TRUST_TOKEN, PB_FREE_FIELDS( CRY_TRUST_TOKEN, tok, tokenFields ) )

static Token *writable( Token **tok ) { return pb::makeWritable( tok, cryTrustTokenCreateFrom ); }

CRY_TRUST_TOKEN *cryTrustTokenCreate()
{
    CRY_TRUST_TOKEN *tok = pb::create<CRY_TRUST_TOKEN>();
    tok->metaData        = pbStoreCreate();
    tok->hashAlgorithm   = CRY_HASH_ALGORITHM_SHA2_512;
    return tok;
}

CRY_TRUST_TOKEN *cryTrustTokenCreateFrom( CRY_TRUST_TOKEN *source ) { return PB_CHECK( source ), pb::copyOf( tokenFields, source ); }

CRY_X509_CERTIFICATE *cryTrustTokenCertificate( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), pb::shareOrNull( tok->certificate ); }
PB_BOOL               cryTrustTokenHasCertificate( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), tok->certificate != nullptr; }
void                  cryTrustTokenSetCertificate( CRY_TRUST_TOKEN **tok, CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK_HANDLE( tok ), PB_CHECK( cert ), pb::assign( writable( tok )->certificate, cert );
}
void cryTrustTokenDelCertificate( CRY_TRUST_TOKEN **tok ) { PB_CHECK_HANDLE( tok ), pb::clear( writable( tok )->certificate ); }

CRY_X509_CERTIFICATES *cryTrustTokenExtraCertificates( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), pb::shareOrNull( tok->extraCertificates ); }
PB_BOOL                cryTrustTokenHasExtraCertificates( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), tok->extraCertificates != nullptr; }
void                   cryTrustTokenSetExtraCertificates( CRY_TRUST_TOKEN **tok, CRY_X509_CERTIFICATES *certs )
{
    PB_CHECK_HANDLE( tok ), PB_CHECK( certs ), pb::assign( writable( tok )->extraCertificates, certs );
}
void cryTrustTokenDelExtraCertificates( CRY_TRUST_TOKEN **tok ) { PB_CHECK_HANDLE( tok ), pb::clear( writable( tok )->extraCertificates ); }

PB_TIME *cryTrustTokenTime( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), pb::shareOrNull( tok->time ); }
PB_BOOL  cryTrustTokenHasTime( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), tok->time != nullptr; }
void cryTrustTokenSetTime( CRY_TRUST_TOKEN **tok, PB_TIME *tm ) { PB_CHECK_HANDLE( tok ), PB_CHECK( tm ), pb::assign( writable( tok )->time, tm ); }
void cryTrustTokenSetTimeNow( CRY_TRUST_TOKEN **tok ) { PB_CHECK_HANDLE( tok ), pb::assign( writable( tok )->time, pb::adopt( pbTimeNow() ).get() ); }
void cryTrustTokenDelTime( CRY_TRUST_TOKEN **tok ) { PB_CHECK_HANDLE( tok ), pb::clear( writable( tok )->time ); }

PB_STORE *cryTrustTokenMetaData( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), pb::shareOrNull( tok->metaData ); }
void      cryTrustTokenSetMetaData( CRY_TRUST_TOKEN **tok, PB_STORE *metaData )
{
    PB_CHECK_HANDLE( tok ), PB_CHECK( metaData ), pb::assign( writable( tok )->metaData, metaData );
}

CRY_HASH_ALGORITHM cryTrustTokenHashAlgorithm( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), tok->hashAlgorithm; }
void               cryTrustTokenSetHashAlgorithm( CRY_TRUST_TOKEN **tok, CRY_HASH_ALGORITHM algorithm )
{
    PB_CHECK_HANDLE( tok ), PB_CHECK( CRY_HASH_ALGORITHM_OK( algorithm ) );
    writable( tok )->hashAlgorithm = algorithm;
}

PB_BUFFER *cryTrustTokenSignature( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), pb::shareOrNull( tok->signature ); }
PB_BOOL    cryTrustTokenHasSignature( CRY_TRUST_TOKEN *tok ) { return PB_CHECK( tok ), tok->signature != nullptr; }
void       cryTrustTokenSetSignature( CRY_TRUST_TOKEN **tok, PB_BUFFER *signature )
{
    PB_CHECK_HANDLE( tok ), PB_CHECK( signature ), pb::assign( writable( tok )->signature, signature );
}
void cryTrustTokenDelSignature( CRY_TRUST_TOKEN **tok ) { PB_CHECK_HANDLE( tok ), pb::clear( writable( tok )->signature ); }

static PB_STORE *signatureStore( PB_BUFFER *signature )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), pb::adopt( pbStringCreateFromCstr( signatureLabel, -1 ) ).get() );
    cryPemSetData( pem.handle(), signature );
    return cryPemStore( pem.get() );
}

// Null if the store is not that of a PEM object with this label.
static PB_BUFFER *tryRestoreSignature( PB_STORE *store )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryRestore( store ) );
    if( !pem || !pbStringEqualsCstr( pb::adopt( cryPemLabel( pem.get() ) ).get(), signatureLabel, -1 ) )
        return nullptr;
    return cryPemData( pem.get() );
}

PB_STORE *cryTrustTokenStore( CRY_TRUST_TOKEN *tok )
{
    PB_CHECK( tok );
    return pb::StoreWriter()
        .sub( "certificate", tok->certificate, cryX509CertificateStore )
        .sub( "extraCertificates", tok->extraCertificates, cryX509CertificatesStore )
        .value( "time", tok->time, pbTimeToString )
        .sub( "metaData", tok->metaData )
        .value( "hashAlgorithm", pb::adopt( cryHashAlgorithmToString( tok->hashAlgorithm ) ) )
        .sub( "signature", tok->signature, signatureStore )
        .take();
}

CRY_TRUST_TOKEN *cryTrustTokenRestore( PB_STORE *store )
{
    PB_CHECK( store );
    // A part that is skipped is not a failure.
    openssl::ErrorMark detour;
    CRY_TRUST_TOKEN   *tok = cryTrustTokenCreate();
    pb::StoreReader( store )
        .sub( "certificate", tok->certificate, cryX509CertificateTryRestore )
        .sub( "extraCertificates", tok->extraCertificates, cryX509CertificatesRestore )
        .value( "time", tok->time, pbTimeTryCreateFromString )
        .sub( "metaData", tok->metaData, pbStoreRetain )
        .value( "hashAlgorithm", tok->hashAlgorithm, cryHashAlgorithmFromString )
        .sub( "signature", tok->signature, tryRestoreSignature );
    return tok;
}

namespace
{

// What is signed besides the data: the token without its signature, in a form that is always the
// same.
pb::Ref<PB_BUFFER> prefixOf( Token *tok )
{
    pb::Ref<Token> bare = pb::adopt( cryTrustTokenCreateFrom( tok ) );
    cryTrustTokenDelSignature( bare.handle() );
    return pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( pb::adopt( cryTrustTokenStore( bare.get() ) ).get() ) );
}

// Feeds all that is signed; false if the source fails.
template<class T>
bool feed( T *target, void ( *update )( T *, PB_BUFFER * ), Token *tok, PB_BYTE_SOURCE *data )
{
    update( target, prefixOf( tok ).get() );
    pb::Ref<PB_BUFFER> chunk = pb::adopt( pbBufferCreate() );
    do
    {
        pbBufferClear( chunk.handle() );
        pbByteSourceRead( data, chunk.handle(), chunkLength );
        update( target, chunk.get() );
    }
    while( !pbByteSourceEnd( data ) && !pbByteSourceError( data ) );
    return !pbByteSourceError( data );
}

// Whether the token's certificate leads to the built-in root through at least one signature.
bool leadsToRoot( Token *tok )
{
    pb::Ref<CRY_X509_CERTIFICATE>  root    = pb::adopt( cry::trust::tryCreateRoot() );
    pb::Ref<CRY_X509_CERTIFICATES> trusted = pb::adopt( cryX509CertificatesCreate() );
    if( !root )
        return false;
    cryX509CertificatesAppendCertificate( trusted.handle(), root.get() );
    pb::Ref<PB_TIME>               time  = tok->time ? pb::share( tok->time ) : pb::adopt( pbTimeNow() );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( tok->certificate, tok->extraCertificates, trusted.get(), time.get() ) );
    return chain && cryX509CertificatesCertificatesLength( chain.get() ) >= 2;
}

bool verify( Token *tok, PB_BYTE_SOURCE *data )
{
    // A key that OpenSSL cannot decode would abort below.
    if( !tok->certificate || !cryX509CertificateHasPublicKey( tok->certificate ) || !leadsToRoot( tok ) || !tok->signature )
        return false;
    pb::Ref<CRY_PKEY_PUBLIC>   key      = pb::adopt( cryX509CertificatePublicKey( tok->certificate ) );
    pb::Ref<CRY_SIGN_VERIFIER> verifier = pb::adopt( key ? crySignVerifierTryCreate( tok->hashAlgorithm, key.get(), tok->signature ) : nullptr );
    return verifier && feed( verifier.get(), crySignVerifierUpdate, tok, data ) && crySignVerifierFinal( verifier.get() );
}

}

PB_BOOL cryTrustTokenTrySign( CRY_TRUST_TOKEN **tok, CRY_PKEY_PRIVATE *privateKey, PB_BYTE_SOURCE *dataByteSource )
{
    PB_CHECK_HANDLE( tok );
    PB_CHECK( privateKey );
    PB_CHECK( dataByteSource );
    pb::Ref<CRY_SIGN_SIGNER> signer = pb::adopt( crySignSignerTryCreate( ( *tok )->hashAlgorithm, privateKey ) );
    if( !signer || !feed( signer.get(), crySignSignerUpdate, *tok, dataByteSource ) )
        return PB_FALSE;
    cryTrustTokenSetSignature( tok, pb::adopt( crySignSignerFinal( signer.get() ) ).get() );
    return PB_TRUE;
}

PB_BOOL cryTrustTokenTrySignWithBuffer( CRY_TRUST_TOKEN **tok, CRY_PKEY_PRIVATE *privateKey, PB_BUFFER *dataBuffer )
{
    PB_CHECK_HANDLE( tok );
    PB_CHECK( privateKey );
    PB_CHECK( dataBuffer );
    return cryTrustTokenTrySign( tok, privateKey, pb::adopt( pbBufferByteSourceCreate( dataBuffer ) ).get() );
}

PB_BOOL cryTrustTokenTryVerify( CRY_TRUST_TOKEN *tok, PB_BYTE_SOURCE *dataByteSource )
{
    PB_CHECK( tok );
    PB_CHECK( dataByteSource );
    openssl::ErrorMark errors;
    if( verify( tok, dataByteSource ) )
        return PB_TRUE;
    errors.keep();
    return PB_FALSE;
}

PB_BOOL cryTrustTokenTryVerifyWithBuffer( CRY_TRUST_TOKEN *tok, PB_BUFFER *dataBuffer )
{
    PB_CHECK( tok );
    PB_CHECK( dataBuffer );
    return cryTrustTokenTryVerify( tok, pb::adopt( pbBufferByteSourceCreate( dataBuffer ) ).get() );
}
