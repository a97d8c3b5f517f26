#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/item.hpp"
#include "input/pkcs12_file.hpp"
#include "input/protection.hpp"
#include "input/tn_list.hpp"
#include "options/command.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/extensions.hpp"
#include "output/key_facts.hpp"
#include "output/notices.hpp"
#include "output/print.hpp"
#include "output/store_json.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_x509_crl_distribution.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_crl.h>
#include <cry/internal/cry_x509_csr.h>
#include <cry/internal/cry_x509_decode.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <optional>
#include <pb/each.hpp>

namespace
{

struct Options
{
    std::vector<std::string> files;
    tool::PasswordOptions    password;
    bool                     json = false;
};

// How many entries of a CRL are shown, and how many JSON has.
constexpr int entriesShown = 20, entriesInJson = 1000;

// The largest serial number that is written in decimal digits; the time for that grows with the
// square of its length.
constexpr int largestSerial = 1024;

// What there is to say of an item: lines for people, and JSON.
struct Description
{
    std::string            lines;
    nlohmann::ordered_json json;

    // The value must be harmless already.
    void line( const std::string &what, const std::string &value )
    {
        std::string column = what;
        column.resize( std::max<size_t>( column.size() + 1, 20 ), ' ' );
        lines += "  " + tool::faint( column ) + value + "\n";
    }
};

std::string placeOf( const tool::Item &item ) { return tool::nameOf( item.file ) + ( item.line ? ":" + std::to_string( item.line ) : "" ); }

void warnOf( const tool::Item &item, const std::string &what ) { tool::warn( { placeOf( item ) + ": " + what, item.file, {} } ); }

// ---- parts of several kinds

// A serial number in decimal and hexadecimal digits; a very long one only in the latter.
struct Serial
{
    std::string decimal, hexadecimal;

    explicit Serial( const ASN1_INTEGER *number )
    {
        std::string bytes = tool::hexText( number );
        hexadecimal       = ( ASN1_STRING_type( number ) == V_ASN1_NEG_INTEGER ? "-0x" : "0x" ) + ( bytes.empty() ? "00" : bytes );
        pb::Ref<BN_INT> value;
        if( ASN1_STRING_length( number ) <= largestSerial )
            value = pb::adopt( cry___X509TryDecodeAsn1Integer( number ) );
        if( value )
            decimal = tool::take( bnIntConvertToDecimalString( value.get() ) );
    }

    std::string text() const { return decimal.empty() ? hexadecimal : decimal + " (" + hexadecimal + ")"; }
};

// The seconds of a time since 1970; nothing if it is none.
std::optional<time_t> secondsOf( const ASN1_TIME *time )
{
    pb::Ref<PB_TIME> tm = pb::adopt( time ? cry___X509TryDecodeAsn1Time( time ) : nullptr );
    time_t           seconds;
    if( !tm || !pbTimeTryConvertToTimeT( tm.get(), &seconds ) )
        return {};
    return seconds;
}

// Whole days that are left; less than none if the time is over.
PB_INT daysBetween( time_t from, time_t until )
{
    constexpr PB_INT day = 24 * 60 * 60;
    return until >= from ? (PB_INT)( until - from ) / day : -( (PB_INT)( from - until ) + day - 1 ) / day;
}

void describeKey( Description &description, const tool::KeyFacts &facts )
{
    description.line( "key", tool::printable( facts.text() ) + ( facts.problem.empty() ? "" : ": " + tool::printable( facts.problem ) ) );
    description.json["key"] = facts.json();
}

// An extension's lines, under a short name for those that people look for.
void describeExtension( Description &description, const tool::Extension &extension )
{
    std::string what, name = extension.critical ? " (critical)" : "";
    switch( extension.nid )
    {
    case NID_basic_constraints:
        what = "basic constraints";
        break;
    case NID_key_usage:
        what = "key usage";
        break;
    case NID_ext_key_usage:
        what = "extended key usage";
        break;
    case NID_netscape_cert_type:
        what = "Netscape type";
        break;
    case NID_subject_alt_name:
        what = "name";
        break;
    case NID_crl_distribution_points:
        what = "CRL";
        break;
    default:
        what = "extension";
        name = extension.name + name + ": ";
    }
    for( const std::string &line : extension.lines() )
        description.line( what, what == "extension" ? name + line : line + name );
}

void describeExtensions( Description &description, const std::vector<tool::Extension> &extensions )
{
    for( const tool::Extension &each : extensions )
        describeExtension( description, each );
    description.json["extensions"] = tool::extensionsJson( extensions );
}

void describeFingerprint( Description &description, const std::string &sha256, const char *of = "" )
{
    description.line( "SHA-256", tool::orMissing( sha256 ) + ( sha256.empty() ? "" : of ) );
}

// ---- certificates

void describeValidity( Description &description, const tool::Item &item, const tool::Facts &facts, X509 *x509 )
{
    std::optional<time_t> from = secondsOf( X509_get0_notBefore( x509 ) ), until = secondsOf( X509_get0_notAfter( x509 ) );
    time_t                now = time( nullptr );
    std::string           left;
    if( from && now < *from )
    {
        left = " (not yet valid)";
        warnOf( item, "the certificate is not valid before " + facts.validFrom );
    }
    else if( until && now > *until )
    {
        left = " (expired)";
        warnOf( item, "the certificate expired at " + facts.validUntil );
    }
    else if( until )
        left = " (" + tool::counted( (size_t)daysBetween( now, *until ), "day" ) + " left)";
    description.line( "valid", facts.validFrom + " to " + facts.validUntil + left );
    if( until )
        description.json["daysLeft"] = daysBetween( now, *until );
}

void describeTnList( Description &description, const tool::Item &item )
{
    tool::TnList tnList( item.certificate.get() );
    if( !tnList.problem.empty() )
        warnOf( item, tnList.problem );
    for( const std::string &line : tnList.lines() )
        description.line( "telephone", line );
    if( tnList.list )
        description.json["tnAuthList"] = tool::storeJson( pb::adopt( cryX509TNAuthListStore( tnList.list.get() ) ).get() );
}

nlohmann::ordered_json textsJson( PB_VECTOR *strings )
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( PB_STRING *each : pb::each<PB_STRING>( pb::share( strings ) ) )
        list.push_back( tool::take( pbStringRetain( each ) ) );
    return list;
}

// The distribution points that have URIs; false if there are none.
bool describeCrlPlaces( Description &description, CRY_X509_CERTIFICATE *certificate )
{
    pb::Ref<PB_VECTOR> points = pb::adopt( cryX509CertificateRevocationListDistribution( certificate ) );
    if( !points )
        return false;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( CRY_X509_CRL_DISTRIBUTION *each : pb::each<CRY_X509_CRL_DISTRIBUTION>( points ) )
    {
        nlohmann::ordered_json point{ { "uris", textsJson( pb::adopt( cryX509CrlDistributionUris( each ) ).get() ) } };
        for( const nlohmann::ordered_json &uri : point["uris"] )
            description.line( "CRL", tool::escapedName( uri.get<std::string>() ) );
        if( pb::Ref<PB_VECTOR> issuers = pb::adopt( cryX509CrlDistributionIssuers( each ) ) )
        {
            point["issuers"] = textsJson( issuers.get() );
            for( const nlohmann::ordered_json &issuer : point["issuers"] )
                description.line( "CRL issuer", tool::printable( issuer.get<std::string>() ) );
        }
        list.push_back( point );
    }
    description.json["crlDistribution"] = list;
    return true;
}

nlohmann::ordered_json infoJson( CRY_X509_CERTIFICATE *certificate, const Serial &serial )
{
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509CertificateInfo( certificate ) );
    if( serial.decimal.empty() )
        cryX509InfoDelSerialNumber( info.handle() );
    return tool::storeJson( pb::adopt( cryX509InfoStore( info.get() ) ).get() );
}

void describeCertificate( Description &description, const tool::Item &item )
{
    CRY_X509_CERTIFICATE *certificate = item.certificate.get();
    X509                 *x509        = cry___X509CertificatePeekOpensslX509( certificate );
    tool::Facts           facts( certificate );
    Serial                serial( X509_get0_serialNumber( x509 ) );
    description.json["info"]        = infoJson( certificate, serial );
    description.json["certificate"] = facts.json();
    description.line( "subject", tool::nameOrNone( facts.subject ) );
    description.line( "issuer", tool::nameOrNone( facts.issuer ) );
    description.line( "serial", serial.text() );
    describeValidity( description, item, facts, x509 );
    description.line( "key", tool::printable( facts.key.text() ) + ( facts.key.problem.empty() ? "" : ": " + tool::printable( facts.key.problem ) ) );
    description.line( "signature", facts.signatureAlgorithm );
    std::vector<tool::Extension> extensions = tool::extensionsOf( X509_get0_extensions( x509 ) );
    bool                         places     = describeCrlPlaces( description, certificate );
    describeTnList( description, item );
    for( const tool::Extension &each : extensions )
    {
        bool known = ( places && each.nid == NID_crl_distribution_points ) ||
            ( description.json.contains( "tnAuthList" ) && each.oid == tool::tnListOid );
        if( !known )
            describeExtension( description, each );
    }
    description.json["extensions"] = tool::extensionsJson( extensions );
    describeFingerprint( description, facts.fingerprint );
    if( pb::Ref<PB_BUFFER> sha1 = pb::adopt( cryX509CertificateTryFingerprint( certificate, CRY_HASH_ALGORITHM_SHA1 ) ) )
    {
        description.line( "SHA-1", tool::withColons( sha1.get() ) );
        description.json["sha1"] = tool::withColons( sha1.get() );
    }
}

// ---- requests and CRLs

void describeSignature( Description &description, const X509_ALGOR *algorithm )
{
    std::string name = tool::longNameOf( algorithm->algorithm );
    description.line( "signature", name );
    description.json["signatureAlgorithm"] = name;
}

// The fingerprint of the DER in a PEM object.
void describePem( Description &description, CRY_PEM *pem )
{
    std::string sha256 = tool::sha256Text( pb::adopt( cryPemData( pem ) ).get() );
    describeFingerprint( description, sha256 );
    if( !sha256.empty() )
        description.json["sha256"] = sha256;
}

void describeRequest( Description &description, const tool::Item &item )
{
    X509_REQ         *req     = cry___X509CsrPeekOpensslX509Req( item.request.get() );
    std::string       subject = tool::nameText( X509_REQ_get_subject_name( req ) );
    const X509_ALGOR *algorithm;
    description.json["subject"] = subject;
    description.line( "subject", tool::nameOrNone( subject ) );
    ERR_clear_error();
    describeKey( description, tool::KeyFacts( X509_REQ_get0_pubkey( req ) ) );
    X509_REQ_get0_signature( req, nullptr, &algorithm );
    describeSignature( description, algorithm );
    describeExtensions( description, tool::requestedExtensions( req, item.file, item.line ) );
    describePem( description, pb::adopt( cryX509CsrPem( item.request.get() ) ).get() );
}

void describeEntries( Description &description, X509_CRL *crl )
{
    STACK_OF( X509_REVOKED ) *entries = X509_CRL_get_REVOKED( crl );
    int                    count      = std::max( sk_X509_REVOKED_num( entries ), 0 );
    nlohmann::ordered_json list       = nlohmann::ordered_json::array();
    description.line( "entries", std::to_string( count ) );
    for( int index = 0; index < std::min( count, entriesInJson ); index++ )
    {
        const X509_REVOKED    *entry = sk_X509_REVOKED_value( entries, index );
        std::string            date  = tool::timeText( X509_REVOKED_get0_revocationDate( entry ) );
        Serial                 serial( X509_REVOKED_get0_serialNumber( entry ) );
        nlohmann::ordered_json json;
        if( !serial.decimal.empty() )
            json["serialNumber"] = serial.decimal;
        json["revocationTime"] = date;
        list.push_back( json );
        if( index < entriesShown )
            description.line( "revoked", date + " " + serial.text() );
    }
    if( count > entriesShown )
        description.line( "revoked", "... and " + std::to_string( count - entriesShown ) + " more" );
    description.json["count"]   = count;
    description.json["entries"] = list;
}

void describeCrl( Description &description, const tool::Item &item )
{
    X509_CRL         *crl    = cry___X509CrlPeekOpensslX509Crl( item.crl.get() );
    std::string       issuer = tool::nameText( X509_CRL_get_issuer( crl ) ), last = tool::timeText( X509_CRL_get0_lastUpdate( crl ) );
    const ASN1_TIME  *next = X509_CRL_get0_nextUpdate( crl );
    const X509_ALGOR *algorithm;
    description.json["issuer"]     = issuer;
    description.json["thisUpdate"] = last;
    description.line( "issuer", tool::nameOrNone( issuer ) );
    description.line( "this update", last );
    if( next )
    {
        std::optional<time_t> until = secondsOf( next );
        bool                  old   = until && time( nullptr ) > *until;
        std::string           text  = tool::timeText( next );
        if( old )
            warnOf( item, "the CRL is out of date; the next one was due at " + text );
        description.json["nextUpdate"] = text;
        description.line( "next update", text + ( old ? " (out of date)" : "" ) );
    }
    X509_CRL_get0_signature( crl, nullptr, &algorithm );
    describeSignature( description, algorithm );
    describeExtensions( description, tool::extensionsOf( X509_CRL_get0_extensions( crl ) ) );
    describeEntries( description, crl );
    describePem( description, pb::adopt( cryX509CrlPem( item.crl.get() ) ).get() );
}

// ---- keys and PKCS#12

void describeProtection( Description &description, const std::string &protection )
{
    if( protection.empty() )
        return;
    description.line( "protection", tool::printable( protection ) );
    description.json["protection"] = protection;
}

void describePrivateKey( Description &description, tool::Item &item, Options &options )
{
    description.json["form"] = item.form;
    if( item.isLocked && options.password.given() )
        item.unlock( options.password );
    if( item.isLocked )
    {
        describeProtection( description, item.protection );
        if( !item.privateKey )
            description.line( "key", "not known without the password" );
    }
    if( !item.privateKey )
        return;
    tool::KeyFacts facts( cry___PkeyPrivatePeekOpensslEvpPkey( item.privateKey.get() ) );
    describeKey( description, facts );
    describeFingerprint( description, facts.fingerprint, " (of the public key)" );
}

void describePublicKey( Description &description, const tool::Item &item )
{
    description.json["form"] = item.form;
    tool::KeyFacts facts( cry___PkeyPublicPeekOpensslEvpPkey( item.publicKey.get() ) );
    describeKey( description, facts );
    describeFingerprint( description, facts.fingerprint, " (of the public key)" );
}

void describeContents( Description &description, CRY_PKCS12 *pkcs12 )
{
    pb::Ref<CRY_PKEY_PRIVATE>     key         = pb::adopt( cryPkcs12PrivateKey( pkcs12 ) );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryPkcs12Certificate( pkcs12 ) );
    auto                          others      = tool::elements( pb::adopt( cryPkcs12Certificates( pkcs12 ) ).get() );
    auto line = [&description]( const char *what, CRY_X509_CERTIFICATE *each ) { description.line( what, tool::Facts( each ).text() ); };
    describeKey( description, tool::KeyFacts( cry___PkeyPrivatePeekOpensslEvpPkey( key.get() ) ) );
    line( "certificate", certificate.get() );
    for( const auto &each : others )
        line( "further", each.get() );
    description.json["certificate"]  = tool::Facts( certificate.get() ).json();
    description.json["certificates"] = tool::factsJson( others );
}

void describePkcs12( Description &description, tool::Item &item, Options &options )
{
    tool::Pkcs12Cover  cover( item.der.get() );
    pb::Ref<PB_BUFFER> password = options.password.given() ? options.password.get( item.file ) : pb::Ref<PB_BUFFER>();
    description.line( "MAC", cover.mac.empty() ? "none" : cover.mac );
    if( !cover.mac.empty() )
        description.json["protection"] = cover.mac;
    description.json["contents"] = nlohmann::ordered_json::array();
    for( const std::string &each : cover.contents )
    {
        description.line( "content", tool::printable( each ) );
        description.json["contents"].push_back( each );
    }
    // A file may have no password.
    tool::Pkcs12Attempt attempt( item.der.get(), {} );
    if( !attempt.pkcs12 && password )
        attempt = tool::Pkcs12Attempt( item.der.get(), password );
    if( attempt.pkcs12 )
        return describeContents( description, attempt.pkcs12.get() );
    if( !attempt.wrongPassword() )
    {
        description.line( "not read", tool::printable( attempt.diagnostics ) );
        description.json["problem"] = attempt.diagnostics;
    }
    else if( password )
        item.problem = "the password is wrong, or the file is damaged (" + attempt.diagnostics + ")";
    else
        description.line( "key", "not known without the password" );
}

// ---- all

std::string headingOf( const tool::Item &item )
{
    switch( item.kind )
    {
    case tool::Kind::crl:
        return "CRL";
    case tool::Kind::pkcs12:
        return "PKCS#12";
    case tool::Kind::privateKey:
    case tool::Kind::publicKey:
        return tool::nameOf( item.kind ) + " (" + item.form + ")";
    case tool::Kind::other:
        return "a block of " + ( item.label.empty() ? "no label" : tool::printable( item.label ) ) + ", which is not read";
    default:
        return tool::nameOf( item.kind );
    }
}

Description describe( tool::Item &item, Options &options )
{
    Description description;
    description.json = { { "kind", tool::nameOf( item.kind ) }, { "file", item.file } };
    if( item.line )
        description.json["line"] = item.line;
    switch( item.kind )
    {
    case tool::Kind::certificate:
        describeCertificate( description, item );
        break;
    case tool::Kind::request:
        describeRequest( description, item );
        break;
    case tool::Kind::crl:
        describeCrl( description, item );
        break;
    case tool::Kind::privateKey:
        describePrivateKey( description, item, options );
        break;
    case tool::Kind::publicKey:
        describePublicKey( description, item );
        break;
    case tool::Kind::pkcs12:
        describePkcs12( description, item, options );
        break;
    case tool::Kind::other:
        description.json["label"] = item.label;
        break;
    }
    return description;
}

int inspect( Options &options )
{
    if( options.files.empty() )
        options.files.push_back( "-" );
    tool::checkStandardInput( options.files );
    // A password that cannot be had ends the command before anything is printed.
    if( options.password.given() )
        options.password.get( std::find( options.files.begin(), options.files.end(), "-" ) == options.files.end() ? options.files[0] : "-" );
    nlohmann::ordered_json items  = nlohmann::ordered_json::array();
    bool                   failed = false, first = true;
    auto                   fail = [&failed]( const tool::InputError &problem ) {
        failed = true;
        tool::report( problem );
    };
    auto take = [&]( tool::Item &item ) {
        if( !item.problem.empty() )
            return fail( item.error() );
        Description description = describe( item, options );
        if( options.json )
            items.push_back( std::move( description.json ) );
        else
            tool::print( ( first ? "" : "\n" ) + placeOf( item ) + ": " + headingOf( item ) + "\n" + description.lines );
        first = false;
        // The password of a key may be wrong.
        if( !item.problem.empty() )
            fail( item.error() );
    };
    for( const std::string &file : options.files )
    {
        try
        {
            tool::forEachItem( file, take );
        }
        catch( const tool::InputError &problem )
        {
            fail( problem );
        }
    }
    if( options.json )
        tool::printJson( { { "items", std::move( items ) } } );
    return failed ? tool::exitInputError : tool::exitGood;
}

}

void tool::addInspect( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, inspect,
        "Says what each block of PEM in a file is, or what its DER is: a certificate, a request, a CRL, a private or public key\n"
        "or a PKCS#12 file. Prints names, serial number, validity, key, usages, extensions and fingerprints. Of a private key\n"
        "only the kind and size are printed. It never asks for a password; with one, it opens protected keys and PKCS#12.\n"
        "Signatures are not checked. Of a CRL the first 20 entries are printed. Each alternative name has its own line, as in\n"
        "'cry request check'. Warns of a certificate that has expired or is not yet valid, and of a CRL that is out of date.\n"
        "Exit: 0 everything was read; 2 wrong use, or something does not parse or cannot be read (all else is printed)." );
    addFiles( command, options.files );
    options.password.addTo( command, "protected keys and PKCS#12 files" );
}
