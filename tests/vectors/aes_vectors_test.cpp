// Published AES vectors, block by block in both directions.
#include <cry/cry_aes.h>

#include "support/files.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// Transforms whole blocks with one object.
std::string process( PB_INT op, const std::string &key, const std::string &blocks )
{
    pb::Ref<CRY_AES> aes = pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, op, buf( key ).get() ) );
    std::string      out( blocks.size(), 0 );
    for( size_t at = 0; at < blocks.size(); at += 16 )
        cryAesProcessBlock( aes.get(), (PB_BYTE *)out.data() + at, (const PB_BYTE *)blocks.data() + at );
    return out;
}

struct Counts
{
    int encrypt = 0, decrypt = 0, blocks = 0;
};

void checkCase( Stanza &stanza, size_t keyBytes, Counts &counts )
{
    SCOPED_TRACE( stanza.line );
    bool encrypts = stanza.heading == "ENCRYPT";
    EXPECT_TRUE( encrypts || stanza.heading == "DECRYPT" ) << stanza.heading;
    std::string key = stanza.takeBytes( "KEY" ), plain = stanza.takeBytes( "PLAINTEXT" ), cipher = stanza.takeBytes( "CIPHERTEXT" );
    ASSERT_EQ( stanza.take( "COUNT" ), std::to_string( encrypts ? counts.encrypt : counts.decrypt ) );
    stanza.end();
    ASSERT_EQ( key.size(), keyBytes );
    ASSERT_EQ( plain.size(), cipher.size() );
    ASSERT_EQ( plain.size() % 16, 0u );
    ASSERT_GE( plain.size(), 16u );
    // Every section is checked in both directions.
    EXPECT_EQ( hex( process( CRY_AES_OPERATION_ENCRYPT, key, plain ) ), hex( cipher ) );
    EXPECT_EQ( hex( process( CRY_AES_OPERATION_DECRYPT, key, cipher ) ), hex( plain ) );
    ( encrypts ? counts.encrypt : counts.decrypt )++;
    counts.blocks += (int)plain.size() / 16;
}

Counts checkFile( const fs::path &path )
{
    SCOPED_TRACE( path );
    std::string name     = path.filename().string();
    size_t      keyBytes = name.find( "128" ) != name.npos ? 16 : name.find( "192" ) != name.npos ? 24 : 32;
    Counts      counts;
    for( Stanza &stanza : readStanzas( path ) )
        checkCase( stanza, keyBytes, counts );
    return counts;
}

// The number of cases in each file, so that no case is skipped by mistake. The multi-block files
// have messages of one to ten blocks.
void checkFiles( const std::vector<fs::path> &files, size_t wantedFiles )
{
    static const std::map<std::string, int> casesEachWay = { { "ECBGFSbox128", 7 }, { "ECBGFSbox192", 6 }, { "ECBGFSbox256", 5 },
        { "ECBKeySbox128", 21 }, { "ECBKeySbox192", 24 }, { "ECBKeySbox256", 16 }, { "ECBMMT128", 10 }, { "ECBMMT192", 10 }, { "ECBMMT256", 10 },
        { "ECBVarKey128", 128 }, { "ECBVarKey192", 192 }, { "ECBVarKey256", 256 }, { "ECBVarTxt128", 128 }, { "ECBVarTxt192", 128 },
        { "ECBVarTxt256", 128 } };
    EXPECT_EQ( files.size(), wantedFiles );
    for( const fs::path &path : files )
    {
        std::string name = path.filename().string();
        name.resize( name.find( '.' ) );
        ASSERT_TRUE( casesEachWay.count( name ) ) << path;
        int    each   = casesEachWay.at( name );
        Counts counts = checkFile( path );
        EXPECT_EQ( counts.encrypt, each ) << path;
        EXPECT_EQ( counts.decrypt, each ) << path;
        EXPECT_EQ( counts.blocks, name.starts_with( "ECBMMT" ) ? 2 * 55 : 2 * each ) << path;
    }
}

}

TEST( AesVectors, PublicNistBlocksInBothDirections )
{
    NEED_VECTORS( folder );
    checkFiles( filesBelow( *folder / "cavp" / "aes-ecb" ), 10 );
}

TEST( AesVectors, PackagedNistBlocksInBothDirections )
{
    std::vector<fs::path> files;
    for( const fs::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( path.parent_path().filename() == "ECB" && path.parent_path().parent_path().filename() == "AES" )
            files.push_back( path );
    }
    if( files.empty() )
        GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
    checkFiles( files, 15 );
}
