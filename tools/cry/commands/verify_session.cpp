#include "commands/verify_session.hpp"

#include "input/certificate_file.hpp"
#include "options/command.hpp"
#include "options/hosts.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <in/in_dns_idna.h>
#include <openssl/x509_vfy.h>
#include <pb/each.hpp>

namespace
{

const char *reasonName( CRY_X509_VALIDATOR_FAILURE_REASON reason )
{
    switch( reason )
    {
    case CRY_X509_VALIDATOR_FAILURE_REASON_TIME:
        return "time";
    case CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN:
        return "chain";
    case CRY_X509_VALIDATOR_FAILURE_REASON_RESULT:
        return "result";
    case CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS:
        return "trusted-names";
    default:
        return "acceptable-names";
    }
}

// The names of a set, domain names as certificates have them; nothing for null.
std::optional<std::vector<tool::Name>> namesOfSet( CRY_X509_SANS *sans )
{
    if( !sans )
        return {};
    std::vector<tool::Name> names;
    pb::Ref<PB_VECTOR>      vector = pb::adopt( cryX509SansVector( sans ) );
    for( CRY_X509_SAN *san : pb::each<CRY_X509_SAN>( vector ) )
    {
        if( cryX509SanType( san ) == CRY_X509_SAN_TYPE_IP_ADDRESS )
        {
            pb::Ref<IN_ADDRESS> address = pb::adopt( cryX509SanIpAddress( san ) );
            names.push_back( { "ip", tool::take( inAddressToString( address.get() ) ) } );
            continue;
        }
        pb::Ref<PB_STRING> name  = pb::adopt( cryX509SanDnsName( san ) );
        PB_STRING         *ascii = inDnsIdnaDomainNameToAscii( name.get() );
        names.push_back( { "dns", tool::escapedName( tool::take( ascii ? ascii : name.take() ) ) } );
    }
    return names;
}

// A hint about what to try, if OpenSSL's text has none; null for nothing.
const char *hintFor( PB_INT code )
{
    switch( code )
    {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        return "Its issuer is neither among the given certificates nor trusted (see --intermediates and --trust).";
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return "It is not among the trusted certificates (see --trust).";
    default:
        return nullptr;
    }
}

}

void tool::TrustOptions::addTo( CLI::App &command )
{
    addRepeated( command, "--trust", trust, "FILE", "certificates to trust besides the platform's roots" );
    command.add_flag( "--no-system", noSystem, "do not trust the platform's roots" );
    addOption( command, "--time", time, "TIME", "the time to verify at, in UTC, as 2026-01-31T12:00:00Z; now if left out" );
    addRepeated(
        command, "--trusted-san", trustedSans, "NAME", "a domain name or IP address: with this option the leaf must have one of these names, too" );
    addRepeated( command, "--policy", policy, "FLAG", "change a check; one of " + policyFlagList() );
    addKnown( command, "--policy", policyFlagNames() );
    addOption( command, "--lenient-address", lenientAddress, "IP",
        "with --policy lenient-ip-address-subject-checks: if no name matches, the leaf passes if this address is the only --host" );
}

CRY_X509_POLICY_FLAGS tool::policyFlagsOf( const TrustOptions &options ) { return policyFlagsOf( options.policy, "--policy" ); }

pb::Ref<CRY_X509_STACK_OPTIONS> tool::createStackOptions( const TrustOptions &options, bool mayTrustNothing )
{
    if( !mayTrustNothing && options.noSystem && options.trust.empty() )
        throw InputError( "nothing is trusted: give --trust FILE, or leave out --no-system" );
    pb::Ref<CRY_X509_STACK_OPTIONS> stackOptions = pb::adopt( cryX509StackOptionsCreate() );
    cryX509StackOptionsSetPolicyFlags( stackOptions.handle(), policyFlagsOf( options ) );
    cryX509StackOptionsSetTrustedSans( stackOptions.handle(), sansValue( options.trustedSans, "--trusted-san" ).get() );

    pb::Ref<CRY_X509_CERTIFICATES> trusted = pb::adopt( cryX509CertificatesCreate() );
    appendFiles( trusted, options.trust );
    cryX509StackOptionsSetTrustedCertificates( stackOptions.handle(), trusted.get() );
    if( !options.noSystem )
        cryX509StackOptionsSetTrustMode( stackOptions.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
    return stackOptions;
}

pb::Ref<CRY_X509_SESSION> tool::createSession( CRY_X509_STACK_OPTIONS *options )
{
    pb::Ref<CRY_X509_STACK> stack = pb::adopt( cryX509StackCreate( options, nullptr ) );
    return pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
}

pb::Ref<CRY_X509_POLICY> tool::createPolicy( const TrustOptions &options )
{
    pb::Ref<CRY_X509_POLICY> policy = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetTime( policy.handle(), timeValue( options.time ).get() );
    if( !options.lenientAddress )
        return policy;
    pb::Ref<PB_STRING>  text    = utf8Value( *options.lenientAddress, "--lenient-address" );
    pb::Ref<IN_ADDRESS> address = pb::adopt( inAddressTryCreateFromHost( text.get() ) );
    if( !address )
        throw InputError( "--lenient-address: " + shown( *options.lenientAddress ) + " is not an IP address as 192.0.2.1 or 2001:db8::1" );
    cryX509PolicySetLenientSubjectChecksIpAddress( policy.handle(), address.get() );
    return policy;
}

tool::Validation::Validation( CRY_X509_SESSION *session, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extra ) :
    end( pb::adopt( pbSignalCreate() ) ), validator( pb::adopt( cryX509ValidatorCreate( session, policy, certificate, extra, nullptr ) ) )
{
    cryX509ValidatorEndAddSignalable( validator.get(), pb::adopt( pbSignalableCreateSignal( end.get() ) ).get() );
}

bool tool::Validation::wait() const
{
    pbSignalWait( end.get(), -1 );
    return cryX509ValidatorEnd( validator.get() ) && !cryX509ValidatorError( validator.get() );
}

tool::Failure::Failure( CRY_X509_VALIDATOR_FAILURE *failure ) :
    reason( reasonName( cryX509ValidatorFailureReason( failure ) ) ), sentence( printable( take( cryX509ValidatorFailureToString( failure ) ) ) ),
    certificate( pb::adopt( cryX509ValidatorFailureCertificate( failure ) ) ),
    wanted( namesOfSet( pb::adopt( cryX509ValidatorFailureWantedSans( failure ) ).get() ) ),
    names( namesOfSet( pb::adopt( cryX509ValidatorFailureCertificateSans( failure ) ).get() ) )
{
    if( PB_INT place = cryX509ValidatorFailureDepth( failure ); place >= 0 )
        depth = place;
    if( !cryX509ValidatorFailureHasOpensslError( failure ) )
        return;
    code     = cryX509ValidatorFailureOpensslError( failure );
    codeText = take( cryX509ValidatorFailureOpensslErrorString( failure ) );
}

nlohmann::ordered_json tool::Failure::json() const
{
    nlohmann::ordered_json json{ { "reason", reason }, { "sentence", sentence } };
    if( code )
    {
        json["code"] = *code;
        json["text"] = codeText;
    }
    if( depth )
        json["depth"] = *depth;
    if( certificate )
        json["certificate"] = Facts( certificate.get() ).json();
    if( wanted )
        json["wanted"] = namesJson( *wanted );
    if( names )
        json["names"] = namesJson( *names );
    return json;
}

std::string tool::Failure::text() const
{
    std::string text;
    if( code )
        text += "error " + std::to_string( *code ) + ( depth ? " at depth " + std::to_string( *depth ) : "" ) + ": " + codeText + "\n";
    if( certificate )
    {
        Facts facts( certificate.get() );
        text += "it speaks of " + nameOrNone( facts.subject ) + "\n" + facts.details( "   " );
    }
    for( const Name &each : wanted ? *wanted : std::vector<Name>() )
        text += "wanted " + each.type + " " + each.value + "\n";
    for( const Name &each : names ? *names : std::vector<Name>() )
        text += "name " + each.type + " " + each.value + "\n";
    text += ( text.empty() ? "" : "\n" ) + sentence + "\n";
    if( const char *hint = code ? hintFor( *code ) : nullptr )
        text += std::string( hint ) + "\n";
    return text;
}
