#include "output/describe.hpp"

#include "input/input.hpp"
#include "output/terminal.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_decode.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <rfc/rfc.h>

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

std::string tool::keyText( EVP_PKEY *key )
{
    if( !key )
    {
        ERR_clear_error();
        return "(unreadable)";
    }
    const char *type = EVP_PKEY_get0_type_name( key );
    std::string text = type ? type : "unknown";
    char        group[80];
    size_t      length = 0;
    if( EVP_PKEY_is_a( key, "EC" ) && EVP_PKEY_get_utf8_string_param( key, OSSL_PKEY_PARAM_GROUP_NAME, group, sizeof group, &length ) == 1 )
        text += " " + std::string( group, length );
    ERR_clear_error();
    return text + ", " + std::to_string( EVP_PKEY_get_bits( key ) ) + " bits";
}

std::string tool::withColons( PB_BUFFER *bytes )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( rfcBaseEncode( bytes, RFC_BASE_16 ) );
    std::string        out;
    for( PB_INT index = 0; index < pbBufferLength( text.get() ); index++ )
    {
        if( index && index % 2 == 0 )
            out += ':';
        out += (char)pbBufferByteAt( text.get(), index );
    }
    return out;
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

std::string tool::counted( size_t count, const std::string &what ) { return std::to_string( count ) + " " + what + ( count == 1 ? "" : "s" ); }
