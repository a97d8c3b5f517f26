#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_decode.h>

#include "contracts/pem_object_contracts.hpp"
#include "support/text.hpp"

#include <openssl/err.h>

using namespace support;

static constexpr char certificateFile[]  = "source/cry/x509/cry_x509_certificate.cpp";
static constexpr char certificatesFile[] = "source/cry/x509/cry_x509_certificates.cpp";
static constexpr char chainFile[]        = "source/cry/x509/cry_x509_certificate_chain.cpp";
static constexpr char decodeFile[]       = "source/cry/x509/cry_x509_decode.cpp";
static constexpr char vectorFile[]       = "source/pb/containers/pb_vector.cpp";

static pb::Ref<CRY_X509_CERTIFICATE> anyCertificate() { return certificate( chainOf( KeyKind::p256 ).leaf ); }

TEST( CryX509CertificateContracts, PemObject )
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = anyCertificate();
    EXPECT_PEM_OBJECT_CHECKS( certificateFile, X509Certificate, CRY_X509_CERTIFICATE, "cert", OpensslX509, "x509", cert.get() );
    EXPECT_ABORT( certificateFile, "x509", cry___X509CertificateTryCreateFromOpensslX509UpRef( nullptr ) );
    EXPECT_ABORT( certificateFile, "buf", cryX509CertificateTryCreateFromDer( nullptr ) );
}

TEST( CryX509CertificateContracts, Fingerprint )
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = anyCertificate();
    EXPECT_ABORT( certificateFile, "cert", cryX509CertificateTryFingerprint( nullptr, CRY_HASH_ALGORITHM_SHA2_256 ) );
    EXPECT_ABORT( certificateFile, "cert", cryX509CertificateTryFingerprint( nullptr, -1 ) );
    for( PB_INT alg : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( certificateFile, "CRY_HASH_ALGORITHM_OK( alg )", cryX509CertificateTryFingerprint( cert.get(), alg ) );
}

TEST( CryX509CertificateContracts, Keys )
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = anyCertificate();
    pb::Ref<CRY_PKEY_PRIVATE>     priv = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256, 2 ).get() ) );
    EXPECT_CERTIFIED_KEY_CHECKS( certificateFile, X509Certificate, "cert", cert.get(), priv.get() );
    // A key that OpenSSL cannot decode aborts.
    std::string                   body    = withUnknownKey( der( chainOf( KeyKind::p256 ).leaf ) );
    pb::Ref<CRY_X509_CERTIFICATE> unknown = pb::adopt( cryX509CertificateTryCreateFromDer( buf( body ).get() ) );
    ASSERT_TRUE( unknown );
    EXPECT_FALSE( cryX509CertificateHasPublicKey( unknown.get() ) );
    EXPECT_ABORT( certificateFile, "pkey", cryX509CertificatePublicKey( unknown.get() ) );
    EXPECT_FALSE( cryX509CertificateCheckPrivateKey( unknown.get(), priv.get() ) );
    ERR_clear_error();
}

TEST( CryX509CertificatesContracts, StandardFunctions )
{
    pb::Ref<CRY_X509_CERTIFICATES> certs  = certificates( {} );
    pb::Ref<PB_STRING>             other  = str( "x" );
    static constexpr char          sort[] = "!obj || pbObjSort(obj)==&cry___sort_CRY_X509_CERTIFICATES";
    EXPECT_ABORT_IN( "stdfunc from", certificatesFile, sort, cryX509CertificatesFrom( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", certificatesFile, sort, cryX509CertificatesFrom( anyCertificate().obj() ) );
    EXPECT_ABORT_IN( "stdfunc retain", certificatesFile, "obj", cryX509CertificatesRetain( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc release", certificatesFile, "obj", cryX509CertificatesRelease( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare a", certificatesFile, "objA", cryX509CertificatesCompare( nullptr, certs.get() ) );
    EXPECT_ABORT_IN( "stdfunc compare b", certificatesFile, "objB", cryX509CertificatesCompare( certs.get(), nullptr ) );
    EXPECT_ABORT_IN( "stdfunc tostring", certificatesFile, "obj", cryX509CertificatesToString( nullptr ) );
    const PB_SORT_SLOTS &slots = cryX509CertificatesSort()->slots;
    EXPECT_ABORT_IN( "stdfunc from", certificatesFile, sort, slots.free( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", certificatesFile, sort, slots.compare( certs.obj(), other.obj() ) );
    EXPECT_ABORT( certificatesFile, "certs", slots.free( nullptr ) );
    EXPECT_ABORT( certificatesFile, "certsA", slots.compare( nullptr, certs.obj() ) );
    EXPECT_ABORT( certificatesFile, "certsB", slots.compare( certs.obj(), nullptr ) );
    EXPECT_EQ( cryX509CertificatesFrom( nullptr ), nullptr );
}

TEST( CryX509CertificatesContracts, Reading )
{
    EXPECT_ABORT( certificatesFile, "source", cryX509CertificatesCreateFrom( nullptr ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesCertificatesLength( nullptr ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesCertificateAt( nullptr, 0 ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesCertificatesVector( nullptr ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesStore( nullptr ) );
    EXPECT_ABORT( certificatesFile, "store", cryX509CertificatesRestore( nullptr ) );
    EXPECT_ABORT( certificatesFile, "certs", cry___X509CertificatesCreateOpensslX509Store( nullptr ) );
    EXPECT_ABORT( certificatesFile, "x509s", cry___X509CertificatesTryCreateFromOpensslStackOfX509( nullptr ) );
    pb::Ref<CRY_X509_CERTIFICATES> certs = certificates( { anyCertificate() } );
    EXPECT_ABORT( vectorFile, "index >= 0", cryX509CertificatesCertificateAt( certs.get(), -1 ) );
    EXPECT_ABORT( vectorFile, "index < pbVectorLength( vector )", cryX509CertificatesCertificateAt( certs.get(), 1 ) );
}

TEST( CryX509CertificatesContracts, VectorsMustHoldOneSort )
{
    pb::Ref<PB_VECTOR>             strings = vec( { "x" } );
    pb::Ref<CRY_X509_CERTIFICATES> certs   = certificates( { anyCertificate() } );
    static constexpr char          pems[]  = "pbVectorContainsOnly( pv, cryPemSort() )";
    EXPECT_ABORT( certificatesFile, pems, cryX509CertificatesTryCreateFromPemVector( nullptr ) );
    EXPECT_ABORT( certificatesFile, pems, cryX509CertificatesTryCreateFromPemVector( strings.get() ) );
    static constexpr char only[] = "pbVectorContainsOnly( vec, cryX509CertificateSort() )";
    EXPECT_ABORT( certificatesFile, only, cryX509CertificatesSetCertificatesVector( certs.handle(), nullptr ) );
    EXPECT_ABORT( certificatesFile, only, cryX509CertificatesSetCertificatesVector( certs.handle(), strings.get() ) );
    pb::Ref<PB_VECTOR> mixed = pb::adopt( cryX509CertificatesCertificatesVector( certs.get() ) );
    pbVectorAppendObj( mixed.handle(), pb::adopt( cryX509CertificatePem( anyCertificate().get() ) ).obj() );
    EXPECT_ABORT( certificatesFile, only, cryX509CertificatesSetCertificatesVector( certs.handle(), mixed.get() ) );
    EXPECT_ABORT( certificatesFile, pems, cryX509CertificatesTryCreateFromPemVector( mixed.get() ) );
}

TEST( CryX509CertificatesContracts, Editing )
{
    pb::Ref<CRY_X509_CERTIFICATE>  cert  = anyCertificate();
    pb::Ref<CRY_X509_CERTIFICATES> certs = certificates( { cert } );
    pb::Ref<CRY_X509_CERTIFICATES> none;
    pb::Ref<PB_VECTOR>             list = pb::adopt( cryX509CertificatesCertificatesVector( certs.get() ) );

    using One = void ( * )( CRY_X509_CERTIFICATES **, CRY_X509_CERTIFICATE * );
    for( One edit : { &cryX509CertificatesAppendCertificate, &cryX509CertificatesPrependCertificate } )
    {
        EXPECT_ABORT( certificatesFile, "certs", edit( nullptr, cert.get() ) );
        EXPECT_ABORT( certificatesFile, "*certs", edit( none.handle(), cert.get() ) );
        EXPECT_ABORT( certificatesFile, "certificate", edit( certs.handle(), nullptr ) );
    }
    using Placed = void ( * )( CRY_X509_CERTIFICATES **, PB_INT, CRY_X509_CERTIFICATE * );
    for( Placed edit : { &cryX509CertificatesInsertCertificate, &cryX509CertificatesSetCertificateAt } )
    {
        EXPECT_ABORT( certificatesFile, "certs", edit( nullptr, 0, cert.get() ) );
        EXPECT_ABORT( certificatesFile, "*certs", edit( none.handle(), 0, cert.get() ) );
        EXPECT_ABORT( certificatesFile, "certificate", edit( certs.handle(), 0, nullptr ) );
        EXPECT_ABORT( vectorFile, "index >= 0", edit( certs.handle(), -1, cert.get() ) );
    }
    EXPECT_ABORT( vectorFile, "index <= pbVectorLength( *vector )", cryX509CertificatesInsertCertificate( certs.handle(), 2, cert.get() ) );
    EXPECT_ABORT( vectorFile, "index < pbVectorLength( *vector )", cryX509CertificatesSetCertificateAt( certs.handle(), 1, cert.get() ) );

    using Others = void ( * )( CRY_X509_CERTIFICATES **, CRY_X509_CERTIFICATES * );
    for( Others edit : { &cryX509CertificatesAppend, &cryX509CertificatesPrepend } )
    {
        EXPECT_ABORT( certificatesFile, "certs", edit( nullptr, certs.get() ) );
        EXPECT_ABORT( certificatesFile, "*certs", edit( none.handle(), certs.get() ) );
        EXPECT_ABORT( certificatesFile, "other", edit( certs.handle(), nullptr ) );
    }
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesInsert( nullptr, 0, certs.get() ) );
    EXPECT_ABORT( certificatesFile, "*certs", cryX509CertificatesInsert( none.handle(), 0, certs.get() ) );
    EXPECT_ABORT( certificatesFile, "other", cryX509CertificatesInsert( certs.handle(), 0, nullptr ) );
    EXPECT_ABORT( vectorFile, "index >= 0", cryX509CertificatesInsert( certs.handle(), -1, certs.get() ) );
    EXPECT_ABORT( vectorFile, "index <= pbVectorLength( *vector )", cryX509CertificatesInsert( certs.handle(), 2, certs.get() ) );

    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesDelCertificateAt( nullptr, 0 ) );
    EXPECT_ABORT( certificatesFile, "*certs", cryX509CertificatesDelCertificateAt( none.handle(), 0 ) );
    EXPECT_ABORT( vectorFile, "index >= 0", cryX509CertificatesDelCertificateAt( certs.handle(), -1 ) );
    EXPECT_ABORT( vectorFile, "index < pbVectorLength( *vector )", cryX509CertificatesDelCertificateAt( certs.handle(), 1 ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesClearCertificates( nullptr ) );
    EXPECT_ABORT( certificatesFile, "*certs", cryX509CertificatesClearCertificates( none.handle() ) );
    EXPECT_ABORT( certificatesFile, "certs", cryX509CertificatesSetCertificatesVector( nullptr, list.get() ) );
    EXPECT_ABORT( certificatesFile, "*certs", cryX509CertificatesSetCertificatesVector( none.handle(), list.get() ) );
}

TEST( CryX509CertificateChainContracts, Arguments )
{
    pb::Ref<CRY_X509_CERTIFICATE>  cert    = anyCertificate();
    pb::Ref<CRY_X509_CERTIFICATES> trusted = certificates( { cert } );
    pb::Ref<PB_TIME>               tm      = support::time( leafTime );
    EXPECT_ABORT( chainFile, "certificate", cry___X509CertificateChainTryVerifyCertificate( nullptr, nullptr, trusted.get(), tm.get() ) );
    EXPECT_ABORT( chainFile, "trustedCertificates", cry___X509CertificateChainTryVerifyCertificate( cert.get(), nullptr, nullptr, tm.get() ) );
    EXPECT_ABORT( chainFile, "tm", cry___X509CertificateChainTryVerifyCertificate( cert.get(), nullptr, trusted.get(), nullptr ) );
    EXPECT_ABORT( chainFile, "certificate", cry___X509CertificateChainTryVerifyCertificate( nullptr, nullptr, nullptr, nullptr ) );
}

TEST( CryX509DecodeContracts, Arguments )
{
    EXPECT_ABORT( decodeFile, "name", cry___X509TryDecodeX509Name( nullptr ) );
    EXPECT_ABORT( decodeFile, "asn1Integer", cry___X509TryDecodeAsn1Integer( nullptr ) );
    EXPECT_ABORT( decodeFile, "asn1String", cry___X509TryDecodeAsn1String( nullptr ) );
    EXPECT_ABORT( decodeFile, "asn1Time", cry___X509TryDecodeAsn1Time( nullptr ) );
}
