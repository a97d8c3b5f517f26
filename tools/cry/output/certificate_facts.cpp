#include "output/certificate_facts.hpp"

#include "output/print.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <pb/ref.hpp>

namespace
{

std::string signatureText( X509 *x509 )
{
    const X509_ALGOR *algorithm;
    X509_get0_signature( nullptr, &algorithm, x509 );
    return tool::longNameOf( algorithm->algorithm );
}

std::string fingerprintText( CRY_X509_CERTIFICATE *certificate )
{
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryX509CertificateTryFingerprint( certificate, CRY_HASH_ALGORITHM_SHA2_256 ) );
    return digest ? tool::withColons( digest.get() ) : "";
}

tool::KeyFacts keyOf( CRY_X509_CERTIFICATE *certificate )
{
    ERR_clear_error();
    return tool::KeyFacts( X509_get0_pubkey( cry___X509CertificatePeekOpensslX509( certificate ) ) );
}

}

tool::Facts::Facts( CRY_X509_CERTIFICATE *certificate ) : key( keyOf( certificate ) )
{
    X509 *x509         = cry___X509CertificatePeekOpensslX509( certificate );
    subject            = tool::nameText( X509_get_subject_name( x509 ) );
    issuer             = tool::nameText( X509_get_issuer_name( x509 ) );
    validFrom          = tool::timeText( X509_get0_notBefore( x509 ) );
    validUntil         = tool::timeText( X509_get0_notAfter( x509 ) );
    signatureAlgorithm = signatureText( x509 );
    fingerprint        = fingerprintText( certificate );
}

nlohmann::ordered_json tool::Facts::json() const
{
    nlohmann::ordered_json json{ { "subject", subject }, { "issuer", issuer }, { "validFrom", validFrom }, { "validUntil", validUntil },
        { "key", key.json() }, { "signatureAlgorithm", signatureAlgorithm } };
    if( !fingerprint.empty() )
        json["sha256"] = fingerprint;
    return json;
}

std::string tool::Facts::text() const { return nameOrNone( subject ) + ", by " + nameOrNone( issuer ) + ", until " + validUntil; }

std::string tool::Facts::details( const std::string &indent ) const
{
    auto line = [&indent]( const char *what, const std::string &value ) { return indent + faint( what ) + value + "\n"; };
    return line( "issuer       ", nameOrNone( issuer ) ) + line( "valid        ", validFrom + " to " + validUntil ) +
        line( "key          ", key.text() ) + line( "signature    ", signatureAlgorithm ) + line( "SHA-256      ", orMissing( fingerprint ) );
}

nlohmann::ordered_json tool::factsJson( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &certificates )
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( const pb::Ref<CRY_X509_CERTIFICATE> &each : certificates )
        list.push_back( Facts( each.get() ).json() );
    return list;
}

std::string tool::orMissing( const std::string &fingerprint ) { return fingerprint.empty() ? "(SHA-256 is not available)" : fingerprint; }

std::string tool::nameOrNone( const std::string &name ) { return name.empty() ? "(no name)" : printable( name ); }
