#include "output/certificate_facts.hpp"

#include "output/key_facts.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_decode.h>
#include <openssl/x509.h>
#include <pb/pb_time.h>
#include <pb/ref.hpp>

namespace
{

std::string nameText( X509_NAME *name )
{
    PB_STRING *text = cry___X509TryDecodeX509Name( name );
    return text ? tool::take( text ) : "(unreadable)";
}

std::string timeText( const ASN1_TIME *time )
{
    PB_TIME *decoded = cry___X509TryDecodeAsn1Time( time );
    if( !decoded )
        return "(unreadable)";
    std::string text = tool::take( pbTimeToString( decoded ) );
    pbTimeRelease( decoded );
    return text;
}

std::string signatureText( X509 *x509 )
{
    int  nid = X509_get_signature_nid( x509 );
    char text[80];
    if( nid != NID_undef )
        return OBJ_nid2ln( nid );
    const X509_ALGOR *algorithm;
    X509_get0_signature( nullptr, &algorithm, x509 );
    OBJ_obj2txt( text, sizeof text, algorithm->algorithm, 1 );
    return text;
}

std::string fingerprintText( CRY_X509_CERTIFICATE *certificate )
{
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryX509CertificateTryFingerprint( certificate, CRY_HASH_ALGORITHM_SHA2_256 ) );
    return digest ? tool::withColons( digest.get() ) : "(SHA-256 is not available)";
}

}

tool::Facts::Facts( CRY_X509_CERTIFICATE *certificate )
{
    X509 *x509         = cry___X509CertificatePeekOpensslX509( certificate );
    subject            = nameText( X509_get_subject_name( x509 ) );
    issuer             = nameText( X509_get_issuer_name( x509 ) );
    validFrom          = timeText( X509_get0_notBefore( x509 ) );
    validUntil         = timeText( X509_get0_notAfter( x509 ) );
    key                = keyText( X509_get0_pubkey( x509 ) );
    signatureAlgorithm = signatureText( x509 );
    fingerprint        = fingerprintText( certificate );
}

nlohmann::ordered_json tool::Facts::json() const
{
    return { { "subject", subject }, { "issuer", issuer }, { "validFrom", validFrom }, { "validUntil", validUntil }, { "key", key },
        { "signatureAlgorithm", signatureAlgorithm }, { "sha256", fingerprint } };
}

std::string tool::nameOrNone( const std::string &name ) { return name.empty() ? "(no name)" : printable( name ); }
