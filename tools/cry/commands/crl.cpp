#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/crl_file.hpp"
#include "input/file.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/openssl_reason.hpp"
#include "output/print.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_crl.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <optional>

namespace
{

struct Options
{
    std::vector<std::string>   lists, issuers, files;
    std::optional<std::string> time; // now if not given
    bool                       json = false;
};

using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;

template<class Object>
using Owned = std::unique_ptr<Object, void ( * )( Object * )>;

// The first critical extension of a list that this command does not follow; empty if it has none
// (RFC 5280, 5.2).
std::string unknownExtension( const X509_CRL *crl )
{
    for( int index = -1; ( index = X509_CRL_get_ext_by_critical( crl, 1, index ) ) >= 0; )
    {
        const ASN1_OBJECT *oid = X509_EXTENSION_get_object( X509_CRL_get_ext( crl, index ) );
        if( OBJ_obj2nid( oid ) != NID_issuing_distribution_point )
            return tool::longNameOf( oid );
    }
    return "";
}

// Whether a certificate's distribution points have one of the names of a list's point.
bool hasPoint( const X509 *x509, const DIST_POINT_NAME *wanted )
{
    Owned<CRL_DIST_POINTS> points( (CRL_DIST_POINTS *)X509_get_ext_d2i( x509, NID_crl_distribution_points, nullptr, nullptr ), CRL_DIST_POINTS_free );
    for( int index = 0; wanted->type == 0 && index < sk_DIST_POINT_num( points.get() ); index++ )
    {
        const DIST_POINT_NAME *name = sk_DIST_POINT_value( points.get(), index )->distpoint;
        for( int at = 0; name && name->type == 0 && at < sk_GENERAL_NAME_num( name->name.fullname ); at++ )
        {
            for( int other = 0; other < sk_GENERAL_NAME_num( wanted->name.fullname ); other++ )
            {
                if( GENERAL_NAME_cmp( sk_GENERAL_NAME_value( name->name.fullname, at ), sk_GENERAL_NAME_value( wanted->name.fullname, other ) ) == 0 )
                    return true;
            }
        }
    }
    return false;
}

// Whether a list is one for a certificate of its issuer: it may be for some of them only (RFC 5280,
// 5.2.5).
bool isInScope( const X509_CRL *crl, X509 *x509 )
{
    int                       place = 0;
    Owned<ISSUING_DIST_POINT> scope(
        (ISSUING_DIST_POINT *)X509_CRL_get_ext_d2i( crl, NID_issuing_distribution_point, &place, nullptr ), ISSUING_DIST_POINT_free );
    bool certifies = X509_check_ca( x509 ) > 0;
    bool inScope   = place == -1;
    if( scope )
    {
        bool part = scope->onlyattr > 0 || scope->indirectCRL > 0 || scope->onlysomereasons || ( scope->onlyuser > 0 && scope->onlyCA > 0 );
        inScope   = !part && !( scope->onlyuser > 0 && certifies ) && !( scope->onlyCA > 0 && !certifies ) &&
            ( !scope->distpoint || hasPoint( x509, scope->distpoint ) );
    }
    ERR_clear_error();
    return inScope;
}

// A list, and what it tells.
class List
{
public:
    List( const std::string &path, const pb::Ref<CRY_X509_CRL> &list, PB_TIME *now ) : file( path ), crl( list )
    {
        X509_CRL *x509Crl = cry___X509CrlPeekOpensslX509Crl( crl.get() );
        issuer            = tool::nameText( X509_CRL_get_issuer( x509Crl ) );
        count             = std::max( sk_X509_REVOKED_num( X509_CRL_get_REVOKED( x509Crl ) ), 0 );

        pb::Ref<PB_TIME> made = pb::adopt( cryX509CrlLastUpdate( crl.get() ) ), next = pb::adopt( cryX509CrlNextUpdate( crl.get() ) );
        thisUpdate = tool::timeText( X509_CRL_get0_lastUpdate( x509Crl ) );
        if( const ASN1_TIME *time = X509_CRL_get0_nextUpdate( x509Crl ) )
            nextUpdate = tool::timeText( time );
        if( !made || ( !next && !nextUpdate.empty() ) )
            untimely = "has a time that cannot be read";
        else if( pbTimeCompare( made.get(), now ) > 0 )
            untimely = "is of the future, " + thisUpdate;
        else if( next && pbTimeCompare( next.get(), now ) <= 0 )
            untimely = "is out of date, the next one was due at " + nextUpdate;
        std::string critical = unknownExtension( x509Crl );
        silence              = untimely;
        if( untimely.empty() && !critical.empty() )
            silence = "has the critical extension '" + critical + "', which this command does not follow";
        // Without this, no certificate counts as revoked.
        pb::Ref<BN_INT> zero = pb::adopt( bnIntCreate( 0 ) );
        cryX509CrlRevokedBySerial( crl.get(), zero.get() );
    }

    bool isOfIssuerOf( const Certificate &certificate ) const
    {
        X509 *x509 = cry___X509CertificatePeekOpensslX509( certificate.get() );
        return X509_NAME_cmp( X509_CRL_get_issuer( cry___X509CrlPeekOpensslX509Crl( crl.get() ) ), X509_get_issuer_name( x509 ) ) == 0;
    }

    bool names( const Certificate &certificate ) const { return cryX509CrlRevokedByCertificate( crl.get(), certificate.get() ); }

    // Why it does not tell that a certificate of its issuer is not revoked; empty if it does.
    std::string silenceAbout( const Certificate &certificate ) const
    {
        if( !silence.empty() )
            return silence;
        bool inScope = isInScope( cry___X509CrlPeekOpensslX509Crl( crl.get() ), cry___X509CertificatePeekOpensslX509( certificate.get() ) );
        return inScope ? "" : "is for other certificates of its issuer (X509v3 Issuing Distribution Point)";
    }

    // The entry of a certificate; null if OpenSSL takes it for another issuer's, or for one that
    // takes an older entry back.
    X509_REVOKED *entryOf( const Certificate &certificate )
    {
        // The search sorts the entries, so it is done in a copy.
        if( !copy )
            copy.reset( X509_CRL_dup( cry___X509CrlPeekOpensslX509Crl( crl.get() ) ) );
        X509_REVOKED *entry = nullptr;
        bool          found = copy && X509_CRL_get0_by_cert( copy.get(), &entry, cry___X509CertificatePeekOpensslX509( certificate.get() ) ) == 1;
        ERR_clear_error();
        return found ? entry : nullptr;
    }

    // Throws InputError if none of these certificates' keys made the signature.
    void checkSignature( const std::vector<Certificate> &issuers ) const
    {
        X509_CRL   *x509Crl = cry___X509CrlPeekOpensslX509Crl( crl.get() );
        std::string problem = "none of the certificates of --issuer is its issuer's, " + tool::nameOrNone( issuer );
        for( const Certificate &each : issuers )
        {
            X509 *x509 = cry___X509CertificatePeekOpensslX509( each.get() );
            if( X509_NAME_cmp( X509_get_subject_name( x509 ), X509_CRL_get_issuer( x509Crl ) ) != 0 )
                continue;
            ERR_clear_error();
            EVP_PKEY *pkey = X509_get0_pubkey( x509 );
            bool      good = pkey && X509_CRL_verify( x509Crl, pkey ) == 1;
            problem        = "its signature is not good by the key of its issuer, " + tool::nameOrNone( issuer ) + tool::opensslReasonInBrackets();
            if( good && ( X509_get_key_usage( x509 ) & KU_CRL_SIGN ) )
                return;
            if( good )
                problem = "the key usage of its issuer, " + tool::nameOrNone( issuer ) + ", is not for signing lists";
        }
        throw tool::InputError( file, problem );
    }

    nlohmann::ordered_json json() const
    {
        nlohmann::ordered_json json{ { "file", file }, { "issuer", issuer }, { "thisUpdate", thisUpdate } };
        if( !nextUpdate.empty() )
            json["nextUpdate"] = nextUpdate;
        json["count"]   = count;
        json["current"] = untimely.empty();
        return json;
    }

    std::string text() const
    {
        return "list " + tool::printable( tool::nameOf( file ) ) + ": " + tool::nameOrNone( issuer ) + ", " + thisUpdate + " to " +
            ( nextUpdate.empty() ? "(no end)" : nextUpdate ) + ", " + std::to_string( count ) + ( count == 1 ? " entry" : " entries" ) + "\n";
    }

    std::string           file;
    pb::Ref<CRY_X509_CRL> crl;
    std::string           issuer, thisUpdate, nextUpdate; // nextUpdate is empty if there is none
    int                   count;
    std::string           untimely; // empty if the list is current

private:
    std::string silence; // as for silenceAbout, of all certificates

    Owned<X509_CRL> copy{ nullptr, X509_CRL_free };
};

// The identifiers of RFC 5280, 5.3.1; empty if there is no reason.
std::string reasonOf( X509_REVOKED *entry )
{
    static constexpr const char *known[] = { "unspecified", "keyCompromise", "cACompromise", "affiliationChanged", "superseded",
        "cessationOfOperation", "certificateHold", nullptr, "removeFromCRL", "privilegeWithdrawn", "aACompromise" };

    Owned<ASN1_ENUMERATED> value( (ASN1_ENUMERATED *)X509_REVOKED_get_ext_d2i( entry, NID_crl_reason, nullptr, nullptr ), ASN1_ENUMERATED_free );
    ERR_clear_error();
    if( !value )
        return "";
    int64_t number = -1;
    bool    small  = ASN1_ENUMERATED_get_int64( &number, value.get() ) && number >= 0 && number < (int64_t)std::size( known );
    ERR_clear_error();
    return small && known[number] ? known[number] : "(unknown)";
}

// What the lists tell about one certificate.
struct Answer
{
    std::string file, subject;
    Certificate certificate;
    const List *list = nullptr;                   // the one that tells it; null if none does
    std::string revocationTime, revocationReason; // the time is empty if it is not revoked
    std::string reason;                           // why the lists tell nothing

    Answer( const std::string &path, const Certificate &asked, std::vector<List> &lists ) :
        file( path ), subject( tool::nameText( X509_get_subject_name( cry___X509CertificatePeekOpensslX509( asked.get() ) ) ) ), certificate( asked )
    {
        for( List &each : lists )
        {
            if( revocationTime.empty() && each.isOfIssuerOf( certificate ) )
                ask( each );
        }
        if( list )
            reason.clear();
        else if( reason.empty() )
            reason = "none of the lists is of its issuer, " +
                tool::nameOrNone( tool::nameText( X509_get_issuer_name( cry___X509CertificatePeekOpensslX509( certificate.get() ) ) ) );
    }

    const char *verdict() const { return !revocationTime.empty() ? "bad" : list ? "good" : "unknown"; }

    nlohmann::ordered_json json() const
    {
        nlohmann::ordered_json json{ { "file", file }, { "verdict", verdict() }, { "certificate", tool::Facts( certificate.get() ).json() } };
        if( list )
            json["crl"] = list->file;
        if( !revocationTime.empty() )
            json["revocationTime"] = revocationTime;
        if( !revocationReason.empty() )
            json["revocationReason"] = revocationReason;
        if( !reason.empty() )
            json["reason"] = reason;
        return json;
    }

    std::string text() const
    {
        std::string name = tool::printable( tool::nameOf( file ) ) + ": " + tool::nameOrNone( subject );
        if( !list )
            return tool::red( "unknown" ) + ": " + name + ": " + reason + "\n";
        std::string by = tool::printable( tool::nameOf( list->file ) );
        if( revocationTime.empty() )
            return tool::green( "good" ) + ": " + name + " is not revoked, says " + by + "\n";
        return tool::red( "bad" ) + ": " + name + " is revoked since " + revocationTime +
            ( revocationReason.empty() ? "" : " (" + revocationReason + ")" ) + ", says " + by + "\n";
    }

private:
    // Asks a list of the issuer. Of several, one that names the certificate counts, else the first
    // one that tells that it is not revoked.
    void ask( List &asked )
    {
        std::string name = tool::printable( tool::nameOf( asked.file ) );
        if( asked.names( certificate ) )
        {
            X509_REVOKED *entry = asked.entryOf( certificate );
            if( !entry )
            {
                reason = "its serial number is in " + name + ", but for another issuer or to take an entry back";
                return;
            }
            revocationTime   = tool::timeText( X509_REVOKED_get0_revocationDate( entry ) );
            revocationReason = reasonOf( entry );
            list             = &asked;
        }
        else if( std::string silence = asked.silenceAbout( certificate ); silence.empty() )
            list = list ? list : &asked;
        else if( reason.empty() )
            reason = "it is not in " + name + ", but that list " + silence;
    }
};

int check( Options &options )
{
    pb::Ref<PB_TIME>         now    = tool::timeValue( options.time );
    std::vector<std::string> inputs = options.lists;
    inputs.insert( inputs.end(), options.issuers.begin(), options.issuers.end() );
    inputs.insert( inputs.end(), options.files.begin(), options.files.end() );
    tool::checkStandardInput( inputs );

    std::vector<List> lists;
    for( const std::string &file : options.lists )
    {
        for( const pb::Ref<CRY_X509_CRL> &each : tool::readCrls( file ) )
            lists.emplace_back( file, each, now.get() );
    }
    std::vector<Certificate> issuers;
    for( const std::string &file : options.issuers )
    {
        for( const Certificate &each : tool::readCertificates( file ) )
            issuers.push_back( each );
    }
    for( const List &each : lists )
    {
        if( !options.issuers.empty() )
            each.checkSignature( issuers );
    }
    std::vector<Answer> answers;
    for( const std::string &file : options.files )
    {
        for( const Certificate &each : tool::readCertificates( file ) )
            answers.emplace_back( file, each, lists );
    }

    for( const List &each : lists )
    {
        if( !each.untimely.empty() )
            tool::warn( { tool::printable( tool::nameOf( each.file ) ) + ": the list of " + tool::nameOrNone( each.issuer ) + " " + each.untimely,
                each.file, {} } );
    }
    bool                   revoked = false, unknown = false;
    nlohmann::ordered_json files = nlohmann::ordered_json::array(), crls = nlohmann::ordered_json::array();
    for( const Answer &each : answers )
    {
        revoked = revoked || each.verdict() == std::string_view( "bad" );
        unknown = unknown || !each.list;
        if( !each.list )
            tool::report( { each.file, "nothing is known of " + tool::nameOrNone( each.subject ) + ": " + each.reason } );
        files.push_back( each.json() );
        if( !options.json )
            tool::print( each.text() );
    }
    for( const List &each : lists )
    {
        crls.push_back( each.json() );
        if( !options.json )
            tool::print( each.text() );
    }
    const char *verdict = revoked ? "bad" : unknown ? "unknown" : "good";
    if( options.json )
        tool::printJson( { { "verdict", verdict }, { "time", tool::take( pbTimeToString( now.get() ) ) }, { "files", files }, { "crls", crls },
            { "signaturesChecked", !issuers.empty() } } );
    else
        tool::print( issuers.empty() ? "The signatures of the lists are not checked (see --issuer).\n" : "The signatures of the lists are good.\n" );
    return revoked ? tool::exitNegative : unknown ? tool::exitInputError : tool::exitGood;
}

}

void tool::addCrlCheck( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, check,
        "A certificate is revoked if a list of its issuer has its serial number. It is not revoked if such a list does not\n"
        "have it, is current, is for this certificate (issuing distribution point), and has no other critical extension.\n"
        "Otherwise nothing is known, and a message says why: the lists are of other issuers, out of date, or of the future.\n"
        "Neither the certificates nor the signatures of the lists are verified; --issuer checks the signatures of the lists.\n"
        "Exit: 0 no certificate is revoked; 1 one is; 2 wrong use, input that cannot be read, a bad signature, or nothing is known of one." );
    addArgument( command, "CERT", options.files, "files of certificates, in PEM or DER, which are all looked for; - is standard input" )
        ->required()
        ->expected( 1, -1 );
    valuesOf( command.get_option( "CERT" ) ).kind = Values::input;
    addRepeated( command, "--crl", options.lists, "FILE", "revocation lists, in PEM or DER" )->required();
    addRepeated( command, "--issuer", options.issuers, "FILE", "certificates whose keys must have signed the lists; they are trusted" );
    addOption(
        command, "--time", options.time, "TIME", "the time at which the lists must be current, in UTC, as 2026-01-31T12:00:00Z; now if left out" );
}
