// Published digest vectors. Each message is given in every possible way.
#include <cry/cry_hash.h>

#include "support/files.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>

using namespace support;
namespace fs = std::filesystem;

namespace
{

std::string oneShot( PB_INT alg, const std::string &message ) { return bytes( pb::adopt( cryHashTryCompute( alg, buf( message ).get() ) ) ); }

std::string fed( PB_INT alg, auto feed )
{
    pb::Ref<CRY_HASH> hash = pb::adopt( cryHashTryCreate( alg ) );
    feed( hash.get() );
    return bytes( pb::adopt( cryHashFinal( hash.get() ) ) );
}

// Checks one message through all ways.
void checkDigest( PB_INT alg, const std::string &message, const std::string &digest )
{
    ASSERT_EQ( (PB_INT)digest.size() * 4, cryHashAlgorithmDigestSizeBits( alg ) );
    PB_INT             length = (PB_INT)message.size(), half = length / 2;
    pb::Ref<PB_BUFFER> all    = buf( message );
    pb::Ref<PB_BUFFER> framed = buf( "before" + message + "behind" );
    pb::Ref<PB_BUFFER> gap    = buf( message.substr( 0, (size_t)half ) + "not this" + message.substr( (size_t)half ) );

    EXPECT_EQ( hex( oneShot( alg, message ) ), digest );
    EXPECT_EQ( hex( fed( alg, [&]( CRY_HASH *hash ) { cryHashUpdate( hash, all.get() ); } ) ), digest );
    EXPECT_EQ( hex( fed( alg,
                   [&]( CRY_HASH *hash ) {
                       for( PB_INT at = 0, piece = 1; at < length; at += piece, piece = piece * 2 % 1021 + 1 )
                           cryHashUpdateBytes( hash, pbBufferBytes( all.get() ) + at, std::min( piece, length - at ) );
                   } ) ),
        digest );
    EXPECT_EQ( hex( fed( alg,
                   [&]( CRY_HASH *hash ) {
                       for( char byte : message )
                           cryHashUpdateByte( hash, (PB_BYTE)byte );
                   } ) ),
        digest );
    EXPECT_EQ( hex( fed( alg, [&]( CRY_HASH *hash ) { cryHashUpdateInner( hash, framed.get(), 6, length ); } ) ), digest );
    EXPECT_EQ( hex( fed( alg, [&]( CRY_HASH *hash ) { cryHashUpdateOuter( hash, gap.get(), half, 8 ); } ) ), digest );
    EXPECT_EQ( hex( fed( alg,
                   [&]( CRY_HASH *hash ) {
                       cryHashUpdateLeading( hash, all.get(), half );
                       cryHashUpdateTrailing( hash, all.get(), length - half );
                   } ) ),
        digest );
}

int checkMessages( PB_INT alg, const fs::path &path )
{
    SCOPED_TRACE( path );
    int cases = 0;
    for( Stanza &stanza : readStanzas( path ) )
    {
        if( !stanza.heading.empty() )
        {
            // Old files count bytes, new ones bits.
            PB_INT bits = cryHashAlgorithmDigestSizeBits( alg );
            EXPECT_TRUE( stanza.heading == "L = " + std::to_string( bits ) || stanza.heading == "L = " + std::to_string( bits / 8 ) )
                << stanza.heading;
        }
        size_t      length  = std::stoul( stanza.take( "Len" ) );
        std::string message = stanza.takeBytes( "Msg" );
        EXPECT_EQ( length % 8, 0u );
        // An empty message is written as one zero byte.
        EXPECT_EQ( message.size(), length ? length / 8 : 1 );
        message.resize( length / 8 );
        checkDigest( alg, message, stanza.take( "MD" ) );
        stanza.end();
        cases++;
    }
    return cases;
}

// Each count has a thousand digests. Each digest is made from the digests before it. The last one
// is published and begins the next count.
int checkMonte( PB_INT alg, const fs::path &path )
{
    SCOPED_TRACE( path );
    bool                sha3    = alg >= CRY_HASH_ALGORITHM_SHA3_224;
    std::vector<Stanza> stanzas = readStanzas( path );
    std::string         seed    = stanzas.empty() ? "" : stanzas[0].takeBytes( "Seed" );
    int                 counts  = 0;
    for( Stanza &stanza : stanzas )
    {
        if( !counts && !stanza.has( "COUNT" ) )
        {
            stanza.end();
            continue;
        }
        EXPECT_EQ( stanza.take( "COUNT" ), std::to_string( counts ) );
        bool        byUpdates = counts % 2;
        std::string last[3]   = { seed, seed, seed };
        for( int step = 0; step < 1000; step++ )
        {
            std::string digest;
            if( byUpdates )
            {
                digest = fed( alg, [&]( CRY_HASH *hash ) {
                    for( int each = sha3 ? 2 : 0; each < 3; each++ )
                        cryHashUpdateBytes( hash, (const PB_BYTE *)last[each].data(), (PB_INT)last[each].size() );
                } );
            }
            else
                digest = oneShot( alg, sha3 ? last[2] : last[0] + last[1] + last[2] );
            last[0] = std::move( last[1] );
            last[1] = std::move( last[2] );
            last[2] = std::move( digest );
        }
        seed = last[2];
        EXPECT_EQ( hex( seed ), stanza.take( "MD" ) ) << "count " << counts;
        stanza.end();
        counts++;
    }
    return counts;
}

// The algorithm with which a file name begins; no value if the library does not have it.
std::optional<PB_INT> algorithmOf( const std::string &name )
{
    static const std::pair<const char *, PB_INT> prefixes[] = { { "SHA3_224", CRY_HASH_ALGORITHM_SHA3_224 },
        { "SHA3_256", CRY_HASH_ALGORITHM_SHA3_256 }, { "SHA3_384", CRY_HASH_ALGORITHM_SHA3_384 }, { "SHA3_512", CRY_HASH_ALGORITHM_SHA3_512 },
        { "SHA512_", -1 }, { "SHA1", CRY_HASH_ALGORITHM_SHA1 }, { "SHA224", CRY_HASH_ALGORITHM_SHA2_224 }, { "SHA256", CRY_HASH_ALGORITHM_SHA2_256 },
        { "SHA384", CRY_HASH_ALGORITHM_SHA2_384 }, { "SHA512", CRY_HASH_ALGORITHM_SHA2_512 }, { "rfc-1321", CRY_HASH_ALGORITHM_MD5 } };
    for( const auto &[prefix, alg] : prefixes )
    {
        if( name.starts_with( prefix ) )
            return alg < 0 ? std::nullopt : std::optional( alg );
    }
    return {};
}

struct Counts
{
    std::map<PB_INT, int> messages, montes; // by algorithm
};

Counts checkFiles( const std::vector<fs::path> &files )
{
    Counts counts;
    for( const fs::path &path : files )
    {
        std::string           name = path.filename().string();
        std::optional<PB_INT> alg  = algorithmOf( name );
        if( !alg )
            continue;
        if( name.find( "Monte.rsp" ) != name.npos )
            counts.montes[*alg] += checkMonte( *alg, path );
        else if( name.find( "Msg.rsp" ) != name.npos || name == "rfc-1321.txt" )
            counts.messages[*alg] += checkMessages( *alg, path );
    }
    return counts;
}

}

TEST( HashVectors, PackagedNistMessagesAndMonteCarloChains )
{
    std::vector<fs::path> files;
    for( const fs::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( path.parent_path().parent_path().filename() == "hashes" )
            files.push_back( path );
    }
    if( files.empty() )
        GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed";
    Counts counts = checkFiles( files );
    // Short and long messages of each algorithm, so that no file is skipped by mistake.
    const int messages[] = { 7, 65 + 64, 65 + 64, 65 + 64, 129 + 128, 129 + 128, 145 + 100, 137 + 100, 105 + 100, 73 + 100 };
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_EQ( counts.messages[alg], messages[alg] ) << alg;
        EXPECT_EQ( counts.montes[alg], alg == CRY_HASH_ALGORITHM_MD5 ? 0 : 100 ) << alg;
    }
}

TEST( HashVectors, PublicNistMessagesAndMonteCarloChains )
{
    NEED_VECTORS( folder );
    Counts counts   = checkFiles( filesBelow( *folder / "cavp" / "digest" ) );
    int    messages = 0, montes = 0;
    for( const auto &[alg, count] : counts.messages )
        messages += count;
    for( const auto &[alg, count] : counts.montes )
        montes += count;
    EXPECT_EQ( counts.messages.size(), 10u );
    EXPECT_EQ( messages, 7 + 65 + 65 + 64 + 65 + 64 + 129 + 129 + 128 + 145 + 137 + 105 + 100 + 100 );
    EXPECT_EQ( montes, 600 );
}

TEST( HashVectors, MessagesOfEveryShortLength )
{
    NEED_VECTORS( folder );
    const std::map<std::string, PB_INT> sections = { { "SHA-160", CRY_HASH_ALGORITHM_SHA1 }, { "SHA-224", CRY_HASH_ALGORITHM_SHA2_224 },
        { "SHA-256", CRY_HASH_ALGORITHM_SHA2_256 }, { "SHA-3(224)", CRY_HASH_ALGORITHM_SHA3_224 }, { "SHA-3(256)", CRY_HASH_ALGORITHM_SHA3_256 },
        { "SHA-3(384)", CRY_HASH_ALGORITHM_SHA3_384 }, { "SHA-3(512)", CRY_HASH_ALGORITHM_SHA3_512 } };
    std::map<std::string, int>          cases;
    for( const fs::path &path : filesBelow( *folder / "botan" / "hash" ) )
    {
        SCOPED_TRACE( path );
        for( Stanza &stanza : readStanzas( path ) )
        {
            ASSERT_TRUE( sections.count( stanza.heading ) ) << stanza.heading;
            checkDigest( sections.at( stanza.heading ), stanza.takeBytes( "In" ), lower( stanza.take( "Out" ) ) );
            stanza.end();
            cases[stanza.heading]++;
        }
    }
    EXPECT_EQ( cases.size(), sections.size() );
    for( const auto &[heading, count] : cases )
        EXPECT_GE( count, 3 ) << heading;
}
