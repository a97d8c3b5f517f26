// Chains and validators on the public corpora for path validation. A chain comes out as a plain
// X509_verify_cert in this process has it, and as it is recorded beside the corpus. The verdict of
// a validator is the corpus's own, or the case is an exception with its reason; what its failure
// says is what OpenSSL says.
#include <cry/cry_x509_validator.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <openssl_module/internal/openssl_module.h>

#include "common/cry_ossl.hpp"
#include "openssl_known_signatures.hpp"
#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/path_cases.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"

#include <deque>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>

using namespace support;
using cry::ossl::Ptr;

namespace
{

X509 *x509Of( const pb::Ref<CRY_X509_CERTIFICATE> &cert ) { return cry___X509CertificatePeekOpensslX509( cert.get() ); }

// Result, error, depth, chain and all errors in the queue.
std::string verified( const PathCase &one, X509_STORE *store )
{
    ERR_clear_error();
    Ptr<STACK_OF( X509 )> extra( sk_X509_new_null() );
    for( const pb::Ref<CRY_X509_CERTIFICATE> &each : one.ourExtra )
        sk_X509_push( extra.get(), x509Of( each ) );
    Ptr<X509_STORE_CTX> ctx( X509_STORE_CTX_new() );
    EXPECT_EQ( X509_STORE_CTX_init( ctx.get(), store, x509Of( one.leaf.ours ), extra.get() ), 1 );
    X509_VERIFY_PARAM *param = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( param, 255 );
    X509_VERIFY_PARAM_set_flags( param, X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_CHECK_SS_SIGNATURE );
    X509_VERIFY_PARAM_set_time( param, one.seconds );
    X509_STORE_CTX_set0_param( ctx.get(), param );
    std::string out = std::to_string( X509_verify_cert( ctx.get() ) );
    for( int number : { X509_STORE_CTX_get_error( ctx.get() ), X509_STORE_CTX_get_error_depth( ctx.get() ) } )
        out += " " + std::to_string( number );
    STACK_OF( X509 ) *chain = X509_STORE_CTX_get0_chain( ctx.get() );
    for( int index = 0; index < sk_X509_num( chain ); index++ )
        out += " " + std::to_string( (uintptr_t)sk_X509_value( chain, index ) );
    const char *file, *function, *data;
    int         line, flags;
    while( unsigned long code = ERR_get_error_all( &file, &line, &function, &data, &flags ) )
        out += "\n" + std::to_string( code ) + " " + file + " " + std::to_string( line ) + " " + function + " " + data;
    return out;
}

// The same chains with and without known signatures and kept groups. One case of four is enough:
// many of them are alike.
class WithShortcuts
{
public:
    void add( const PathCase &one )
    {
        if( !one.parses || cases++ % 4 )
            return;
        // OpenSSL says what is wrong with an extension only at the first look at it.
        X509_check_purpose( x509Of( one.leaf.ours ), -1, 0 );
        for( const auto *list : { &one.ourExtra, &one.ourTrusted } )
        {
            for( const pb::Ref<CRY_X509_CERTIFICATE> &each : *list )
                X509_check_purpose( x509Of( each ), -1, 0 );
        }
        Ptr<X509_STORE> store( X509_STORE_new() );
        for( const pb::Ref<CRY_X509_CERTIFICATE> &each : one.ourTrusted )
            X509_STORE_add_cert( store.get(), x509Of( each ) );
        std::string results[3];
        // Every second case begins with shortcuts.
        for( size_t index = 0; index < std::size( results ); index++ )
        {
            Shortcuts used( ( index + compared ) % 2 == 0 );
            results[index] = verified( one, store.get() );
        }
        for( const std::string &each : results )
            EXPECT_EQ( each, results[0] ) << one.id;
        compared++;
        good += results[0].starts_with( "1 " );
    }

    void finish() const
    {
        EXPECT_GT( compared, 1000u );
        EXPECT_GT( good, 100u );
        if( opensslKeyDecodingContextUsed() )
        {
            EXPECT_GT( openssl::countKnownSignatures(), 100u );
        }
    }

private:
    size_t cases = 0, compared = 0, good = 0;
};

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
    Corpora       corpora;
    WithShortcuts shortcuts;
    forEachPathCase( *folder, [&]( const PathCase &one ) {
        shortcuts.add( one );
        corpora.add( one );
    } );
    shortcuts.finish();
    corpora.finish();
}
