// Chains and validators on the public corpora for path validation. A chain comes out as a plain
// X509_verify_cert in this process has it, and as it is recorded beside the corpus. The verdict of
// a validator is the corpus's own, or the case is an exception with its reason; what its failure
// says is what OpenSSL says.
#include <cry/cry_x509_validator.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/path_cases.hpp"
#include "support/text.hpp"

#include <deque>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>

using namespace support;

namespace
{

// Validators work while the next cases are read.
class Corpora
{
public:
    void add( const PathCase &one )
    {
        EXPECT_EQ( one.parses, one.recorded.at( "chain" ) != "PARSE-FAIL" );
        if( !one.parses )
        {
            // The corpora hold such cases only to be refused.
            exceptions.check( one.id, one.wanted ? "good" : "bad", "bad" );
            return;
        }
        if( one.trusted != trusted )
        {
            trusted      = one.trusted;
            auto options = pb::adopt( cryX509StackOptionsCreate() );
            cryX509StackOptionsSetTrustedCertificates( options.handle(), certificates( one.ourTrusted ).get() );
            auto stack = pb::adopt( cryX509StackCreate( options.get(), nullptr ) );
            session    = pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
        }
        auto policy = pb::adopt( cryX509PolicyCreate() );
        cryX509PolicySetTime( policy.handle(), one.time.get() );
        Running each;
        if( one.peerName )
        {
            each.names = pb::adopt( cryX509SansCreate() );
            // A text that is no domain name matches nothing.
            if( auto san = pb::adopt( cryX509SanTryCreateFromHost( str( *one.peerName ).get() ) ) )
                cryX509SansSet( each.names.handle(), san.get() );
            cryX509PolicySetAcceptableSans( policy.handle(), each.names.get() );
        }
        each.one       = one;
        each.end       = pb::adopt( pbSignalCreate() );
        each.validator = pb::adopt(
            cryX509ValidatorCreate( session.get(), policy.get(), one.leaf.ours.get(), certificates( one.ourExtra ).get(), nullptr ) );
        cryX509ValidatorEndAddSignalable( each.validator.get(), pb::adopt( pbSignalableCreateSignal( each.end.get() ) ).get() );
        running.push_back( std::move( each ) );
        if( running.size() == 64 )
            takeOne();
    }

    void finish()
    {
        while( !running.empty() )
            takeOne();
        exceptions.checkMet( "" );
    }

private:
    struct Running
    {
        PathCase                    one;
        pb::Ref<CRY_X509_SANS>      names;
        pb::Ref<CRY_X509_VALIDATOR> validator;
        pb::Ref<PB_SIGNAL>          end;
    };

    void takeOne()
    {
        Running each = std::move( running.front() );
        running.pop_front();
        SCOPED_TRACE( each.one.id );
        ASSERT_TRUE( pbSignalWait( each.end.get(), 60000 ) );
        OpensslVerdict openssl = verifiedByOpenssl( each.one );
        checkChain( each.one, openssl );
        checkValidator( each, openssl );
        exceptions.check( each.one.id, each.one.wanted ? "good" : "bad", cryX509ValidatorError( each.validator.get() ) ? "bad" : "good" );
    }

    void checkChain( const PathCase &one, const OpensslVerdict &openssl )
    {
        pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt( cry___X509CertificateChainTryVerifyCertificate(
            one.leaf.ours.get(), certificates( one.ourExtra ).get(), certificates( one.ourTrusted ).get(), one.time.get() ) );
        ERR_clear_error();
        EXPECT_TRUE( ( chain ? ders( chain.get() ) : std::vector<std::string>() ) == openssl.chain ) << "the chains differ";
        std::string recorded = one.recorded.at( "chain" );
        if( needsTrustedFirst( one ) )
        {
            EXPECT_EQ( recorded, "ACCEPT" );
            EXPECT_FALSE( verifiedByOpenssl( one, X509_V_FLAG_TRUSTED_FIRST ).chain.empty() );
            recorded = "REJECT";
        }
        EXPECT_EQ( chain ? "ACCEPT" : "REJECT", recorded );
    }

    void checkValidator( const Running &each, const OpensslVerdict &openssl )
    {
        auto chain   = pb::adopt( cryX509ValidatorCertificateChain( each.validator.get() ) );
        auto failure = pb::adopt( cryX509ValidatorFailure( each.validator.get() ) );
        EXPECT_EQ( (bool)chain, !cryX509ValidatorError( each.validator.get() ) );
        EXPECT_EQ( (bool)failure, !chain );
        if( chain )
        {
            EXPECT_TRUE( ders( chain.get() ) == openssl.chain ) << "the chains differ";
        }
        if( !failure )
            return;
        EXPECT_FALSE( pbStringLength( pb::adopt( cryX509ValidatorFailureToString( failure.get() ) ).get() ) == 0 );
        if( cryX509ValidatorFailureReason( failure.get() ) == CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN )
        {
            EXPECT_TRUE( openssl.chain.empty() );
            EXPECT_EQ( cryX509ValidatorFailureOpensslError( failure.get() ), openssl.error );
            EXPECT_EQ( cryX509ValidatorFailureDepth( failure.get() ), openssl.depth );
            return;
        }
        EXPECT_EQ( cryX509ValidatorFailureReason( failure.get() ), CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS );
        EXPECT_FALSE( openssl.chain.empty() );
        auto wanted = pb::adopt( cryX509ValidatorFailureWantedSans( failure.get() ) );
        EXPECT_EQ( wanted.get(), each.names.get() );
    }

    Exceptions                exceptions = Exceptions( "path_exceptions.json" );
    std::vector<Cert>         trusted;
    pb::Ref<CRY_X509_SESSION> session;
    std::deque<Running>       running;
};

}

TEST( PathVectors, ChainsAndVerdictsAreThoseOfOpensslAndOfTheCorpora )
{
    NEED_VECTORS( folder );
    Corpora corpora;
    forEachPathCase( *folder, [&corpora]( const PathCase &one ) { corpora.add( one ); } );
    corpora.finish();
}
