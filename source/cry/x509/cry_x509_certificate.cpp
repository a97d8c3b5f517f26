#include <cry/cry_hash.h>
#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_crl_distribution.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_info.h>
#include <cry/internal/cry_x509_tn_auth_list.h>

#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_public.hpp"
#include "x509/cry_x509_certificate.hpp"
#include "x509/cry_x509_known_certificates.hpp"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>

struct CRY_X509_CERTIFICATE : PB_OBJ
{
    CRY_PEM              *pem;
    pb::Published<X509 *> x509;
    PB_BOOL               deferred; // x509 is made at its first use, from exactly the data of pem
};

static constexpr auto certificateFields = pb::fields<&CRY_X509_CERTIFICATE::pem, &CRY_X509_CERTIFICATE::x509, &CRY_X509_CERTIFICATE::deferred>;
static constexpr auto certificateOrder  = pb::someFields<&CRY_X509_CERTIFICATE::pem>;

PB_SORT_OF_FIELDS( cry, X509Certificate, CRY_X509_CERTIFICATE, cert, certificateFields, certificateOrder )

namespace
{

// Whether the data is a certificate that OpenSSL surely reads, and writes in the same bytes.
bool isCanonicalData( PB_BUFFER *data )
{
    return openssl___ShortcutsUsed() && !pbBufferSensitive( data ) &&
        openssl___IsCanonicalCertificate( pbBufferBytes( data ), pbBufferLength( data ) );
}

struct CertificateTraits
{
    using Object                 = CRY_X509_CERTIFICATE;
    using Handle                 = X509;
    static constexpr auto handle = &Object::x509;

    static bool isCanonical( CRY_PEM *pem ) { return cry::pem::hasLabel( pem, PEM_STRING_X509 ) && isCanonicalData( cry::pem::data( pem ) ); }

    static X509 *parse( CRY_PEM *pem )
    {
        PB_BUFFER *data = cry::pem::data( pem );
        if( X509 *known = cry::x509::tryShareKnown( data ) )
            return known;
        openssl::ErrorMark detour;
        return openssl___TryParseCertificate( pbBufferBytes( data ), pbBufferLength( data ) );
    }

    static cry::ossl::Reading<X509> tryRead( CRY_PEM *pem )
    {
        PB_BUFFER *data = cry::pem::data( pem );
        X509      *x509 = nullptr;
        if( cry::pem::hasLabel( pem, PEM_STRING_X509 ) || cry::pem::hasLabel( pem, PEM_STRING_X509_OLD ) )
        {
            openssl::ErrorMark detour;
            x509 = openssl___TryParseCertificate( pbBufferBytes( data ), pbBufferLength( data ) );
        }
        // For all other data OpenSSL decides and leaves its reasons in the error queue.
        if( !x509 )
            x509 = cry::ossl::readThroughText( pem, PEM_read_bio_X509 );
        return cry::ossl::withCanonical( x509, i2d_X509, pem, PEM_STRING_X509 );
    }

    // PEM_write_bio_X509 writes the DER in base 64, so the text need not be made.
    static pb::Ref<CRY_PEM> tryWrite( X509 *x509 ) { return cry::ossl::encodeUnderLabel( i2d_X509, x509, PEM_STRING_X509 ); }

    static int   upRef( X509 *x509 ) { return X509_up_ref( x509 ); }
    static X509 *dup( X509 *x509 ) { return X509_dup( x509 ); }
};

using Certificate = cry::ossl::PemObject<CertificateTraits>;

X509 *opensslX509( CRY_X509_CERTIFICATE *cert )
{
    X509 *x509 = Certificate::handleOf( cert );
    PB_CHECK( x509 );
    return x509;
}

}

CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromDer( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    if( !PB_INT_TO_SIGNED_INT_CONV_OK( pbBufferLength( buf ) ) )
        return nullptr;
    if( isCanonicalData( buf ) )
        return Certificate::createDeferred( cry::pem::create( cry::pem::labelString( PEM_STRING_X509 ), pb::share( buf ) ) );
    X509 *x509 = openssl___TryParseCertificate( pbBufferBytes( buf ), pbBufferLength( buf ) );
    if( !x509 )
        ERR_clear_error();
    return Certificate::tryCreateUseOrNull( x509 );
}

CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromPem( CRY_PEM *pem ) { return PB_CHECK( pem ), Certificate::tryCreateFromPem( pem ); }

CRY_X509_CERTIFICATE *cryX509CertificateTryRestore( PB_STORE *store ) { return PB_CHECK( store ), Certificate::tryRestore( store ); }

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Use( X509 *x509 ) { return PB_CHECK( x509 ), Certificate::tryCreateUse( x509 ); }

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509UpRef( X509 *x509 )
{
    return PB_CHECK( x509 ), Certificate::tryCreateUpRef( x509 );
}

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Copy( X509 *x509 ) { return PB_CHECK( x509 ), Certificate::tryCreateCopy( x509 ); }

CRY_PEM *cryX509CertificatePem( CRY_X509_CERTIFICATE *cert ) { return PB_CHECK( cert ), pb::shareOrNull( cert->pem ); }

PB_STORE *cryX509CertificateStore( CRY_X509_CERTIFICATE *cert ) { return PB_CHECK( cert ), cryPemStore( cert->pem ); }

CRY_X509_INFO *cryX509CertificateInfo( CRY_X509_CERTIFICATE *cert )
{
    return PB_CHECK( cert ), cry___X509InfoCreateFromOpensslX509( opensslX509( cert ) );
}

PB_BUFFER *cryX509CertificateTryFingerprint( CRY_X509_CERTIFICATE *cert, CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( cert );
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    // The data of the canonical PEM is the DER.
    return cryHashTryCompute( alg, cry::pem::data( cert->pem ) );
}

namespace
{

// Appends to a vector that is null as long as it has no element.
void append( pb::Ref<PB_VECTOR> &vec, PB_OBJ *obj )
{
    if( !vec )
        vec = pb::adopt( pbVectorCreate() );
    pbVectorAppendObj( vec.handle(), obj );
}

// Calls found( value ) for the values of all names of a type.
void forEachName( const GENERAL_NAMES *names, int type, auto found )
{
    for( int index = 0; index < sk_GENERAL_NAME_num( names ); index++ )
    {
        int         itsType;
        const void *value = GENERAL_NAME_get0_value( sk_GENERAL_NAME_value( names, index ), &itsType );
        if( itsType == type )
            found( value );
    }
}

// Null for a point without a URI, even if it names issuers.
pb::Ref<CRY_X509_CRL_DISTRIBUTION> tryCreateDistribution( const DIST_POINT *point )
{
    pb::Ref<PB_VECTOR> uris, issuers;
    if( point->distpoint && point->distpoint->type == 0 )
    {
        forEachName( point->distpoint->name.fullname, GEN_URI, [&]( const void *value ) {
            const auto *ia5 = (const ASN1_IA5STRING *)value;
            if( auto text = pb::adopt( pbStringTryCreateFromCstr( (const char *)ASN1_STRING_get0_data( ia5 ), ASN1_STRING_length( ia5 ) ) ) )
                append( uris, text.obj() );
        } );
    }
    forEachName( point->CRLissuer, GEN_DIRNAME, [&]( const void *value ) {
        if( char *line = X509_NAME_oneline( (const X509_NAME *)value, nullptr, 0 ) )
        {
            append( issuers, pb::adopt( pbStringCreateFromCstr( line, -1 ) ).obj() );
            OPENSSL_free( line );
        }
    } );
    return pb::adopt( uris ? cryX509CrlDistributionCreate( uris.get(), issuers.get() ) : nullptr );
}

}

PB_VECTOR *cryX509CertificateRevocationListDistribution( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    openssl::ErrorMark              detour;
    cry::ossl::Ptr<CRL_DIST_POINTS> points(
        (CRL_DIST_POINTS *)X509_get_ext_d2i( opensslX509( cert ), NID_crl_distribution_points, nullptr, nullptr ) );
    pb::Ref<PB_VECTOR> distributions;
    for( int index = 0; index < sk_DIST_POINT_num( points.get() ); index++ )
    {
        pb::Ref<CRY_X509_CRL_DISTRIBUTION> dist = tryCreateDistribution( sk_DIST_POINT_value( points.get(), index ) );
        if( dist )
            append( distributions, dist.obj() );
    }
    return distributions.take();
}

CRY_PKEY_PUBLIC *cryX509CertificatePublicKey( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    EVP_PKEY *pkey = X509_get0_pubkey( opensslX509( cert ) );
    PB_CHECK( pkey );
    return cry::pkey::tryCopyPublic( pkey, X509_get_X509_PUBKEY( opensslX509( cert ) ) );
}

PB_BOOL cryX509CertificateHasPublicKey( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    openssl::ErrorMark detour;
    return X509_get0_pubkey( opensslX509( cert ) ) != nullptr;
}

PB_BOOL cryX509CertificateCheckPrivateKey( CRY_X509_CERTIFICATE *cert, CRY_PKEY_PRIVATE *privateKey )
{
    PB_CHECK( cert );
    PB_CHECK( privateKey );
    return X509_check_private_key( opensslX509( cert ), cry___PkeyPrivatePeekOpensslEvpPkey( privateKey ) ) == 1;
}

CRY_X509_TN_AUTH_LIST *cryX509CertificateTNAuthList( CRY_X509_CERTIFICATE *cert )
{
    return PB_CHECK( cert ), cry___X509TNAuthListCreateFromOpensslX509( opensslX509( cert ) );
}

X509 *cry___X509CertificatePeekOpensslX509( CRY_X509_CERTIFICATE *cert ) { return PB_CHECK( cert ), opensslX509( cert ); }

X509 *cry::x509::peekIfMade( CRY_X509_CERTIFICATE *cert ) { return cert->x509.get(); }

bool cry::x509::isDeferred( CRY_X509_CERTIFICATE *cert ) { return cert->deferred; }

PB_BUFFER *cry::x509::peekDer( CRY_X509_CERTIFICATE *cert ) { return cry::pem::data( cert->pem ); }
