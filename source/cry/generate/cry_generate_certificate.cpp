#include <cry/cry_generate_certificate.h>
#include <cry/internal/cry_generate_certificate.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>
#include <pb/pb_time.h>

#include "generate/cry_generate_names.hpp"

// Valid from yesterday, so that a machine whose clock is slow accepts the certificate.
static bool trySetValidity( X509 *x509, PB_INT days )
{
    pb::Ref<PB_TIME> now  = pb::adopt( pbTimeNow() );
    pb::Ref<PB_TIME> from = pb::adopt( pbTimeShiftDays( now.get(), -1 ) );
    time_t           notBefore, notAfter;
    if( days == PB_INT_MAX || !from || !pbTimeTryConvertToTimeT( from.get(), &notBefore ) )
        return false;
    pb::Ref<PB_TIME> until = pb::adopt( pbTimeShiftDays( from.get(), days + 1 ) );
    return until && pbTimeTryConvertToTimeT( until.get(), &notAfter ) && ASN1_TIME_set( X509_getm_notBefore( x509 ), notBefore ) &&
        ASN1_TIME_set( X509_getm_notAfter( x509 ), notAfter );
}

static bool tryAdd( X509 *x509, const cry::ossl::Ptr<X509_EXTENSION> &extension )
{
    return extension && X509_add_ext( x509, extension.get(), -1 ) == 1;
}

static bool tryAddUsage( X509 *x509, X509V3_CTX *context, bool clientAuth, bool serverAuth )
{
    const char *usage = clientAuth && serverAuth ? "clientAuth,serverAuth" : clientAuth ? "clientAuth" : "serverAuth";
    return tryAdd( x509, cry::ossl::Ptr<X509_EXTENSION>( X509V3_EXT_conf_nid( nullptr, context, NID_ext_key_usage, usage ) ) );
}

CRY_X509_CERTIFICATE *cry___TryGenerateCertificate(
    CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days, PB_BOOL clientAuth, PB_BOOL serverAuth )
{
    PB_CHECK( privateKey );
    PB_CHECK( days >= 0 );
    EVP_PKEY            *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( privateKey );
    cry::ossl::Ptr<X509> x509( X509_new() );
    if( !x509 || !trySetValidity( x509.get(), days ) )
        return nullptr;
    // The serial number is always 1; the subject and the key distinguish these certificates.
    if( X509_set_version( x509.get(), X509_VERSION_3 ) != 1 || ASN1_INTEGER_set( X509_get_serialNumber( x509.get() ), 1 ) != 1 ||
        X509_set_pubkey( x509.get(), pkey ) != 1 )
        return nullptr;
    X509_NAME *subject = X509_get_subject_name( x509.get() );
    if( !cry::generate::tryAddSubject( subject, domainName, commonName ) || X509_set_issuer_name( x509.get(), subject ) != 1 )
        return nullptr;
    X509V3_CTX context;
    X509V3_set_ctx( &context, x509.get(), x509.get(), nullptr, nullptr, 0 );
    if( domainName && !tryAdd( x509.get(), cry::generate::tryMakeAlternativeName( &context, domainName ) ) )
        return nullptr;
    if( ( clientAuth || serverAuth ) && !tryAddUsage( x509.get(), &context, clientAuth, serverAuth ) )
        return nullptr;
    if( X509_sign( x509.get(), pkey, EVP_sha256() ) <= 0 )
        return nullptr;
    return cry___X509CertificateTryCreateFromOpensslX509Use( x509.release() );
}

CRY_X509_CERTIFICATE *cryTryGenerateCertificate( CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days )
{
    return cry___TryGenerateCertificate( privateKey, domainName, commonName, days, PB_FALSE, PB_FALSE );
}

CRY_X509_CERTIFICATE *cryTryGenerateCertificateWithExtendedKeyUsage(
    CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days, PB_BOOL clientAuth, PB_BOOL serverAuth )
{
    PB_CHECK( clientAuth || serverAuth );
    return cry___TryGenerateCertificate( privateKey, domainName, commonName, days, clientAuth, serverAuth );
}
