#include "support/path_cases.hpp"

#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <sstream>
#include <unordered_map>

namespace fs = std::filesystem;

namespace
{

using Row   = std::map<std::string, std::string>;
using Table = std::map<std::string, Row>;

std::vector<std::string> cellsOf( const std::string &line )
{
    std::istringstream       cells( line );
    std::vector<std::string> row;
    for( std::string cell; std::getline( cells, cell, '\t' ); )
        row.push_back( cell );
    return row;
}

// A table whose separator is the tab: its rows by the id of the case.
Table readTable( const fs::path &path )
{
    std::istringstream       lines( support::read( path ) );
    std::string              line;
    std::vector<std::string> head;
    Table                    table;
    if( std::getline( lines, line ) )
        head = cellsOf( line );
    EXPECT_FALSE( head.empty() || head[0] != "id" ) << path;
    while( std::getline( lines, line ) )
    {
        std::vector<std::string> cells = cellsOf( line );
        EXPECT_EQ( cells.size(), head.size() ) << path << " " << line;
        Row row;
        for( size_t index = 0; index < std::min( cells.size(), head.size() ); index++ )
            row[head[index]] = cells[index];
        EXPECT_TRUE( table.emplace( row["id"], row ).second ) << row["id"];
    }
    return table;
}

class Certificates
{
public:
    const support::Parsed &operator[]( const std::string &text )
    {
        auto [at, fresh] = known.try_emplace( text );
        if( fresh )
        {
            BIO *bio           = BIO_new_mem_buf( text.data(), (int)text.size() );
            at->second.openssl = support::Cert( PEM_read_bio_X509( bio, nullptr, nullptr, nullptr ), X509_free );
            BIO_free( bio );
            pb::Ref<CRY_PEM> block = pb::adopt( cryPemTryDecode( support::buf( text ).get() ) );
            at->second.ours        = pb::adopt( block ? cryX509CertificateTryCreateFromPem( block.get() ) : nullptr );
            EXPECT_EQ( (bool)at->second.ours, (bool)at->second.openssl ) << text;
            ERR_clear_error();
        }
        return at->second;
    }

private:
    std::unordered_map<std::string, support::Parsed> known;
};

// For example "2024-01-01T00:00:00.005+00:00"; the corpora have no other time zone.
pb::Ref<PB_TIME> timeOf( const nlohmann::json &value )
{
    std::string text = value.is_null() ? "2024-01-01T00:00:00+00:00" : value.get<std::string>();
    EXPECT_TRUE( text.ends_with( "+00:00" ) ) << text;
    return support::time( text.substr( 0, text.size() - 6 ) + "Z" );
}

support::PathCase readCase( const nlohmann::json &json, Certificates &certificates )
{
    support::PathCase one;
    one.id       = json["id"];
    one.leaf     = certificates[json["peer_certificate"]];
    one.parses   = (bool)one.leaf.ours;
    auto collect = [&]( const nlohmann::json &texts, std::vector<support::Cert> &openssl, auto &ours ) {
        for( const auto &text : texts )
        {
            const support::Parsed &parsed = certificates[text];
            one.parses                    = one.parses && parsed.ours;
            openssl.push_back( parsed.openssl );
            ours.push_back( parsed.ours );
        }
    };
    collect( json["untrusted_intermediates"], one.extra, one.ourExtra );
    collect( json["trusted_certs"], one.trusted, one.ourTrusted );
    one.time = timeOf( json["validation_time"] );
    EXPECT_TRUE( pbTimeTryConvertToTimeT( one.time.get(), &one.seconds ) );
    one.wanted       = json["expected_result"] == "SUCCESS";
    const auto &name = json["expected_peer_name"];
    if( !name.is_null() )
        one.peerName = name["value"].get<std::string>();
    return one;
}

void runCorpus( const fs::path &corpus, Table &table, size_t cases, const std::function<void( const support::PathCase & )> &use )
{
    nlohmann::json all = support::parseJson( support::read( corpus ) )["testcases"];
    EXPECT_EQ( all.size(), cases ) << corpus;
    Certificates certificates;
    for( const auto &json : all )
    {
        support::PathCase one = readCase( json, certificates );
        SCOPED_TRACE( one.id );
        auto row = table.find( one.id );
        if( row == table.end() )
        {
            ADD_FAILURE() << "there is no row";
            continue;
        }
        one.recorded = row->second;
        table.erase( row );
        use( one );
    }
}

const char *const trustedFirstOnly[] = { "pathological::multiple-chains-expired-intermediate" };

}

void support::forEachPathCase( const fs::path &folder, const std::function<void( const PathCase & )> &use )
{
    struct Corpus
    {
        const char *name;
        size_t      cases;
    };
    Table table = readTable( folder / "limbo" / "module_baseline.tsv" );
    for( auto [name, cases] : { Corpus{ "limbo", 140 }, Corpus{ "bettertls-pathbuilding", 54 }, Corpus{ "bettertls-nameconstraints", 6328 } } )
        runCorpus( folder / "limbo" / ( std::string( name ) + ".json.xz" ), table, cases, use );
    EXPECT_TRUE( table.empty() ) << table.begin()->first << " has no case";
    for( auto [name, cases] : { Corpus{ "boringssl-chains", 115 }, Corpus{ "bsi", 35 }, Corpus{ "nist76", 47 }, Corpus{ "openssl-verify", 58 },
             Corpus{ "pkits", 167 }, Corpus{ "x509test", 25 } } )
    {
        table = readTable( folder / "paths" / ( std::string( name ) + ".baseline.tsv" ) );
        runCorpus( folder / "paths" / ( std::string( name ) + ".json.xz" ), table, cases, use );
        EXPECT_TRUE( table.empty() ) << name;
    }
}

bool support::needsTrustedFirst( const PathCase &one )
{
    return std::find( std::begin( trustedFirstOnly ), std::end( trustedFirstOnly ), one.id ) != std::end( trustedFirstOnly );
}

support::OpensslVerdict support::verifiedByOpenssl( const PathCase &one, unsigned long flags )
{
    X509_STORE *store = X509_STORE_new();
    for( const Cert &each : one.trusted )
        EXPECT_EQ( X509_STORE_add_cert( store, each.get() ), 1 );
    STACK_OF( X509 ) *stack = sk_X509_new_null();
    for( const Cert &each : one.extra )
        sk_X509_push( stack, each.get() );
    X509_STORE_CTX *ctx = X509_STORE_CTX_new();
    EXPECT_EQ( X509_STORE_CTX_init( ctx, store, one.leaf.openssl.get(), stack ), 1 );
    X509_VERIFY_PARAM *param = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( param, 255 );
    X509_VERIFY_PARAM_set_flags( param, X509_V_FLAG_PARTIAL_CHAIN | flags );
    X509_VERIFY_PARAM_set_time( param, one.seconds );
    X509_STORE_CTX_set0_param( ctx, param );
    OpensslVerdict verdict;
    if( X509_verify_cert( ctx ) == 1 )
    {
        STACK_OF( X509 ) *built = X509_STORE_CTX_get0_chain( ctx );
        for( int index = 0; index < sk_X509_num( built ); index++ )
            verdict.chain.push_back( der( sk_X509_value( built, index ) ) );
    }
    verdict.error = X509_STORE_CTX_get_error( ctx );
    verdict.depth = X509_STORE_CTX_get_error_depth( ctx );
    X509_STORE_CTX_free( ctx );
    sk_X509_free( stack );
    X509_STORE_free( store );
    ERR_clear_error();
    return verdict;
}
