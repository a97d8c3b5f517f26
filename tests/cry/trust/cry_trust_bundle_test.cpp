#include <cry/cry_trust_bundle.h>

#include "cry/trust/golden_token.hpp"
#include "support/sources.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Token = pb::Ref<CRY_TRUST_TOKEN>;

// A sink that notes what it is asked for, and can fail.
struct Noted
{
    std::string bytes  = {};
    int         writes = 0, flushes = 0;
    size_t      room        = (size_t)-1; // more bytes than these fail
    bool        failToFlush = false;

    pb::Ref<PB_BYTE_SINK> sink()
    {
        auto write = []( void *closure, PB_BUFFER *buf ) -> PB_BOOL {
            Noted &noted = *(Noted *)closure;
            noted.writes++;
            if( (size_t)pbBufferLength( buf ) > noted.room - noted.bytes.size() )
                return PB_FALSE;
            noted.bytes += support::bytes( buf );
            return PB_TRUE;
        };
        auto flush = []( void *closure ) -> PB_BOOL {
            ( (Noted *)closure )->flushes++;
            return !( (Noted *)closure )->failToFlush;
        };
        return pb::adopt( pbCallbackByteSinkCreate( write, flush, nullptr, this ) );
    }
};

// A source that gives some bytes and then `filler` without end, and counts what it gave.
struct Endless
{
    std::string bytes  = {};
    char        filler = ' ';
    size_t      given  = 0;

    pb::Ref<PB_BYTE_SOURCE> source()
    {
        auto read = []( void *closure, PB_BYTE *to, PB_INT max ) -> PB_INT {
            Endless &endless = *(Endless *)closure;
            for( PB_INT index = 0; index < max; index++, endless.given++ )
                to[index] = (PB_BYTE)( endless.given < endless.bytes.size() ? endless.bytes[endless.given] : endless.filler );
            return max;
        };
        return pb::adopt( pbCallbackByteSourceCreate( read, nullptr, this ) );
    }
};

std::string bigEndian( size_t number )
{
    std::string out;
    for( int shift = 24; shift >= 0; shift -= 8 )
        out += (char)( number >> shift );
    return out;
}

const std::string mark = "\x89PBHD1\r\n";

// A stream with this JSON text as its header.
std::string stream( const std::string &header, const std::string &body ) { return mark + bigEndian( header.size() ) + header + body; }

std::string streamWith( const std::string &tokenJson, const std::string &body = "body" )
{
    return stream( "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{\"token\":" + tokenJson + "}}", body );
}

std::string packed( const Token &tok, const std::string &data )
{
    pb::Ref<PB_BUFFER> out = buf( "" );
    EXPECT_TRUE( cryTrustBundleTryPackWithBuffer( tok.get(), buf( data ).get(), out.handle() ) );
    return bytes( out );
}

bool pack( const Token &tok, const pb::Ref<PB_BYTE_SOURCE> &data, const pb::Ref<PB_BYTE_SINK> &to )
{
    return cryTrustBundleTryPack( tok.get(), data.get(), to.get() );
}

Token unpack( const pb::Ref<PB_BYTE_SOURCE> &from, const pb::Ref<PB_BYTE_SINK> &to )
{
    return pb::adopt( cryTrustBundleTryUnpack( from.get(), to.get() ) );
}

Token unpacked( const std::string &bundle, std::string &data )
{
    pb::Ref<PB_BUFFER> out = buf( "" );
    Token              tok = pb::adopt( cryTrustBundleTryUnpackWithBuffer( buf( bundle ).get(), out.handle() ) );
    data                   = bytes( out );
    return tok;
}

// A bundle that is refused at its header: nothing may reach the sink, however it is read.
void expectRefused( const std::string &bundle, const std::string &name )
{
    PB_INT before = pbObjLiveCount();
    for( PB_INT piece : { (PB_INT)1 << 20, (PB_INT)1 } )
    {
        if( piece == 1 && bundle.size() > 100000 )
            continue;
        Noted noted;
        EXPECT_FALSE( unpack( source( bundle, piece ), noted.sink() ) ) << name;
        EXPECT_EQ( noted.writes + noted.flushes, 0 ) << name;
    }
    pb::Ref<PB_BUFFER> out = buf( "mine" );
    EXPECT_FALSE( pb::adopt( cryTrustBundleTryUnpackWithBuffer( buf( bundle ).get(), out.handle() ) ) ) << name;
    EXPECT_EQ( bytes( out ), "mine" ) << name;
    out = {};
    EXPECT_EQ( pbObjLiveCount(), before ) << name;
}

// All bundles of a test have the same time.
class CryTrustBundle : public testing::Test
{
protected:
    void SetUp() override { pb___ClockSetManual( PB_TRUE ); }
    void TearDown() override
    {
        pb___ClockSetManual( PB_FALSE );
        takeErrors();
    }
};

}

TEST_F( CryTrustBundle, GivesTheTokenAndTheDataBack )
{
    for( const Token &tok : { pb::adopt( cryTrustTokenCreate() ), golden::token() } )
    {
        for( const std::string &data :
            { std::string(), std::string( "data" ), std::string( "\0\r\n", 3 ), pattern( 0x100000 ), pattern( 0x100001 ), pattern( 3000000 ) } )
        {
            std::string bundle = packed( tok, data ), back;
            Token       same   = unpacked( bundle, back );
            ASSERT_TRUE( same ) << data.size();
            EXPECT_EQ( jsonOf( same ), jsonOf( tok ) );
            EXPECT_TRUE( back == data ) << data.size();
            // In other pieces.
            for( PB_INT piece : { data.size() < 10000 ? (PB_INT)1 : (PB_INT)4099, (PB_INT)1 << 22 } )
            {
                Noted noted, body;
                EXPECT_TRUE( pack( tok, source( data, piece ), noted.sink() ) );
                EXPECT_EQ( noted.bytes.size(), bundle.size() );
                EXPECT_GE( noted.flushes, 1 );
                EXPECT_TRUE( unpack( source( noted.bytes, piece ), body.sink() ) );
                EXPECT_TRUE( body.bytes == data ) << data.size() << " " << piece;
                EXPECT_GE( body.flushes, 1 );
            }
        }
    }
}

// These bytes are the format; only the time and the versions differ.
TEST_F( CryTrustBundle, HasTheseBytes )
{
    pb___ClockSetManual( PB_TRUE );
    std::string             bundle  = packed( golden::token(), "the data" );
    std::string             created = text( pb::adopt( pbTimeToString( pb::adopt( pbTimeNow() ).get() ) ) );
    const PB_MODULE_RECORD *record  = pbModuleRecord( cryModule() );
    std::string             header  = "{\n"
                                      "  \"type\": \"CRY_TRUST_BUNDLE\",\n"
                                      "  \"moduleVersion\": \"" +
        text( pb::adopt( pbModuleVersion( cryModule() ) ) ) +
        "\",\n"
        "  \"store\": {\n"
        "    \"token\": " +
        golden::json( 4 ) +
        ",\n"
        "    \"info\": {\n"
        "      \"created\": \"" +
        created +
        "\",\n"
        "      \"product\": \"" +
        record->productTag +
        "\",\n"
        "      \"productVersion\": \"" +
        std::to_string( record->productVersionMajor ) + "." + std::to_string( record->productVersionMinor ) + "." +
        std::to_string( record->productVersionBuild ) +
        "\"\n"
        "    }\n"
        "  }\n"
        "}\n";
    EXPECT_EQ( bundle, stream( header, "the data" ) );
}

// A bundle of the first release, and one with another version, no info and entries of the future.
TEST_F( CryTrustBundle, ReadsBundlesOfOtherVersions )
{
    for( const std::string &header : {
             "{\"type\":\"CRY_TRUST_BUNDLE\",\"moduleVersion\":\"0.2\",\"store\":{\"token\":" + golden::json() +
                 ",\"info\":{\"created\":\"2026-11-22T15:00:00.125Z\",\"product\":\"x\",\"productVersion\":\"4.14.19\"}}}",
             "{\"later\":1,\"store\":{\"more\":[],\"info\":7,\"token\":" + golden::json() +
                 "},\"moduleVersion\":\"99.1\",\"type\":\"CRY_TRUST_BUNDLE\"}",
             "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{\"token\":" + golden::json() + "}}",
         } )
    {
        std::string data;
        Token       tok = unpacked( stream( header, "the data" ), data );
        ASSERT_TRUE( tok ) << header;
        EXPECT_EQ( jsonOf( tok ), golden::json() + "\n" );
        EXPECT_EQ( data, "the data" );
    }
}

TEST_F( CryTrustBundle, AppendsToTheCallersBuffer )
{
    pb::Ref<PB_BUFFER> bundle = buf( "before" ), data = buf( "mine" ), otherBundle = bundle, otherData = data;
    ASSERT_TRUE( cryTrustBundleTryPackWithBuffer( golden::token().get(), buf( "data" ).get(), bundle.handle() ) );
    EXPECT_EQ( bytes( bundle ).substr( 0, 6 + 8 ), "before" + mark );
    EXPECT_EQ( bytes( otherBundle ), "before" );
    ASSERT_TRUE( pb::adopt( cryTrustBundleTryUnpackWithBuffer( buf( bytes( bundle ).substr( 6 ) ).get(), data.handle() ) ) );
    EXPECT_EQ( bytes( data ), "minedata" );
    EXPECT_EQ( bytes( otherData ), "mine" );
    // The same buffer for both.
    pb::Ref<PB_BUFFER> both = buf( "data" );
    ASSERT_TRUE( cryTrustBundleTryPackWithBuffer( golden::token().get(), both.get(), both.handle() ) );
    EXPECT_EQ( bytes( both ).substr( 0, 4 + 8 ), "data" + mark );
}

TEST_F( CryTrustBundle, NeitherSignsNorVerifies )
{
    Token       tok = pb::adopt( cryTrustTokenCreate() );
    std::string data;
    EXPECT_FALSE( cryTrustTokenHasSignature( unpacked( packed( tok, "data" ), data ).get() ) );
}

TEST_F( CryTrustBundle, VerifiesAfterUnpackingUnlessItWasChanged )
{
    NEED_DEVELOPMENT_ROOT();
    auto verifies = []( const std::string &bundle ) {
        std::string data;
        Token       tok = unpacked( bundle, data );
        EXPECT_TRUE( tok );
        return tok && cryTrustTokenTryVerifyWithBuffer( tok.get(), buf( data ).get() );
    };
    Token       tok    = trustTokenFor( "the data" );
    std::string bundle = packed( tok, "the data" );
    EXPECT_TRUE( verifies( bundle ) );
    // Body bytes that are missing, added or changed.
    EXPECT_FALSE( verifies( bundle.substr( 0, bundle.size() - 1 ) ) );
    EXPECT_FALSE( verifies( bundle.substr( 0, bundle.size() - 8 ) ) );
    EXPECT_FALSE( verifies( bundle + "x" ) );
    EXPECT_FALSE( verifies( bundle.substr( 0, bundle.size() - 1 ) + "b" ) );
    cryTrustTokenSetMetaData( tok.handle(), storeOfJson( "{\"changed\":1}" ).get() );
    EXPECT_FALSE( verifies( packed( tok, "the data" ) ) );
    takeErrors();
}

TEST_F( CryTrustBundle, ASourceThatFailsIsNotPacked )
{
    for( size_t length : { 0, 1, 0x100000, 3000000 } )
    {
        Noted noted;
        EXPECT_FALSE( pack( golden::token(), source( pattern( length ), 1 << 16, true ), noted.sink() ) ) << length;
        EXPECT_EQ( noted.flushes, 1 ) << length;
    }
}

TEST_F( CryTrustBundle, ASourceThatFailsIsNotUnpacked )
{
    std::string bundle = packed( golden::token(), pattern( 1100000 ) );
    size_t      body   = bundle.size() - 1100000;
    for( size_t length : { (size_t)0, (size_t)1, (size_t)11, (size_t)12, body - 1 } )
    {
        Noted noted;
        EXPECT_FALSE( unpack( source( bundle.substr( 0, length ), 1 << 16, true ), noted.sink() ) ) << length;
        EXPECT_EQ( noted.writes + noted.flushes, 0 ) << length;
    }
    // The sink may have got a part.
    for( size_t length : { body, body + 1, bundle.size() } )
    {
        Noted noted;
        EXPECT_FALSE( unpack( source( bundle.substr( 0, length ), 1 << 16, true ), noted.sink() ) ) << length;
        EXPECT_EQ( noted.bytes, bundle.substr( body, length - body ) );
        EXPECT_EQ( noted.flushes, 1 );
    }
}

// A sink that fails ends the copying, also of a source without end.
TEST_F( CryTrustBundle, ASinkThatFailsEndsTheCopying )
{
    size_t overhead = packed( golden::token(), "" ).size();
    for( size_t room : { (size_t)0, (size_t)11, overhead, overhead + 3000000 } )
    {
        Noted   noted{ .room = room };
        Endless data;
        EXPECT_FALSE( pack( golden::token(), data.source(), noted.sink() ) ) << room;
        EXPECT_LE( data.given, room + 2 * 0x100000 ) << room;
    }
    std::string header = packed( golden::token(), "" );
    for( size_t room : { (size_t)0, (size_t)3000000 } )
    {
        Noted   noted{ .room = room };
        Endless bundle{ .bytes = header };
        EXPECT_FALSE( unpack( bundle.source(), noted.sink() ) ) << room;
        EXPECT_LE( bundle.given, header.size() + room + 2 * 0x100000 ) << room;
    }
}

TEST_F( CryTrustBundle, AFlushThatFailsFails )
{
    Noted noted{ .failToFlush = true };
    EXPECT_FALSE( pack( golden::token(), source( "data", 1 ), noted.sink() ) );
    noted = { .failToFlush = true };
    EXPECT_FALSE( unpack( source( packed( golden::token(), "data" ), 1 ), noted.sink() ) );
    EXPECT_EQ( noted.bytes, "data" );
}

// A header that could not be read is not written.
TEST_F( CryTrustBundle, ATokenThatIsTooDeepIsNotPacked )
{
    Token tok = golden::token();
    cryTrustTokenSetMetaData( tok.handle(), nestedStore( 10000 ).get() );
    Noted noted;
    EXPECT_FALSE( pack( tok, source( "data", 1 ), noted.sink() ) );
    EXPECT_EQ( noted.bytes, "" );
    pb::Ref<PB_BUFFER> out = buf( "mine" );
    EXPECT_FALSE( cryTrustBundleTryPackWithBuffer( tok.get(), buf( "data" ).get(), out.handle() ) );
    EXPECT_EQ( bytes( out ), "mine" );
}

TEST_F( CryTrustBundle, OtherStreamsAreRefused )
{
    std::string good = packed( golden::token(), "data" );
    for( size_t length = 0; length < good.size() - 4; length += length < 20 ? 1 : 97 )
        expectRefused( good.substr( 0, length ), "cut at " + std::to_string( length ) );
    expectRefused( good.substr( 0, good.size() - 5 ), "cut before the last byte of the header" );
    for( size_t at = 0; at < 8; at++ )
    {
        std::string other = good;
        other[at]         = (char)( other[at] ^ 0x20 );
        expectRefused( other, "another mark at " + std::to_string( at ) );
    }
    for( const char *type : { "", "CRY_TRUST_BUNDL", "CRY_TRUST_BUNDLES", "cry_trust_bundle", " CRY_TRUST_BUNDLE", "CRY_TRUST_BUNDLE\\u0000" } )
        expectRefused( stream( std::string( "{\"type\":\"" ) + type + "\",\"store\":{\"token\":{}}}", "body" ), type );
    for( const char *header : { "", "{}", "[]", "null", "{\"store\":{\"token\":{}}}", "{\"type\":1,\"store\":{\"token\":{}}}",
             "{\"type\":\"CRY_TRUST_BUNDLE\"}", "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{}}", "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":[{}]}",
             "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{\"Token\":{}}}", "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":\"token\"}",
             "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{\"token\":{},\"token\":{}}}", "{\"type\":\"CRY_TRUST_BUNDLE\",\"store\":{\"token\":{}}" } )
        expectRefused( stream( header, "body" ), header );
    for( const char *token : { "null", "1", "true", "\"x\"", "\"{}\"" } )
        expectRefused( streamWith( token ), token );
}

TEST_F( CryTrustBundle, ATokenOfWrongKindsIsAnEmptyOne )
{
    for( const char *json :
        { "{}", "[]", "{\"certificate\":\"x\",\"extraCertificates\":1,\"time\":{},\"metaData\":\"x\",\"hashAlgorithm\":[],\"signature\":true}" } )
    {
        std::string data;
        Token       tok = unpacked( streamWith( json ), data );
        ASSERT_TRUE( tok ) << json;
        EXPECT_EQ( jsonOf( tok ), jsonOf( pb::adopt( cryTrustTokenCreate() ) ) ) << json;
        EXPECT_EQ( data, "body" );
        EXPECT_FALSE( cryTrustTokenTryVerifyWithBuffer( tok.get(), buf( data ).get() ) );
    }
}

TEST_F( CryTrustBundle, StoresThatAreTooDeepAreRefused )
{
    for( int depth : { 200, 10000, 1000000 } )
    {
        std::string arrays = std::string( (size_t)depth, '[' ) + std::string( (size_t)depth, ']' ), keyed;
        for( int level = 0; level < depth; level++ )
            keyed += "{\"metaData\":";
        expectRefused( streamWith( "{\"metaData\":" + arrays + "}" ), "arrays" );
        expectRefused( streamWith( keyed + "{}" + std::string( (size_t)depth, '}' ) ), "keyed" );
        expectRefused( streamWith( std::string( (size_t)depth, '[' ) ), "open" );
    }
}

// The length that a header claims takes no memory, and nothing is read for a length that is not
// allowed.
TEST_F( CryTrustBundle, ALongHeaderIsRefusedWithoutReadingIt )
{
    for( size_t length : { (size_t)0xFFFFFFFF, (size_t)0x80000000, (size_t)0x7FFFFFFF, (size_t)PB_HEADER_BYTES_MAX + 1 } )
    {
        Endless endless{ .bytes = mark + bigEndian( length ) + "{" };
        Noted   noted;
        EXPECT_FALSE( unpack( endless.source(), noted.sink() ) ) << length;
        EXPECT_EQ( endless.given, 12u ) << length;
        EXPECT_EQ( noted.writes + noted.flushes, 0 ) << length;
        expectRefused( endless.bytes, "claims " + std::to_string( length ) );
    }
    // Not more than the header is read.
    Endless endless{ .bytes = mark + bigEndian( (size_t)PB_HEADER_BYTES_MAX ) + "{\"type\":\"CRY_TRUST_BUNDLE\"" };
    Noted   noted;
    EXPECT_FALSE( unpack( endless.source(), noted.sink() ) );
    EXPECT_EQ( endless.given, 12 + (size_t)PB_HEADER_BYTES_MAX );
    EXPECT_EQ( noted.writes + noted.flushes, 0 );
    expectRefused( mark + bigEndian( (size_t)PB_HEADER_BYTES_MAX ) + "{", "the longest, cut" );
}
