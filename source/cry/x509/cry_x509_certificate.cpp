#include <cry/cry_hash.h>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>

#include "base/cry_pem_lines.hpp"
#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_public.hpp"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl_module/internal/openssl_module.h>

struct CRY_X509_CERTIFICATE : PB_OBJ
{
    CRY_PEM *pem;
    X509    *x509;
};

static constexpr auto certificateFields = pb::fields<&CRY_X509_CERTIFICATE::pem, &CRY_X509_CERTIFICATE::x509>;
static constexpr auto certificateOrder  = pb::someFields<&CRY_X509_CERTIFICATE::pem>;

static void freeCertificate( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    certificateFields.release( cert );
}

static PB_INT compareCertificate( CRY_X509_CERTIFICATE *certA, CRY_X509_CERTIFICATE *certB )
{
    PB_CHECK( certA );
    PB_CHECK( certB );
    return certificateOrder.compare( certA, certB );
}

PB_SORT_DEFINE( cry, X509Certificate, CRY_X509_CERTIFICATE, .free = pb::slot<freeCertificate>, .compare = pb::slot<compareCertificate> )

namespace
{

struct CertificateTraits
{
    using Object                 = CRY_X509_CERTIFICATE;
    using Handle                 = X509;
    static constexpr auto handle = &Object::x509;

    static X509 *tryRead( CRY_PEM *pem )
    {
        PB_BUFFER *data = cry::pem::data( pem );
        if( cry::pem::hasLabel( pem, PEM_STRING_X509 ) || cry::pem::hasLabel( pem, PEM_STRING_X509_OLD ) )
        {
            ERR_set_mark();
            X509 *x509 = openssl___TryParseCertificate( pbBufferBytes( data ), pbBufferLength( data ) );
            ERR_pop_to_mark();
            if( x509 )
                return x509;
        }
        // The verdict on everything else, and its reasons in the error queue, are OpenSSL's.
        return cry::ossl::readThroughText( pem, PEM_read_bio_X509 );
    }

    // What PEM_write_bio_X509 writes is the DER in base 64, so the text need not be made to know its data.
    static pb::Ref<CRY_PEM> tryWrite( X509 *x509 )
    {
        int length = i2d_X509( x509, nullptr );
        if( length <= 0 )
            return {};
        PB_BYTE           *der;
        pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( length, &der ) );
        if( i2d_X509( x509, &der ) != length )
            return {};
        return cry::pem::create( cry::pem::labelString( PEM_STRING_X509 ), std::move( data ) );
    }

    static int   upRef( X509 *x509 ) { return X509_up_ref( x509 ); }
    static X509 *dup( X509 *x509 ) { return X509_dup( x509 ); }
};

using Certificate = cry::ossl::PemObject<CertificateTraits>;

}

CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromDer( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    if( !PB_INT_TO_SIGNED_INT_CONV_OK( pbBufferLength( buf ) ) )
        return nullptr;
    X509 *x509 = openssl___TryParseCertificate( pbBufferBytes( buf ), pbBufferLength( buf ) );
    if( !x509 )
        ERR_clear_error();
    return Certificate::tryCreateUseOrNull( x509 );
}

CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromPem( CRY_PEM *pem )
{
    PB_CHECK( pem );
    return Certificate::tryCreateFromPem( pem );
}

CRY_X509_CERTIFICATE *cryX509CertificateTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    return Certificate::tryRestore( store );
}

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Use( X509 *x509 )
{
    PB_CHECK( x509 );
    return Certificate::tryCreateUse( x509 );
}

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509UpRef( X509 *x509 )
{
    PB_CHECK( x509 );
    return Certificate::tryCreateUpRef( x509 );
}

CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Copy( X509 *x509 )
{
    PB_CHECK( x509 );
    return Certificate::tryCreateCopy( x509 );
}

CRY_PEM *cryX509CertificatePem( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    return pb::shareOrNull( cert->pem );
}

PB_STORE *cryX509CertificateStore( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    return cryPemStore( cert->pem );
}

PB_BUFFER *cryX509CertificateTryFingerprint( CRY_X509_CERTIFICATE *cert, PB_INT alg )
{
    PB_CHECK( cert );
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    // The data of the canonical PEM is the DER.
    return cryHashTryCompute( alg, cry::pem::data( cert->pem ) );
}

CRY_PKEY_PUBLIC *cryX509CertificatePublicKey( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    EVP_PKEY *pkey = X509_get0_pubkey( cert->x509 );
    PB_CHECK( pkey );
    return cry::pkey::tryCopyPublic( pkey, X509_get_X509_PUBKEY( cert->x509 ) );
}

PB_BOOL cryX509CertificateCheckPrivateKey( CRY_X509_CERTIFICATE *cert, CRY_PKEY_PRIVATE *privateKey )
{
    PB_CHECK( cert );
    PB_CHECK( privateKey );
    return X509_check_private_key( cert->x509, cry___PkeyPrivatePeekOpensslEvpPkey( privateKey ) ) == 1;
}

X509 *cry___X509CertificatePeekOpensslX509( CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK( cert );
    return cert->x509;
}
