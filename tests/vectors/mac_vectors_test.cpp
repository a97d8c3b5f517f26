// Published HMAC vectors. Each message is given in every possible way.
#include <cry/cry_mac.h>

#include "support/files.hpp"
#include "support/json.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>

using namespace support;
namespace fs = std::filesystem;

namespace
{

std::string fed( PB_INT alg, const pb::Ref<PB_BUFFER> &key, auto feed )
{
    pb::Ref<CRY_MAC> mac = pb::adopt( cryMacTryCreateHmac( alg, key.get() ) );
    feed( mac.get() );
    return hex( bytes( pb::adopt( cryMacFinal( mac.get() ) ) ) );
}

// The MAC of a message. All ways of feeding give the same MAC.
std::string macOf( PB_INT alg, const std::string &keyBytes, const std::string &message )
{
    PB_INT             length = (PB_INT)message.size(), half = length / 2;
    pb::Ref<PB_BUFFER> key    = buf( keyBytes );
    pb::Ref<PB_BUFFER> all    = buf( message );
    pb::Ref<PB_BUFFER> framed = buf( "before" + message + "behind" );
    pb::Ref<PB_BUFFER> gap    = buf( message.substr( 0, (size_t)half ) + "not this" + message.substr( (size_t)half ) );

    std::string mac = hex( bytes( pb::adopt( cryMacTryComputeHmac( alg, key.get(), all.get() ) ) ) );
    EXPECT_EQ( (PB_INT)mac.size() * 4, cryHashAlgorithmDigestSizeBits( alg ) );
    EXPECT_EQ( fed( alg, key, [&]( CRY_MAC *to ) { cryMacUpdate( to, all.get() ); } ), mac );
    EXPECT_EQ( fed( alg, key,
                   [&]( CRY_MAC *to ) {
                       for( PB_INT at = 0, piece = 1; at < length; at += piece, piece = piece * 2 % 1021 + 1 )
                           cryMacUpdateBytes( to, pbBufferBytes( all.get() ) + at, std::min( piece, length - at ) );
                   } ),
        mac );
    EXPECT_EQ( fed( alg, key,
                   [&]( CRY_MAC *to ) {
                       for( char byte : message )
                           cryMacUpdateByte( to, (PB_BYTE)byte );
                   } ),
        mac );
    EXPECT_EQ( fed( alg, key, [&]( CRY_MAC *to ) { cryMacUpdateInner( to, framed.get(), 6, length ); } ), mac );
    EXPECT_EQ( fed( alg, key, [&]( CRY_MAC *to ) { cryMacUpdateOuter( to, gap.get(), half, 8 ); } ), mac );
    EXPECT_EQ( fed( alg, key,
                   [&]( CRY_MAC *to ) {
                       cryMacUpdateLeading( to, all.get(), half );
                       cryMacUpdateTrailing( to, all.get(), length - half );
                   } ),
        mac );
    return mac;
}

// Checks the files of the RFCs with a known name. Returns the number of cases for each algorithm.
std::map<PB_INT, int> checkRfcFiles( const std::vector<fs::path> &files )
{
    static const std::map<std::string, PB_INT> algorithms = { { "rfc-2202-md5.txt", CRY_HASH_ALGORITHM_MD5 },
        { "rfc-2202-sha1.txt", CRY_HASH_ALGORITHM_SHA1 }, { "rfc-2286-ripemd160.txt", -1 }, { "rfc-4231-sha224.txt", CRY_HASH_ALGORITHM_SHA2_224 },
        { "rfc-4231-sha256.txt", CRY_HASH_ALGORITHM_SHA2_256 }, { "rfc-4231-sha384.txt", CRY_HASH_ALGORITHM_SHA2_384 },
        { "rfc-4231-sha512.txt", CRY_HASH_ALGORITHM_SHA2_512 } };
    std::map<PB_INT, int>                      counts;
    for( const fs::path &path : files )
    {
        SCOPED_TRACE( path );
        auto known = algorithms.find( path.filename().string() );
        EXPECT_NE( known, algorithms.end() );
        if( known == algorithms.end() || known->second < 0 )
            continue;
        for( Stanza &stanza : readStanzas( path ) )
        {
            std::string message = stanza.takeBytes( "Msg" );
            EXPECT_EQ( std::to_string( message.size() * 8 ), stanza.take( "Len" ) );
            EXPECT_EQ( macOf( known->second, stanza.takeBytes( "Key" ), message ), stanza.take( "MD" ) );
            stanza.end();
            counts[known->second]++;
        }
    }
    return counts;
}

}

TEST( MacVectors, PublicEdgeCasesWithWholeAndTruncatedTags )
{
    NEED_VECTORS( folder );
    // The library does not have SHA-512/224.
    const std::map<std::string, PB_INT> algorithms = { { "HMACSHA224", CRY_HASH_ALGORITHM_SHA2_224 }, { "HMACSHA256", CRY_HASH_ALGORITHM_SHA2_256 },
        { "HMACSHA384", CRY_HASH_ALGORITHM_SHA2_384 }, { "HMACSHA3-224", CRY_HASH_ALGORITHM_SHA3_224 },
        { "HMACSHA3-256", CRY_HASH_ALGORITHM_SHA3_256 }, { "HMACSHA3-384", CRY_HASH_ALGORITHM_SHA3_384 },
        { "HMACSHA3-512", CRY_HASH_ALGORITHM_SHA3_512 }, { "HMACSHA512/224", -1 } };
    std::map<PB_INT, int>               cases;
    int                                 valid = 0, invalid = 0, truncated = 0;
    for( const fs::path &path : filesBelow( *folder / "wycheproof" / "hmac" ) )
    {
        SCOPED_TRACE( path );
        nlohmann::json file = support::parseJson( read( path ) );
        PB_INT         alg  = algorithms.at( file.at( "algorithm" ).get<std::string>() );
        if( alg < 0 )
            continue;
        int inFile = 0;
        for( const nlohmann::json &group : file.at( "testGroups" ) )
        {
            size_t keySize = group.at( "keySize" ), tagSize = group.at( "tagSize" );
            for( const nlohmann::json &test : group.at( "tests" ) )
            {
                SCOPED_TRACE( test.at( "tcId" ).dump() );
                std::string key = strictUnhex( test.at( "key" ) ), tag = test.at( "tag" ), result = test.at( "result" );
                EXPECT_EQ( key.size() * 8, keySize );
                EXPECT_EQ( tag.size() * 4, tagSize );
                ASSERT_TRUE( result == "valid" || result == "invalid" ) << result;
                std::string mac = macOf( alg, key, strictUnhex( test.at( "msg" ) ) );
                EXPECT_EQ( mac.substr( 0, tag.size() ) == tag, result == "valid" ) << mac << " " << tag;
                ( result == "valid" ? valid : invalid )++;
                truncated += tag.size() < mac.size();
                inFile++;
            }
        }
        EXPECT_EQ( inFile, file.at( "numberOfTests" ).get<int>() );
        cases[alg] += inFile;
    }
    EXPECT_EQ( cases.size(), 7u );
    EXPECT_EQ( valid + invalid, 172 + 174 + 174 + 172 + 174 + 174 + 174 );
    EXPECT_GT( valid, 0 );
    EXPECT_GT( invalid, 0 );
    EXPECT_GT( truncated, 0 );
}

TEST( MacVectors, PublicCasesOfTheRfcs )
{
    NEED_VECTORS( folder );
    const std::map<PB_INT, int> wanted = { { CRY_HASH_ALGORITHM_SHA2_224, 6 }, { CRY_HASH_ALGORITHM_SHA2_256, 6 }, { CRY_HASH_ALGORITHM_SHA2_384, 6 },
        { CRY_HASH_ALGORITHM_SHA2_512, 6 } };
    EXPECT_EQ( checkRfcFiles( filesBelow( *folder / "cavp" / "hmac" ) ), wanted );
}

TEST( MacVectors, PackagedCasesOfTheRfcs )
{
    std::vector<fs::path> files;
    for( const fs::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( path.parent_path().filename() == "HMAC" && path.extension() == ".txt" )
            files.push_back( path );
    }
    if( files.empty() )
        GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
    const std::map<PB_INT, int> wanted = { { CRY_HASH_ALGORITHM_MD5, 7 }, { CRY_HASH_ALGORITHM_SHA1, 7 }, { CRY_HASH_ALGORITHM_SHA2_224, 6 },
        { CRY_HASH_ALGORITHM_SHA2_256, 6 }, { CRY_HASH_ALGORITHM_SHA2_384, 6 }, { CRY_HASH_ALGORITHM_SHA2_512, 6 } };
    EXPECT_EQ( checkRfcFiles( files ), wanted );
}

TEST( MacVectors, PublicCasesOfEveryAlgorithm )
{
    NEED_VECTORS( folder );
    const std::map<std::string, PB_INT> sections = { { "HMAC(MD5)", CRY_HASH_ALGORITHM_MD5 }, { "HMAC(SHA-160)", CRY_HASH_ALGORITHM_SHA1 },
        { "HMAC(SHA-224)", CRY_HASH_ALGORITHM_SHA2_224 }, { "HMAC(SHA-256)", CRY_HASH_ALGORITHM_SHA2_256 },
        { "HMAC(SHA-384)", CRY_HASH_ALGORITHM_SHA2_384 }, { "HMAC(SHA-512)", CRY_HASH_ALGORITHM_SHA2_512 },
        { "HMAC(SHA-3(224))", CRY_HASH_ALGORITHM_SHA3_224 }, { "HMAC(SHA-3(256))", CRY_HASH_ALGORITHM_SHA3_256 },
        { "HMAC(SHA-3(384))", CRY_HASH_ALGORITHM_SHA3_384 }, { "HMAC(SHA-3(512))", CRY_HASH_ALGORITHM_SHA3_512 }, { "HMAC(RIPEMD-160)", -1 },
        { "HMAC(SHA-512-256)", -1 } };
    std::map<PB_INT, int>               cases;
    for( Stanza &stanza : readStanzas( *folder / "botan" / "mac" / "hmac.vec" ) )
    {
        ASSERT_TRUE( sections.count( stanza.heading ) ) << stanza.heading;
        PB_INT alg = sections.at( stanza.heading );
        if( alg < 0 )
            continue;
        EXPECT_EQ( macOf( alg, stanza.takeBytes( "Key" ), stanza.takeBytes( "In" ) ), lower( stanza.take( "Out" ) ) )
            << stanza.heading << " case " << cases[alg];
        stanza.end();
        cases[alg]++;
    }
    EXPECT_EQ( cases.size(), 10u );
}
