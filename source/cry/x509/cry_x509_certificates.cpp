#include "x509/cry_x509_certificates.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_decode.h>

#include "common/cry_ossl.hpp"
#include "x509/cry_x509_certificate_lookup.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/published.hpp>
#include <pb/stored.hpp>

struct CRY_X509_CERTIFICATES : PB_OBJ
{
    PB_VECTOR *certificates;
    // Made from the certificates, dropped with every edit. The store uses the index.
    pb::Published<X509_STORE *>              x509Store;
    pb::Published<cry::x509::SubjectIndex *> index;
};

static constexpr auto certificatesFields =
    pb::fields<&CRY_X509_CERTIFICATES::certificates, &CRY_X509_CERTIFICATES::x509Store, &CRY_X509_CERTIFICATES::index>;
static constexpr auto certificatesOrder = pb::someFields<&CRY_X509_CERTIFICATES::certificates>;

PB_SORT_OF_FIELDS( cry, X509Certificates, CRY_X509_CERTIFICATES, certs, certificatesFields, certificatesOrder )

// The vector of a collection that may be edited.
static PB_VECTOR **writable( CRY_X509_CERTIFICATES **certs )
{
    CRY_X509_CERTIFICATES *target = pb::makeWritable( certs, cryX509CertificatesCreateFrom );
    target->x509Store.clear();
    target->index.clear();
    return &target->certificates;
}

CRY_X509_CERTIFICATES *cryX509CertificatesCreate()
{
    CRY_X509_CERTIFICATES *certs = pb::create<CRY_X509_CERTIFICATES>();
    certs->certificates          = pbVectorCreate();
    return certs;
}

CRY_X509_CERTIFICATES *cryX509CertificatesCreateFrom( CRY_X509_CERTIFICATES *source )
{
    return PB_CHECK( source ), pb::copyOf( certificatesFields, source );
}

CRY_X509_CERTIFICATES *cryX509CertificatesTryCreateFromPemVector( PB_VECTOR *pv )
{
    PB_CHECK( pbVectorContainsOnly( pv, cryPemSort() ) );
    pb::Ref<CRY_X509_CERTIFICATES> certs = pb::adopt( cryX509CertificatesCreate() );
    for( CRY_PEM *pem : pb::each<CRY_PEM>( pv ) )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509CertificateTryCreateFromPem( pem ) );
        if( !cert )
            return nullptr;
        cryX509CertificatesAppendCertificate( certs.handle(), cert.get() );
    }
    return certs.take();
}

CRY_X509_CERTIFICATES *cry___X509CertificatesTryCreateFromOpensslStackOfX509( STACK_OF( X509 ) * x509s )
{
    PB_CHECK( x509s );
    int length = sk_X509_num( x509s );
    PB_CHECK( length >= 0 );
    pb::Ref<CRY_X509_CERTIFICATES> certs = pb::adopt( cryX509CertificatesCreate() );
    for( int index = 0; index < length; index++ )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Copy( sk_X509_value( x509s, index ) ) );
        if( !cert )
            return nullptr;
        cryX509CertificatesAppendCertificate( certs.handle(), cert.get() );
    }
    return certs.take();
}

PB_INT cryX509CertificatesCertificatesLength( CRY_X509_CERTIFICATES *certs ) { return PB_CHECK( certs ), pbVectorLength( certs->certificates ); }

PB_VECTOR *cry::x509::peekVector( CRY_X509_CERTIFICATES *certs ) { return certs->certificates; }

CRY_X509_CERTIFICATE *cryX509CertificatesCertificateAt( CRY_X509_CERTIFICATES *certs, PB_INT index )
{
    return PB_CHECK( certs ), pb::shareOrNull( pb::peekAt<CRY_X509_CERTIFICATE>( certs->certificates, index ) );
}

PB_VECTOR *cryX509CertificatesCertificatesVector( CRY_X509_CERTIFICATES *certs ) { return PB_CHECK( certs ), pb::shareOrNull( certs->certificates ); }

void cryX509CertificatesSetCertificatesVector( CRY_X509_CERTIFICATES **certs, PB_VECTOR *vec )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( pbVectorContainsOnly( vec, cryX509CertificateSort() ) );
    pb::assign( *writable( certs ), vec );
}

void cryX509CertificatesAppendCertificate( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATE *certificate )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( certificate );
    pbVectorAppendObj( writable( certs ), cryX509CertificateObj( certificate ) );
}

void cryX509CertificatesPrependCertificate( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATE *certificate )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( certificate );
    pbVectorPrependObj( writable( certs ), cryX509CertificateObj( certificate ) );
}

void cryX509CertificatesInsertCertificate( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATE *certificate )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( certificate );
    pbVectorInsertObj( writable( certs ), index, cryX509CertificateObj( certificate ) );
}

void cryX509CertificatesSetCertificateAt( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATE *certificate )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( certificate );
    pbVectorSetObjAt( writable( certs ), index, cryX509CertificateObj( certificate ) );
}

void cryX509CertificatesDelCertificateAt( CRY_X509_CERTIFICATES **certs, PB_INT index )
{
    PB_CHECK_HANDLE( certs );
    pbVectorDelObjAt( writable( certs ), index );
}

void cryX509CertificatesClearCertificates( CRY_X509_CERTIFICATES **certs )
{
    PB_CHECK_HANDLE( certs );
    pbVectorClear( writable( certs ) );
}

void cryX509CertificatesInsert( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATES *other )
{
    PB_CHECK_HANDLE( certs );
    PB_CHECK( other );
    // The other collection may be the same object.
    pb::Ref<PB_VECTOR> vec = pb::share( other->certificates );
    pbVectorInsert( writable( certs ), index, vec.get() );
}

void cryX509CertificatesAppend( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATES *other )
{
    PB_CHECK_HANDLE( certs );
    cryX509CertificatesInsert( certs, pbVectorLength( ( *certs )->certificates ), other );
}

void cryX509CertificatesPrepend( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATES *other )
{
    PB_CHECK_HANDLE( certs );
    cryX509CertificatesInsert( certs, 0, other );
}

PB_STORE *cryX509CertificatesStore( CRY_X509_CERTIFICATES *certs )
{
    return PB_CHECK( certs ), pb::storeOfEach( certs->certificates, cryX509CertificateStore );
}

CRY_X509_CERTIFICATES *cryX509CertificatesRestore( PB_STORE *store )
{
    PB_CHECK( store );
    // A part that is skipped is not a failure.
    openssl::ErrorMark     detour;
    CRY_X509_CERTIFICATES *certs = pb::create<CRY_X509_CERTIFICATES>();
    certs->certificates          = pb::restoreEach( store, cryX509CertificateTryRestore );
    return certs;
}

PB_STORE *cry___X509CertificatesStoreSubjects( CRY_X509_CERTIFICATES *certs )
{
    PB_CHECK( certs );
    openssl::ErrorMark detour;
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreateArray() );
    for( CRY_X509_CERTIFICATE *cert : pb::each<CRY_X509_CERTIFICATE>( certs->certificates ) )
    {
        // No other field of the certificate's info is needed.
        X509_NAME *name = X509_get_subject_name( cry___X509CertificatePeekOpensslX509( cert ) );
        if( pb::Ref<PB_STRING> subject = pb::adopt( cry___X509TryDecodeX509Name( name ) ) )
            pbStoreAppendValue( store.handle(), subject.get() );
        else
            pbStoreAppendValueNull( store.handle() );
    }
    return store.take();
}

X509_STORE *cry___X509CertificatesCreateOpensslX509Store( CRY_X509_CERTIFICATES *certs )
{
    return PB_CHECK( certs ), cry::x509::createStore( certs );
}

const cry::x509::SubjectIndex &cry::x509::subjectIndex( CRY_X509_CERTIFICATES *certs )
{
    return *certs->index.getOrMake( [certs] { return pb::make<SubjectIndex>( certs->certificates ); } );
}

X509_STORE *cry::x509::cachedStore( CRY_X509_CERTIFICATES *certs )
{
    return certs->x509Store.getOrMake( [certs] { return createLookupStore( certs, Collection::lent ); } );
}
