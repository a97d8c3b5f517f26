#include "commands/batch_judge.hpp"

#include "commands/verify_session.hpp"
#include "input/batch_line.hpp"
#include "input/certificate_text.hpp"
#include "options/hosts.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <nlohmann/json.hpp>
#include <pb/each.hpp>

namespace
{

// A certificate takes some 8 KiB when it is parsed, so these are about 16 MiB, and as much for the
// certificates of trust sets.
constexpr size_t mostCertificates = 1024, mostCertificateBytes = 2 << 20;
constexpr size_t mostSessions = 256, mostSessionBytes = 1 << 20;

constexpr CRY_X509_POLICY_FLAGS noNames = CRY_X509_POLICY_FLAG_DISABLE_VALIDATION | CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS;

std::string inJson( const std::string &text ) { return nlohmann::json( text ).dump( -1, ' ', true, nlohmann::json::error_handler_t::replace ); }

CRY_X509_POLICY_FLAGS flagsOf( const std::vector<std::string> &texts )
{
    CRY_X509_POLICY_FLAGS flags = 0;
    for( const std::string &text : texts )
    {
        std::optional<CRY_X509_POLICY_FLAGS> flag = tool::findPolicyFlag( text );
        if( !flag )
            throw tool::InputError( "policyFlags: " + tool::shown( text ) + " is unknown" );
        flags |= *flag;
    }
    return flags;
}

pb::Ref<CRY_X509_SANS> sansOf( const std::vector<std::string> &names )
{
    if( names.empty() )
        throw tool::InputError( "names: the list is empty" );
    return tool::sansValue( names, "names" );
}

// The list of fingerprints.
std::string chainText( CRY_X509_CERTIFICATES *chain )
{
    std::string        text   = "[";
    pb::Ref<PB_VECTOR> vector = pb::adopt( cryX509CertificatesCertificatesVector( chain ) );
    for( CRY_X509_CERTIFICATE *each : pb::each<CRY_X509_CERTIFICATE>( vector ) )
    {
        // Null only if libcrypto does not have SHA-256.
        if( pb::Ref<PB_BUFFER> digest = pb::adopt( cryX509CertificateTryFingerprint( each, CRY_HASH_ALGORITHM_SHA2_256 ) ) )
            text += ( text.size() > 1 ? ",\"" : "\"" ) + tool::withColons( digest.get() ) + "\"";
    }
    return text + "]";
}

struct Answer
{
    std::string error = "null";
    const char *name  = "unchecked";
    std::string chain = "[]";
};

void explain( CRY_X509_VALIDATOR_FAILURE *failure, Answer &answer )
{
    bool        openssl = cryX509ValidatorFailureHasOpensslError( failure );
    PB_INT      depth   = cryX509ValidatorFailureDepth( failure );
    std::string text    = tool::take( openssl ? cryX509ValidatorFailureOpensslErrorString( failure ) : cryX509ValidatorFailureToString( failure ) );
    answer.error        = "{\"code\":" + ( openssl ? std::to_string( cryX509ValidatorFailureOpensslError( failure ) ) : "null" ) +
        ",\"depth\":" + ( depth >= 0 ? std::to_string( depth ) : "null" ) + ",\"text\":" + inJson( text ) + "}";
    if( cryX509ValidatorFailureReason( failure ) != CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS )
        return;
    pb::Ref<CRY_X509_SANS> names = pb::adopt( cryX509ValidatorFailureCertificateSans( failure ) );
    answer.name                  = names && cryX509SansLength( names.get() ) ? "mismatch" : "none";
}

}

tool::BatchJudge::BatchJudge( CRY_X509_SESSION *session, CRY_X509_POLICY *policy ) :
    defaultSession( pb::share( session ) ), defaultPolicy( pb::share( policy ) ),
    sessionFlags( cryX509StackOptionsPolicyFlags( pb::adopt( cryX509SessionOptions( session ) ).get() ) ),
    certificates( mostCertificates, mostCertificateBytes ), sessions( mostSessions, mostSessionBytes )
{
}

pb::Ref<CRY_X509_CERTIFICATES> tool::BatchJudge::certificatesOf( std::string &&text, const char *member )
{
    decltype( certificates )::Key key( std::move( text ) );
    if( std::optional<pb::Ref<CRY_X509_CERTIFICATES>> known = certificates.find( key ) )
        return *known;
    pb::Ref<CRY_X509_CERTIFICATES> parsed = certificatesInText( key.text, member );
    certificates.add( std::move( key ), parsed );
    return parsed;
}

pb::Ref<CRY_X509_CERTIFICATES> tool::BatchJudge::certificatesOf( Texts &&texts, const char *member )
{
    if( texts.size() == 1 )
        return certificatesOf( std::move( texts[0] ), member );
    pb::Ref<CRY_X509_CERTIFICATES> all = pb::adopt( cryX509CertificatesCreate() );
    for( std::string &text : texts )
        cryX509CertificatesAppend( all.handle(), certificatesOf( std::move( text ), member ).get() );
    return all;
}

pb::Ref<CRY_X509_SESSION> tool::BatchJudge::sessionOf( Texts &&trusted )
{
    std::string all;
    for( const std::string &text : trusted )
        all += std::to_string( text.size() ) + ":" + text;
    decltype( sessions )::Key key( std::move( all ) );
    if( std::optional<pb::Ref<CRY_X509_SESSION>> known = sessions.find( key ) )
        return *known;
    pb::Ref<CRY_X509_CERTIFICATES>  certs   = certificatesOf( std::move( trusted ), "trustedCertificates" );
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509SessionOptions( defaultSession.get() ) );
    cryX509StackOptionsSetTrustMode( options.handle(), CRY_X509_STACK_TRUST_MODE_FIXED );
    cryX509StackOptionsSetTrustedCertificates( options.handle(), certs.get() );
    pb::Ref<CRY_X509_SESSION> session = createSession( options.get() );
    sessions.add( std::move( key ), session );
    return session;
}

tool::BatchCase tool::BatchJudge::begin( std::string_view text, PB_INT line )
{
    BatchCase batchCase;
    batchCase.line = line;
    BatchLine read = readBatchLine( text );
    batchCase.id   = std::move( read.id );
    if( !read.problem.empty() )
    {
        batchCase.problem = std::move( read.problem );
        return batchCase;
    }
    try
    {
        begin( read, batchCase );
    }
    catch( const InputError &problem )
    {
        batchCase.problem = problem.what();
    }
    return batchCase;
}

void tool::BatchJudge::begin( BatchLine &read, BatchCase &batchCase )
{
    pb::Ref<CRY_X509_CERTIFICATES> leaf = certificatesOf( std::move( read.certificate ), "certificate" );
    if( cryX509CertificatesCertificatesLength( leaf.get() ) != 1 )
        throw InputError( "certificate: the text has several certificates; all but the first belong to extraCertificates" );
    pb::Ref<CRY_X509_CERTIFICATES> extra   = certificatesOf( std::move( read.extraCertificates ), "extraCertificates" );
    pb::Ref<CRY_X509_SESSION>      session = read.trustedCertificates ? sessionOf( std::move( *read.trustedCertificates ) ) : defaultSession;
    pb::Ref<CRY_X509_POLICY>       policy  = defaultPolicy;
    if( read.time )
        cryX509PolicySetTime( policy.handle(), timeValue( read.time, "time" ).get() );
    if( read.names )
        cryX509PolicySetAcceptableSans( policy.handle(), sansOf( *read.names ).get() );
    CRY_X509_POLICY_FLAGS flags = flagsOf( read.policyFlags );
    if( flags )
        cryX509PolicySetFlags( policy.handle(), cryX509PolicyFlags( policy.get() ) | flags );
    flags                   = cryX509PolicyFlags( policy.get() ) | sessionFlags;
    batchCase.comparesNames = read.names && !( flags & noNames );
    batchCase.validator     = pb::adopt( cryX509ValidatorCreate(
        session.get(), policy.get(), pb::adopt( cryX509CertificatesCertificateAt( leaf.get(), 0 ) ).get(), extra.get(), nullptr ) );
}

tool::BatchVerdict tool::BatchJudge::answer( const BatchCase &batchCase, std::string &answers )
{
    Answer answer;
    bool   valid = false;
    if( !batchCase.validator )
        answer.error = "{\"code\":null,\"depth\":null,\"text\":" + inJson( printable( batchCase.problem ) ) +
            ",\"line\":" + std::to_string( batchCase.line ) + "}";
    else if( cryX509ValidatorError( batchCase.validator.get() ) )
        explain( pb::adopt( cryX509ValidatorFailure( batchCase.validator.get() ) ).get(), answer );
    else
    {
        valid        = true;
        answer.name  = batchCase.comparesNames ? "match" : "unchecked";
        answer.chain = chainText( pb::adopt( cryX509ValidatorCertificateChain( batchCase.validator.get() ) ).get() );
    }
    answers += "{\"id\":";
    answers += batchCase.id;
    answers += valid ? ",\"valid\":true,\"error\":" : ",\"valid\":false,\"error\":";
    answers += answer.error;
    answers += ",\"name\":\"";
    answers += answer.name;
    answers += "\",\"chain\":";
    answers += answer.chain;
    answers += "}\n";
    return !batchCase.validator ? BatchVerdict::badLine : valid ? BatchVerdict::valid : BatchVerdict::notValid;
}
