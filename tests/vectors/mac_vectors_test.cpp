// Published HMAC vectors, through every way of feeding a message.
#include <cry/cry_mac.h>

#include "support/files.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <sstream>

using namespace support;
namespace fs = std::filesystem;

namespace
{

std::string lower( std::string text )
{
    for( char &c : text )
        c = (char)tolower( c );
    return text;
}

// Takes hexadecimal digits only.
std::string strictUnhex( const std::string &text )
{
    EXPECT_EQ( text.size() % 2, 0u ) << text;
    EXPECT_EQ( text.find_first_not_of( "0123456789abcdefABCDEF" ), text.npos ) << text;
    return unhex( text );
}

// "name = value" lines in stanzas with empty lines between; "[...]" lines head what follows.
struct Stanza
{
    std::string                        heading;
    std::map<std::string, std::string> fields;
};

std::vector<Stanza> readStanzas( const fs::path &path, const std::vector<std::string> &names )
{
    std::istringstream  in( read( path ) );
    std::vector<Stanza> stanzas;
    Stanza              current;
    auto                finish = [&] {
        if( current.fields.empty() )
            return;
        EXPECT_EQ( current.fields.size(), names.size() ) << path << ": stanza " << stanzas.size();
        for( const std::string &name : names )
            EXPECT_TRUE( current.fields.count( name ) ) << path << ": no " << name << " in stanza " << stanzas.size();
        stanzas.push_back( current );
        current.fields.clear();
    };
    for( std::string line; std::getline( in, line ); )
    {
        line.erase( line.find_last_not_of( " \t\r" ) + 1 );
        if( line.empty() )
            finish();
        else if( line[0] == '[' )
        {
            finish();
            EXPECT_EQ( line.back(), ']' ) << path << ": " << line;
            current.heading = line.substr( 1, line.size() - 2 );
        }
        else if( line[0] != '#' )
        {
            size_t equals = line.find( " =" );
            EXPECT_NE( equals, line.npos ) << path << ": " << line;
            size_t value = line.find_first_not_of( ' ', equals + 2 );
            bool   isNew = current.fields.emplace( line.substr( 0, equals ), value == line.npos ? "" : line.substr( value ) ).second;
            EXPECT_TRUE( isNew ) << path << ": twice in one stanza: " << line;
        }
    }
    finish();
    return stanzas;
}

std::string fed( PB_INT alg, const pb::Ref<PB_BUFFER> &key, auto feed )
{
    pb::Ref<CRY_MAC> mac = pb::adopt( cryMacTryCreateHmac( alg, key.get() ) );
    feed( mac.get() );
    return hex( bytes( pb::adopt( cryMacFinal( mac.get() ) ) ) );
}

// The MAC of a message; all ways of feeding give the same one.
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

// Checks the files of the RFCs that have a name we know; the number of cases by algorithm.
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
        for( Stanza &stanza : readStanzas( path, { "Len", "Key", "Msg", "MD" } ) )
        {
            std::string message = strictUnhex( stanza.fields["Msg"] );
            EXPECT_EQ( std::to_string( message.size() * 8 ), stanza.fields["Len"] );
            EXPECT_EQ( macOf( known->second, strictUnhex( stanza.fields["Key"] ), message ), stanza.fields["MD"] );
            counts[known->second]++;
        }
    }
    return counts;
}

}

TEST( MacVectors, PublicEdgeCasesWithWholeAndTruncatedTags )
{
    NEED_VECTORS( folder );
    // SHA-512/224 is none of ours.
    const std::map<std::string, PB_INT> algorithms = { { "HMACSHA224", CRY_HASH_ALGORITHM_SHA2_224 }, { "HMACSHA256", CRY_HASH_ALGORITHM_SHA2_256 },
        { "HMACSHA384", CRY_HASH_ALGORITHM_SHA2_384 }, { "HMACSHA3-224", CRY_HASH_ALGORITHM_SHA3_224 },
        { "HMACSHA3-256", CRY_HASH_ALGORITHM_SHA3_256 }, { "HMACSHA3-384", CRY_HASH_ALGORITHM_SHA3_384 },
        { "HMACSHA3-512", CRY_HASH_ALGORITHM_SHA3_512 }, { "HMACSHA512/224", -1 } };
    std::map<PB_INT, int>               cases;
    int                                 valid = 0, invalid = 0, truncated = 0;
    for( const fs::path &path : filesBelow( *folder / "wycheproof" / "hmac" ) )
    {
        SCOPED_TRACE( path );
        nlohmann::json file = nlohmann::json::parse( read( path ) );
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
    for( Stanza &stanza : readStanzas( *folder / "botan" / "mac" / "hmac.vec", { "Key", "In", "Out" } ) )
    {
        ASSERT_TRUE( sections.count( stanza.heading ) ) << stanza.heading;
        PB_INT alg = sections.at( stanza.heading );
        if( alg < 0 )
            continue;
        EXPECT_EQ( macOf( alg, strictUnhex( stanza.fields["Key"] ), strictUnhex( stanza.fields["In"] ) ), lower( stanza.fields["Out"] ) )
            << stanza.heading << " case " << cases[alg];
        cases[alg]++;
    }
    EXPECT_EQ( cases.size(), 10u );
}
