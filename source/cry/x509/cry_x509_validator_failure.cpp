#include "x509/cry_x509_validator_failure.hpp"

#include <cry/cry_x509_info.h>
#include <pb/each.hpp>
#include <pb/stored.hpp>

#include "common/cry_enumeration.hpp"

#include <iterator>
#include <openssl/x509_vfy.h>

struct CRY_X509_VALIDATOR_FAILURE : PB_OBJ
{
    CRY_X509_VALIDATOR_FAILURE_REASON reason;
    PB_TIME                          *time;
    PB_INT                            opensslError;
    PB_INT                            depth;
    CRY_X509_CERTIFICATE             *certificate;
    CRY_X509_SANS                    *certificateSans;
    CRY_X509_SANS                    *wantedSans;
};

using Failure = CRY_X509_VALIDATOR_FAILURE;

static constexpr auto failureFields = pb::fields<&Failure::reason, &Failure::time, &Failure::opensslError, &Failure::depth, &Failure::certificate,
    &Failure::certificateSans, &Failure::wantedSans>;

static constexpr cry::Named reasons[] = {
    CRY_NAMED( CRY_X509_VALIDATOR_FAILURE_REASON_TIME ),
    CRY_NAMED( CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN ),
    CRY_NAMED( CRY_X509_VALIDATOR_FAILURE_REASON_RESULT ),
    CRY_NAMED( CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS ),
    CRY_NAMED( CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS ),
};

namespace
{

constexpr PB_INT mostNamesShown = 8, mostCharactersShown = 500;

pb::Ref<PB_STRING> format( const char *text, auto... arguments ) { return pb::adopt( pbStringCreateFromFormatCstr( text, -1, arguments... ) ); }

// Characters that would play with a terminal or with the order of the text.
bool isHarmful( PB_CHAR character )
{
    auto in = [character]( PB_CHAR first, PB_CHAR last ) { return character >= first && character <= last; };
    return in( 0, 0x1F ) || in( 0x7F, 0x9F ) || character == 0x61C || in( 0x200B, 0x200F ) || in( 0x2028, 0x202E ) || in( 0x2060, 0x2069 ) ||
        character == 0xFEFF || in( 0xFFF9, 0xFFFB );
}

// The text with such characters escaped; only the first characters of a long one, since a name that
// a peer chooses would fill the log.
pb::Ref<PB_STRING> harmless( PB_STRING *text )
{
    pb::Ref<PB_STRING> result = pb::adopt( pbStringCreate() );
    PB_INT             length = pbStringLength( text ), shown = length > mostCharactersShown ? mostCharactersShown : length;
    for( PB_INT index = 0; index < shown; index++ )
    {
        PB_CHAR character = pbStringCharAt( text, index );
        if( isHarmful( character ) )
            pbStringAppendFormatCstr( result.handle(), "\\u{%!16i}", -1, (PB_INT)character );
        else
            pbStringAppendChar( result.handle(), character );
    }
    if( shown < length )
        pbStringAppendCstr( result.handle(), "...", -1 );
    return result;
}

// "the certificate CN=example.com (leaf, depth 0)". Without a subject it has only its place; after
// checks of names only its role, since the depth does not apply.
pb::Ref<PB_STRING> certificateText( PB_STRING *subject, PB_STRING *issuer, PB_INT depth )
{
    pb::Ref<PB_STRING> text  = format( "the certificate " );
    bool               named = subject && pbStringLength( subject ) > 0;
    if( named )
        pbStringAppendFormatCstr( text.handle(), "%s ", -1, harmless( subject ).get() );
    const char *role = depth <= 0 ? "leaf" : named && issuer && pbStringEquals( subject, issuer ) ? "root" : "intermediate";
    if( depth < 0 )
        pbStringAppendFormatCstr( text.handle(), "(%lc)", -1, role );
    else
        pbStringAppendFormatCstr( text.handle(), "(%lc, depth %i)", -1, role, depth );
    return text;
}

// "12 days"; the largest unit of which there is one. Null if one of the times is none.
pb::Ref<PB_STRING> distance( PB_TIME *earlier, PB_TIME *later )
{
    struct Unit
    {
        const char *name;
        time_t      seconds;
    };
    static constexpr Unit units[] = { { "day", 86400 }, { "hour", 3600 }, { "minute", 60 }, { "second", 1 } };

    time_t from, to;
    if( !earlier || !later || !pbTimeTryConvertToTimeT( earlier, &from ) || !pbTimeTryConvertToTimeT( later, &to ) || to < from )
        return {};
    for( const Unit &unit : units )
    {
        PB_INT count = ( to - from ) / unit.seconds;
        if( count > 0 || unit.seconds == 1 )
            return format( "%i %lc%lc", count, unit.name, count == 1 ? "" : "s" );
    }
    return {};
}

// "a.example, 192.0.2.1 and 3 more names"; "no name" if there is none.
pb::Ref<PB_STRING> namesText( CRY_X509_SANS *sans )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( sans ? cryX509SansVector( sans ) : pbVectorCreate() );
    pb::Ref<PB_STRING> text   = pb::adopt( pbStringCreate() );
    PB_INT             shown = 0, length = pbVectorLength( vector.get() );
    for( CRY_X509_SAN *san : pb::each<CRY_X509_SAN>( vector.get() ) )
    {
        if( shown == mostNamesShown )
            break;
        pb::Ref<PB_STRING> name = pb::adopt( cryX509SanType( san ) == CRY_X509_SAN_TYPE_DNS_NAME
                ? cryX509SanDnsName( san )
                : inAddressToString( pb::adopt( cryX509SanIpAddress( san ) ).get() ) );
        pbStringAppendFormatCstr( text.handle(), "%lc%s", -1, shown++ ? ", " : "", harmless( name.get() ).get() );
    }
    if( shown < length )
        pbStringAppendFormatCstr( text.handle(), " and %i more name%lc", -1, length - shown, length - shown == 1 ? "" : "s" );
    return shown ? text : format( "no name" );
}

// The end of the sentence if a certificate is not valid at the time; null if the error is another
// one.
pb::Ref<PB_STRING> periodText( Failure *failure, CRY_X509_INFO *info )
{
    bool expired = failure->opensslError == X509_V_ERR_CERT_HAS_EXPIRED;
    if( !expired && failure->opensslError != X509_V_ERR_CERT_NOT_YET_VALID )
        return {};
    pb::Ref<PB_TIME>   border  = pb::adopt( expired ? cryX509InfoValidUntil( info ) : cryX509InfoValidFrom( info ) );
    pb::Ref<PB_STRING> between = expired ? distance( border.get(), failure->time ) : distance( failure->time, border.get() );
    if( !between )
        return {};
    pb::Ref<PB_STRING> when = pb::adopt( pbTimeToString( border.get() ) );
    return expired ? format( "expired at %s, %s before the time of verification", when.get(), between.get() )
                   : format( "is valid only from %s, %s after the time of verification", when.get(), between.get() );
}

// The end of the sentence for an error of OpenSSL.
pb::Ref<PB_STRING> errorText( Failure *failure, CRY_X509_INFO *info, PB_STRING *issuer )
{
    if( pb::Ref<PB_STRING> period = periodText( failure, info ) )
        return period;
    const char *text = X509_verify_cert_error_string( (long)failure->opensslError );
    switch( failure->opensslError )
    {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        if( issuer && pbStringLength( issuer ) > 0 )
            return format( "does not lead to a trusted certificate: none that can be its issuer %s is given or trusted", harmless( issuer ).get() );
        return format( "does not lead to a trusted certificate: none that can be its issuer is given or trusted" );
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return format( "is self-signed and not trusted" );
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        return format( "has a signature that is not its issuer's" );
    default:
        return format( "was refused by OpenSSL: %lc (error %i)", text, failure->opensslError );
    }
}

pb::Ref<PB_STRING> sentence( Failure *failure )
{
    pb::Ref<CRY_X509_INFO> info        = pb::adopt( failure->certificate ? cryX509CertificateInfo( failure->certificate ) : cryX509InfoCreate() );
    pb::Ref<PB_STRING>     subject     = pb::adopt( cryX509InfoSubject( info.get() ) );
    pb::Ref<PB_STRING>     issuer      = pb::adopt( cryX509InfoIssuer( info.get() ) );
    pb::Ref<PB_STRING>     certificate = certificateText( subject.get(), issuer.get(), failure->depth );
    pb::Ref<PB_STRING>     time        = pb::adopt( pbTimeToString( failure->time ) );
    switch( failure->reason )
    {
    case CRY_X509_VALIDATOR_FAILURE_REASON_TIME:
        return format( "the time of verification, %s, is a day that does not exist", time.get() );
    case CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN:
        if( !failure->certificate )
            return format(
                "OpenSSL refused the chain: %lc (error %i)", X509_verify_cert_error_string( (long)failure->opensslError ), failure->opensslError );
        return format( "%s %s", certificate.get(), errorText( failure, info.get(), issuer.get() ).get() );
    case CRY_X509_VALIDATOR_FAILURE_REASON_RESULT:
        return format( "the chain was verified, but OpenSSL cannot give out one of its certificates" );
    default:
        bool trusted = failure->reason == CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS;
        return format( "%s has none of the %lc names: it has %s, and one of these is needed: %s", certificate.get(),
            trusted ? "trusted" : "acceptable", namesText( failure->certificateSans ).get(), namesText( failure->wantedSans ).get() );
    }
}

}

PB_SORT_DEFINE( cry, X509ValidatorFailure, CRY_X509_VALIDATOR_FAILURE, PB_FREE_FIELDS( CRY_X509_VALIDATOR_FAILURE, failure, failureFields ),
    .toString = pb::slot<+[]( CRY_X509_VALIDATOR_FAILURE *failure ) {
        PB_CHECK( failure );
        return sentence( failure ).take();
    }> )

CRY_X509_VALIDATOR_FAILURE *cry::x509::createFailure( const FailureFacts &facts )
{
    Failure *failure         = pb::create<Failure>();
    failure->reason          = facts.reason;
    failure->time            = pb::shareOrNull( facts.time );
    failure->opensslError    = facts.opensslError;
    failure->depth           = facts.depth;
    failure->certificate     = pb::shareOrNull( facts.certificate );
    failure->certificateSans = pb::shareOrNull( facts.certificateSans );
    failure->wantedSans      = pb::shareOrNull( facts.wantedSans );
    return failure;
}

CRY_X509_VALIDATOR_FAILURE_REASON cryX509ValidatorFailureReason( CRY_X509_VALIDATOR_FAILURE *failure )
{
    return PB_CHECK( failure ), failure->reason;
}

PB_TIME *cryX509ValidatorFailureTime( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), pb::shareOrNull( failure->time ); }

PB_BOOL cryX509ValidatorFailureHasOpensslError( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), failure->opensslError != -1; }
PB_INT  cryX509ValidatorFailureOpensslError( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), failure->opensslError; }

PB_STRING *cryX509ValidatorFailureOpensslErrorString( CRY_X509_VALIDATOR_FAILURE *failure )
{
    PB_CHECK( failure );
    if( failure->opensslError == -1 )
        return nullptr;
    return pbStringCreateFromCstr( X509_verify_cert_error_string( (long)failure->opensslError ), -1 );
}

PB_INT cryX509ValidatorFailureDepth( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), failure->depth; }

PB_BOOL cryX509ValidatorFailureHasCertificate( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), failure->certificate != nullptr; }
CRY_X509_CERTIFICATE *cryX509ValidatorFailureCertificate( CRY_X509_VALIDATOR_FAILURE *failure )
{
    return PB_CHECK( failure ), pb::shareOrNull( failure->certificate );
}

PB_BOOL cryX509ValidatorFailureHasCertificateSans( CRY_X509_VALIDATOR_FAILURE *failure )
{
    return PB_CHECK( failure ), failure->certificateSans != nullptr;
}
CRY_X509_SANS *cryX509ValidatorFailureCertificateSans( CRY_X509_VALIDATOR_FAILURE *failure )
{
    return PB_CHECK( failure ), pb::shareOrNull( failure->certificateSans );
}

PB_BOOL cryX509ValidatorFailureHasWantedSans( CRY_X509_VALIDATOR_FAILURE *failure ) { return PB_CHECK( failure ), failure->wantedSans != nullptr; }
CRY_X509_SANS *cryX509ValidatorFailureWantedSans( CRY_X509_VALIDATOR_FAILURE *failure )
{
    return PB_CHECK( failure ), pb::shareOrNull( failure->wantedSans );
}

PB_STORE *cryX509ValidatorFailureStore( CRY_X509_VALIDATOR_FAILURE *failure )
{
    PB_CHECK( failure );
    pb::StoreWriter writer;
    writer.value( "reason", pb::adopt( pbStringCreateFromCstr( reasons[failure->reason].name, -1 ) ) ).value( "time", failure->time, pbTimeToString );
    if( failure->opensslError != -1 )
        writer.integer( "opensslError", failure->opensslError )
            .value( "opensslErrorString", pb::adopt( cryX509ValidatorFailureOpensslErrorString( failure ) ) );
    if( failure->depth != -1 )
        writer.integer( "depth", failure->depth );
    return writer.sub( "certificate", failure->certificate, cryX509CertificateStore )
        .sub( "certificateSans", failure->certificateSans, cryX509SansStore )
        .sub( "wantedSans", failure->wantedSans, cryX509SansStore )
        .take();
}
