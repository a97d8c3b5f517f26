// Chain verification on the public corpora, compared with the recorded verdict of OpenSSL and with
// the verdict and the chain of a plain X509_verify_cert in this process.
#include <cry/cry_x509_certificates.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "support/certificates.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <sstream>
#include <unordered_map>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// A column of a table whose separator is the tab, by the id of the case.
std::map<std::string, std::string> column( const fs::path &path, const std::string &name )
{
    std::istringstream                 lines( support::read( path ) );
    std::map<std::string, std::string> values;
    size_t                             wanted = 0;
    bool                               head   = true;
    for( std::string line; std::getline( lines, line ); head = false )
    {
        std::istringstream       cells( line );
        std::vector<std::string> row;
        for( std::string cell; std::getline( cells, cell, '\t' ); )
            row.push_back( cell );
        if( head )
        {
            wanted = (size_t)( std::find( row.begin(), row.end(), name ) - row.begin() );
            EXPECT_LT( wanted, row.size() ) << path;
            EXPECT_EQ( row[0], "id" ) << path;
        }
        else
        {
            EXPECT_TRUE( values.emplace( row[0], row.at( wanted ) ).second ) << row[0];
        }
    }
    return values;
}

// A certificate of the corpora, parsed once in both ways. Both are null if it does not parse.
struct Parsed
{
    Cert                          openssl;
    pb::Ref<CRY_X509_CERTIFICATE> ours;
};

std::unordered_map<std::string, Parsed> known;

class ChainVectors : public testing::Test
{
public:
    static void TearDownTestSuite() { known.clear(); }
};

const Parsed &parsed( const std::string &text )
{
    auto [at, fresh] = known.try_emplace( text );
    if( fresh )
    {
        BIO *bio           = BIO_new_mem_buf( text.data(), (int)text.size() );
        at->second.openssl = Cert( PEM_read_bio_X509( bio, nullptr, nullptr, nullptr ), X509_free );
        BIO_free( bio );
        pb::Ref<CRY_PEM> block = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
        at->second.ours        = pb::adopt( block ? cryX509CertificateTryCreateFromPem( block.get() ) : nullptr );
        EXPECT_EQ( (bool)at->second.ours, (bool)at->second.openssl ) << text;
        ERR_clear_error();
    }
    return at->second;
}

// For example "2024-01-01T00:00:00.005+00:00"; the corpora have no other time zone.
pb::Ref<PB_TIME> timeOf( const nlohmann::json &value )
{
    std::string text = value.is_null() ? "2024-01-01T00:00:00+00:00" : value.get<std::string>();
    EXPECT_TRUE( text.ends_with( "+00:00" ) ) << text;
    return support::time( text.substr( 0, text.size() - 6 ) + "Z" );
}

// The table was made with OpenSSL's default parameters: OpenSSL then looks for trusted certificates
// first. Our parameters replace them, so OpenSSL follows the untrusted certificates first, as far
// as possible. In these cases the result differs: OpenSSL uses an expired intermediate and does not
// find the trusted root.
const char *const trustedFirstOnly[] = { "pathological::multiple-chains-expired-intermediate" };

bool needsTrustedFirst( const std::string &id )
{
    return std::find( std::begin( trustedFirstOnly ), std::end( trustedFirstOnly ), id ) != std::end( trustedFirstOnly );
}

// The chain that OpenSSL builds in its default context; empty if it refuses.
std::vector<std::string> verifiedByOpenssl(
    const Cert &leaf, const std::vector<Cert> &extra, const std::vector<Cert> &trusted, time_t seconds, unsigned long flags = 0 )
{
    X509_STORE *store = X509_STORE_new();
    for( const Cert &each : trusted )
        EXPECT_EQ( X509_STORE_add_cert( store, each.get() ), 1 );
    STACK_OF( X509 ) *stack = sk_X509_new_null();
    for( const Cert &each : extra )
        sk_X509_push( stack, each.get() );
    X509_STORE_CTX *ctx = X509_STORE_CTX_new();
    EXPECT_EQ( X509_STORE_CTX_init( ctx, store, leaf.get(), stack ), 1 );
    X509_VERIFY_PARAM *param = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( param, 255 );
    X509_VERIFY_PARAM_set_flags( param, X509_V_FLAG_PARTIAL_CHAIN | flags );
    X509_VERIFY_PARAM_set_time( param, seconds );
    X509_STORE_CTX_set0_param( ctx, param );
    std::vector<std::string> chain;
    if( X509_verify_cert( ctx ) == 1 )
    {
        STACK_OF( X509 ) *built = X509_STORE_CTX_get0_chain( ctx );
        for( int index = 0; index < sk_X509_num( built ); index++ )
            chain.push_back( der( sk_X509_value( built, index ) ) );
    }
    X509_STORE_CTX_free( ctx );
    sk_X509_free( stack );
    X509_STORE_free( store );
    ERR_clear_error();
    return chain;
}

void run( const fs::path &corpus, std::map<std::string, std::string> &baseline, size_t wantedCases )
{
    nlohmann::json cases = support::parseJson( support::read( corpus ) )["testcases"];
    ASSERT_EQ( cases.size(), wantedCases );
    for( const auto &each : cases )
    {
        std::string id = each["id"];
        SCOPED_TRACE( id );
        auto row = baseline.find( id );
        ASSERT_NE( row, baseline.end() );
        std::string verdict = row->second;
        baseline.erase( row );

        const Parsed                              &leaf = parsed( each["peer_certificate"] );
        std::vector<Cert>                          extra;
        std::vector<Cert>                          trusted;
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> ourExtra;
        std::vector<pb::Ref<CRY_X509_CERTIFICATE>> ourTrusted;
        bool                                       allParsed = (bool)leaf.ours;
        auto                                       collect   = [&]( const nlohmann::json &texts, std::vector<Cert> &openssl, auto &ours ) {
            for( const auto &text : texts )
            {
                const Parsed &one = parsed( text );
                allParsed         = allParsed && one.ours;
                openssl.push_back( one.openssl );
                ours.push_back( one.ours );
            }
        };
        collect( each["untrusted_intermediates"], extra, ourExtra );
        collect( each["trusted_certs"], trusted, ourTrusted );
        ASSERT_EQ( allParsed, verdict != "PARSE-FAIL" );
        if( !allParsed )
            continue;

        pb::Ref<PB_TIME>               tm    = timeOf( each["validation_time"] );
        pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt( cry___X509CertificateChainTryVerifyCertificate(
            leaf.ours.get(), certificates( ourExtra ).get(), certificates( ourTrusted ).get(), tm.get() ) );
        ERR_clear_error();
        time_t seconds;
        ASSERT_TRUE( pbTimeTryConvertToTimeT( tm.get(), &seconds ) );
        if( needsTrustedFirst( id ) )
        {
            EXPECT_EQ( verdict, "ACCEPT" );
            EXPECT_FALSE( verifiedByOpenssl( leaf.openssl, extra, trusted, seconds, X509_V_FLAG_TRUSTED_FIRST ).empty() );
            verdict = "REJECT";
        }
        EXPECT_EQ( chain ? "ACCEPT" : "REJECT", verdict );
        std::vector<std::string> wanted = verifiedByOpenssl( leaf.openssl, extra, trusted, seconds );
        EXPECT_EQ( !wanted.empty(), verdict == "ACCEPT" ) << "OpenSSL itself";
        EXPECT_TRUE( ( chain ? ders( chain.get() ) : std::vector<std::string>() ) == wanted ) << "the chains differ";
    }
}

}

TEST_F( ChainVectors, LimboAndBettertlsComeOutAsOpensslHasThem )
{
    NEED_VECTORS( folder );
    std::map<std::string, std::string> baseline = column( *folder / "limbo" / "module_baseline.tsv", "chain" );
    EXPECT_EQ( baseline.size(), 6522u );
    run( *folder / "limbo" / "limbo.json.xz", baseline, 140 );
    run( *folder / "limbo" / "bettertls-pathbuilding.json.xz", baseline, 54 );
    run( *folder / "limbo" / "bettertls-nameconstraints.json.xz", baseline, 6328 );
    EXPECT_TRUE( baseline.empty() ) << baseline.begin()->first << " has no case";
}

TEST_F( ChainVectors, PathCorporaComeOutAsOpensslHasThem )
{
    NEED_VECTORS( folder );
    for( auto [name, cases] : { std::pair( "boringssl-chains", 115 ), std::pair( "bsi", 35 ), std::pair( "nist76", 47 ),
             std::pair( "openssl-verify", 58 ), std::pair( "pkits", 167 ), std::pair( "x509test", 25 ) } )
    {
        std::map<std::string, std::string> baseline = column( *folder / "paths" / ( std::string( name ) + ".baseline.tsv" ), "chain" );
        EXPECT_EQ( baseline.size(), (size_t)cases );
        run( *folder / "paths" / ( std::string( name ) + ".json.xz" ), baseline, (size_t)cases );
        EXPECT_TRUE( baseline.empty() ) << name;
    }
}
