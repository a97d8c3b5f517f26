#include "stores/pb_store_codec.hpp"

#include "base/pb_sip_hash.hpp"
#include "pb/watching_allocator.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <pb/stored.hpp>
#include <random>

using namespace support;

namespace
{

std::string encoded( PB_STORE *store, PB_STORE_HEADER *header = nullptr ) { return bytes( pb::adopt( pbStoreEncode( store, header ) ) ); }
std::string encoded( const pb::Ref<PB_STORE> &store ) { return encoded( store.get() ); }

pb::Ref<PB_STORE> decoded( std::string_view text ) { return pb::adopt( pbStoreTryDecode( buf( text ).get(), nullptr ) ); }

// The store of a text written again; "(null)" if the text is refused.
std::string rewritten( std::string_view text )
{
    pb::Ref<PB_STORE> store = decoded( text );
    return store ? encoded( store ) : "(null)";
}

pb::Ref<PB_STORE> nested( int depth )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    for( int level = 1; level < depth; level++ )
    {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( outer.handle(), store.get() );
        store = outer;
    }
    return store;
}

std::string brackets( size_t depth ) { return std::string( depth, '[' ) + std::string( depth, ']' ); }

using Random = std::mt19937;

std::string randomText( Random &random )
{
    static const std::string pieces[] = { "a", "plain", "\"", "\\", "/", "\n", "\t", "\r", "\b", "\f", std::string( 1, 0 ), "\x01", "\x1F", "\x7F",
        "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x94\x91", "\xE2\x80\xA8", "\xEF\xBF\xBD", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\\u0041" };
    std::string              text;
    for( size_t count = random() % 6; count; count-- )
        text += pieces[random() % std::size( pieces )];
    return text;
}

PB_INT randomNumber( Random &random )
{
    static constexpr PB_INT edges[] = { 0, -1, 9, 10, PB_INT_MAX, PB_INT_MIN, PB_INT_MAX - 1 };
    return random() % 2 ? edges[random() % std::size( edges )] : (PB_INT)random() - 2147483648;
}

pb::Ref<PB_STORE> randomStore( Random &random, int depth )
{
    bool              array = random() % 2;
    pb::Ref<PB_STORE> store = pb::adopt( array ? pbStoreCreateArray() : pbStoreCreate() );
    for( size_t count = random() % 5; count; count-- )
    {
        std::string key    = randomText( random );
        PB_INT      length = (PB_INT)key.size();
        switch( random() % ( depth ? 6 : 4 ) )
        {
        case 0:
            array ? pbStoreAppendValueNull( store.handle() ) : pbStoreSetValueNullCstr( store.handle(), key.data(), length );
            break;
        case 1:
            array ? pbStoreAppendBoolValue( store.handle(), random() % 2 )
                  : pbStoreSetBoolValueCstr( store.handle(), key.data(), length, random() % 2 );
            break;
        case 2:
            array ? pbStoreAppendIntValue( store.handle(), randomNumber( random ) )
                  : pbStoreSetIntValueCstr( store.handle(), key.data(), length, randomNumber( random ) );
            break;
        case 3: {
            pb::Ref<PB_STRING> value = str( randomText( random ) );
            array ? pbStoreAppendValue( store.handle(), value.get() ) : pbStoreSetValueCstr( store.handle(), key.data(), length, value.get() );
            break;
        }
        default: {
            pb::Ref<PB_STORE> value = randomStore( random, depth - 1 );
            array ? pbStoreAppendStore( store.handle(), value.get() ) : pbStoreSetStoreCstr( store.handle(), key.data(), length, value.get() );
        }
        }
    }
    return store;
}

pb::Ref<PB_STORE_HEADER> sampleHeader()
{
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    pbStoreHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
    pbStoreHeaderSetInfo( header.handle(), decoded( "{\"created\":\"now\"}" ).get() );
    return header;
}

}

TEST( PbStoreCodec, WritesIndentedLines )
{
    pb::Ref<PB_STORE> inner = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendIntValue( inner.handle(), -7 );
    pbStoreAppendStore( inner.handle(), pb::adopt( pbStoreCreateArray() ).get() );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( store.handle(), "text", -1, str( "\xC3\xA4 \" \\ / \n \x01 \x7F" ).get() );
    pbStoreSetBoolValueCstr( store.handle(), "yes", -1, PB_TRUE );
    pbStoreSetBoolValueCstr( store.handle(), "no", -1, PB_FALSE );
    pbStoreSetValueNullCstr( store.handle(), "", -1 );
    pbStoreSetStoreCstr( store.handle(), "list", -1, inner.get() );
    pbStoreSetStoreCstr( store.handle(), "none", -1, pb::adopt( pbStoreCreate() ).get() );
    EXPECT_EQ( encoded( store ),
        "{\n  \"text\": \"\xC3\xA4 \\\" \\\\ / \\n \\u0001 \x7F\",\n  \"yes\": true,\n  \"no\": false,\n  \"\": null,\n"
        "  \"list\": [\n    -7,\n    []\n  ],\n  \"none\": {}\n}\n" );
    EXPECT_EQ( encoded( pb::adopt( pbStoreCreate() ) ), "{}\n" );
    EXPECT_EQ( encoded( pb::adopt( pbStoreCreateArray() ) ), "[]\n" );
}

TEST( PbStoreCodec, SkipsDeletedEntries )
{
    pb::Ref<PB_STORE> store = decoded( "{\"a\":1,\"b\":2,\"c\":3}" );
    pbStoreDelCstr( store.handle(), "b", -1 );
    EXPECT_EQ( encoded( store ), "{\n  \"a\": 1,\n  \"c\": 3\n}\n" );
}

// The other implementation must read the same values and would write the same text.
TEST( PbStoreCodec, WritesWhatAnotherImplementationWritesAndReadsItBack )
{
    Random random( 1 );
    for( int round = 0; round < 2000; round++ )
    {
        pb::Ref<PB_STORE> store = randomStore( random, 4 );
        std::string       text  = encoded( store );
        ASSERT_EQ( text, indentedJson( text ) + "\n" );
        pb::Ref<PB_STORE> back = decoded( text );
        ASSERT_TRUE( pbStoreEquals( back.get(), store.get() ) ) << text;
    }
}

TEST( PbStoreCodec, ReadsWhatAnotherImplementationReads )
{
    for( const std::string &text : { std::string( "{}" ), std::string( "[]" ), std::string( " \t\r\n[ \t\r\n] \t\r\n" ),
             std::string( "{ \"a\" : 1 , \"b\" : [ ] }" ), std::string( "[1,-1,0,9223372036854775807,-9223372036854775808]" ),
             std::string( "[true,false,null]" ), std::string( "[[],{},[[]],{\"a\":{}}]" ), std::string( "[\"\",\"\xC3\xA4\",\"\xF0\x9F\x94\x91\"]" ),
             std::string( "[\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"]" ), std::string( "[\"\\u0041\\u00e4\\u00E4\\u20AC\\ud83d\\udd11\\uDBFF\\uDFFF\"]" ),
             std::string( "[\"\\u0000\\u001f\\u007f\\uFFFF\\uD7FF\\uE000\"]" ), std::string( "{\"\\u0061\\n\":1,\"\":2}" ),
             std::string( "[\"\x7F\"]" ), std::string( "{\"header\":1,\"store\":{}}" ) } )
        EXPECT_EQ( rewritten( text ), indentedJson( text ) + "\n" ) << text;
    EXPECT_EQ( rewritten( "[-0]" ), "[\n  0\n]\n" );
}

TEST( PbStoreCodec, RefusesWhatIsNotAStore )
{
    for( const std::string &text : { std::string(), std::string( " " ), std::string( "1" ), std::string( "\"a\"" ), std::string( "true" ),
             std::string( "null" ), std::string( "[" ), std::string( "]" ), std::string( "{" ), std::string( "}" ), std::string( "[}" ),
             std::string( "{]" ), std::string( "[]]" ), std::string( "[] []" ), std::string( "[],[]" ), std::string( "[]x" ),
             std::string( "[]\0", 3 ), std::string( "\xEF\xBB\xBF[]" ), std::string( "[,]" ), std::string( "[1,]" ), std::string( "[,1]" ),
             std::string( "[1 2]" ), std::string( "[1,,2]" ), std::string( "[1" ), std::string( "[1," ), std::string( "{,}" ),
             std::string( "{\"a\"}" ), std::string( "{\"a\":}" ), std::string( "{\"a\":1,}" ), std::string( "{\"a\" 1}" ), std::string( "{a:1}" ),
             std::string( "{1:1}" ), std::string( "{\"a\":1 \"b\":2}" ), std::string( "{\"a\":1:2}" ), std::string( "[\"a\":1]" ),
             std::string( "{\"a\":1" ), std::string( "{\"a\"" ), std::string( "{\"a" ), std::string( "['a']" ), std::string( "[tru]" ),
             std::string( "[True]" ), std::string( "[truee]" ), std::string( "[nul]" ), std::string( "[NaN]" ), std::string( "[Infinity]" ),
             std::string( "[-]" ), std::string( "[+1]" ), std::string( "[01]" ), std::string( "[-01]" ), std::string( "[00]" ),
             std::string( "[1.0]" ), std::string( "[1.]" ), std::string( "[.1]" ), std::string( "[1e2]" ), std::string( "[1E2]" ),
             std::string( "[0e0]" ), std::string( "[0x1]" ), std::string( "[1-]" ), std::string( "[--1]" ), std::string( "[9223372036854775808]" ),
             std::string( "[-9223372036854775809]" ), std::string( "[18446744073709551616]" ), std::string( "[\v]" ), std::string( "[\xC2\xA0]" ),
             std::string( "[//\n]" ), std::string( "[/**/]" ) } )
        EXPECT_EQ( rewritten( text ), "(null)" ) << text;
}

TEST( PbStoreCodec, RefusesStringsThatAreNotWhole )
{
    for( const std::string &inner : { std::string( "\n" ), std::string( "\0", 1 ), std::string( "\x1F" ), std::string( "\\" ), std::string( "\\a" ),
             std::string( "\\0" ), std::string( "\\x41" ), std::string( "\\U0041" ), std::string( "\\'" ), std::string( "\\\0", 2 ),
             std::string( "\\\n" ), std::string( "\\u" ), std::string( "\\u004" ), std::string( "\\u00g1" ), std::string( "\\u+041" ),
             std::string( "\\u 041" ), std::string( "\\ud800" ), std::string( "\\udc00" ), std::string( "\\ud800x" ), std::string( "\\ud800\\n" ),
             std::string( "\\ud800\\u0041" ), std::string( "\\ud800\\ud800" ), std::string( "\\udc00\\ud800" ), std::string( "\\ud800\\udc0" ),
             std::string( "\\ud83d\\\\udd11" ), std::string( "\xFF" ), std::string( "\xC3" ), std::string( "\x80" ), std::string( "\xC0\x80" ),
             std::string( "\xED\xA0\x80" ), std::string( "\xF4\x90\x80\x80" ), std::string( "\xE2\x82" ), std::string( "\\\xC3\xA4" ),
             std::string( "\xC3\\n\xA4" ) } )
    {
        EXPECT_EQ( rewritten( "[\"" + inner + "\"]" ), "(null)" ) << inner;
        EXPECT_EQ( rewritten( "{\"" + inner + "\":1}" ), "(null)" ) << inner;
    }
}

TEST( PbStoreCodec, RefusesAKeyThatComesTwice )
{
    EXPECT_EQ( rewritten( "{\"a\":1,\"a\":1}" ), "(null)" );
    EXPECT_EQ( rewritten( "{\"a\":1,\"b\":2,\"\\u0061\":3}" ), "(null)" );
    EXPECT_EQ( rewritten( "{\"a\":{},\"a\":{}}" ), "(null)" );
    EXPECT_EQ( rewritten( "{\"\":[],\"\":null}" ), "(null)" );
    EXPECT_EQ( rewritten( "[{\"a\":\"x\",\"a\":\"x\"}]" ), "(null)" );
    EXPECT_NE( rewritten( "[{\"a\":{\"a\":1}},{\"a\":1,\"A\":1}]" ), "(null)" );
    // The first member is found again behind very many others.
    std::string text = "{\"key 0\":0";
    for( int number = 1; number < 100000; number++ )
        text += ",\"key " + std::to_string( number ) + "\":0";
    EXPECT_EQ( pbStoreLength( decoded( text + "}" ).get() ), 100000 );
    EXPECT_FALSE( decoded( text + ",\"key 0\":0}" ) );
}

TEST( PbStoreCodec, RefusesEveryTextThatWasCutOff )
{
    std::string text = encoded( decoded( "{\"a\":[1,\"\\u00e4\\ud83d\\udd11\",true,null],\"b\":{\"c\":-12}}" ).get(), sampleHeader().get() );
    text.pop_back(); // the last line end is not needed
    EXPECT_TRUE( decoded( text ) );
    for( size_t length = 0; length < text.size(); length++ )
        EXPECT_FALSE( decoded( text.substr( 0, length ) ) ) << length;
}

TEST( PbStoreCodec, ReadsUpToTheBounds )
{
    EXPECT_TRUE( decoded( brackets( 128 ) ) );
    EXPECT_FALSE( decoded( brackets( 129 ) ) );
    EXPECT_FALSE( decoded( std::string( 1000000, '[' ) ) );
    EXPECT_TRUE( pb::adopt( pbStoreTryEncode( nested( 128 ).get(), nullptr ) ) );
    EXPECT_FALSE( pb::adopt( pbStoreTryEncode( nested( 129 ).get(), nullptr ) ) );
    // A header adds a store.
    EXPECT_TRUE( pb::adopt( pbStoreTryEncode( nested( 127 ).get(), sampleHeader().get() ) ) );
    EXPECT_FALSE( pb::adopt( pbStoreTryEncode( nested( 128 ).get(), sampleHeader().get() ) ) );

    std::string text = encoded( decoded( "{\"a\":[1,2],\"b\":[],\"c\":{\"d\":null}}" ) );
    PB_INT      size = (PB_INT)text.size();
    struct
    {
        pb::StoreBounds bounds;
        bool            fits;
    } cases[] = { { { size, 6, 2 }, true }, { { size - 1, 6, 2 }, false }, { { size, 5, 2 }, false }, { { size, 6, 1 }, false } };
    for( const auto &each : cases )
    {
        EXPECT_EQ( (bool)pb::adopt( pb::tryDecodeStore( buf( text ).get(), nullptr, each.bounds ) ), each.fits );
        EXPECT_EQ( (bool)pb::adopt( pb::encodeStore( decoded( text ).get(), nullptr, &each.bounds ) ), each.fits );
    }
    EXPECT_EQ( pb::storeBounds.bytes, 1073741824 );
    EXPECT_EQ( pb::storeBounds.entries, 16000000 );
    EXPECT_EQ( pb::storeBounds.depth, 128 );
}

TEST( PbStoreCodec, WritesStoresOfAnyDepth )
{
    std::string text = encoded( nested( 50000 ) );
    EXPECT_EQ( std::count( text.begin(), text.end(), '[' ), 50000 );
    EXPECT_LT( text.size(), 50000u * 2 * ( 256 + 4 ) );
    EXPECT_FALSE( decoded( text ) );
}

TEST( PbStoreCodec, CarriesAHeader )
{
    pb::Ref<PB_STORE> store = decoded( "[1]" );
    std::string       text  = encoded( store.get(), sampleHeader().get() );
    EXPECT_EQ( text,
        "{\n  \"header\": {\n    \"type\": \"TYPE\",\n    \"moduleVersion\": \"0.2\",\n    \"info\": {\n      \"created\": \"now\"\n"
        "    }\n  },\n  \"store\": [\n    1\n  ]\n}\n" );
    pb::Ref<PB_STORE_HEADER> header;
    EXPECT_TRUE( pbStoreEquals( pb::adopt( pbStoreTryDecode( buf( text ).get(), header.handle() ) ).get(), store.get() ) );
    EXPECT_TRUE( pbStoreHeaderEquals( header.get(), sampleHeader().get() ) );
    // Who does not ask for the header gets the same store.
    EXPECT_TRUE( pbStoreEquals( decoded( text ).get(), store.get() ) );
}

TEST( PbStoreCodec, TakesAHeaderWithMoreThanItKnows )
{
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode(
        buf( "{\"header\":{\"later\":[],\"info\":1,\"moduleVersion\":2,\"type\":\"T\"},\"store\":{\"a\":1}}" ).get(), header.handle() ) );
    EXPECT_EQ( encoded( store ), "{\n  \"a\": 1\n}\n" );
    ASSERT_TRUE( header );
    EXPECT_TRUE( pbStoreHeaderIsTypeCstr( header.get(), "T", -1 ) );
    EXPECT_FALSE( pb::adopt( pbStoreHeaderModuleVersion( header.get() ) ) );
    EXPECT_FALSE( pb::adopt( pbStoreHeaderInfo( header.get() ) ) );
}

TEST( PbStoreCodec, TakesEveryOtherDocumentAsAStore )
{
    for( const char *text : { "{}", "[]", "{\"header\":{\"type\":\"T\"}}", "{\"store\":{}}", "{\"store\":{},\"header\":{\"type\":\"T\"}}",
             "{\"header\":{\"type\":\"T\"},\"store\":{},\"more\":1}", "{\"header\":{\"type\":\"T\"},\"store\":1}",
             "{\"header\":{\"type\":\"T\"},\"store\":\"{}\"}", "{\"header\":{\"type\":1},\"store\":{}}", "{\"header\":{},\"store\":{}}",
             "{\"header\":[],\"store\":{}}", "{\"header\":\"T\",\"store\":{}}", "[{\"type\":\"T\"},{}]" } )
    {
        // The old value is overwritten, not released.
        pb::Ref<PB_STORE_HEADER> old    = sampleHeader();
        PB_STORE_HEADER         *header = old.get();
        pb::Ref<PB_STORE>        store  = pb::adopt( pbStoreTryDecode( buf( text ).get(), &header ) );
        EXPECT_EQ( header, nullptr ) << text;
        EXPECT_EQ( encoded( store ), indentedJson( text ) + "\n" );
    }
    pb::Ref<PB_STORE_HEADER> old    = sampleHeader();
    PB_STORE_HEADER         *header = old.get();
    EXPECT_FALSE( pb::adopt( pbStoreTryDecode( buf( "{\"header\":{\"type\":\"T\"},\"store\":{}" ).get(), &header ) ) );
    EXPECT_EQ( header, nullptr );
}

TEST( PbStoreCodec, GivesASensitiveTextForASensitiveString )
{
    pb::Ref<PB_STRING> secret = str( "secret" );
    pbStringSetSensitive( secret.handle() );
    auto sensitive = []( PB_STORE *store, PB_STORE_HEADER *header ) {
        return (bool)pbBufferSensitive( pb::adopt( pbStoreEncode( store, header ) ).get() );
    };
    pb::Ref<PB_STORE> plain = decoded( "[[\"a\"]]" );
    EXPECT_FALSE( sensitive( plain.get(), sampleHeader().get() ) );
    pb::Ref<PB_STORE> inner = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( inner.handle(), "deep", -1, secret.get() );
    pb::Ref<PB_STORE> store = plain;
    pbStoreAppendStore( store.handle(), inner.get() );
    EXPECT_TRUE( sensitive( store.get(), nullptr ) );
    pb::Ref<PB_STORE_HEADER> header = sampleHeader();
    pbStoreHeaderSetInfo( header.handle(), inner.get() );
    EXPECT_TRUE( sensitive( plain.get(), header.get() ) );
}

TEST( PbStoreCodec, MarksAllStringsOfASensitiveText )
{
    pb::Ref<PB_BUFFER> text = buf( "{\"header\":{\"type\":\"T\"},\"store\":{\"key\":[\"plain\",\"esc\\u0061ped\"]}}" );
    for( bool sensitive : { false, true } )
    {
        if( sensitive )
            pbBufferSetSensitive( text.handle() );
        pb::Ref<PB_STORE_HEADER> header;
        pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode( text.get(), header.handle() ) );
        pb::Ref<PB_STORE>        list  = pb::adopt( pbStoreStoreCstr( store.get(), "key", -1 ) );
        EXPECT_EQ( pbStringSensitive( pb::adopt( pbStoreHeaderType( header.get() ) ).get() ), sensitive );
        EXPECT_EQ( pbStringSensitive( pb::adopt( pbStoreKeyAt( store.get(), 0 ) ).get() ), sensitive );
        EXPECT_EQ( pbStringSensitive( pb::adopt( pbStoreValueAt( list.get(), 0 ) ).get() ), sensitive );
        EXPECT_EQ( pbStringSensitive( pb::adopt( pbStoreValueAt( list.get(), 1 ) ).get() ), sensitive );
        EXPECT_EQ( pbBufferSensitive( pb::adopt( pbStoreEncode( store.get(), nullptr ) ).get() ), sensitive );
    }
}

// Published with the algorithm: the key is 00 01 … 0f, and the text is the first bytes of the same.
TEST( PbStoreCodec, HashesKeysAsPublished )
{
    static constexpr pb::SipKey key = { 0x0706050403020100, 0x0f0e0d0c0b0a0908 };
    std::string                 text;
    EXPECT_EQ( pb::sipHash( key, text ), 0x726fdb47dd0e0e31u );
    while( text.size() < 15 )
        text += (char)text.size();
    EXPECT_EQ( pb::sipHash( key, text ), 0xa129ca6149be45e5u );
}

using PbStoreCodecWatched = WatchedMemory;

TEST_F( PbStoreCodecWatched, LeavesNoSecretBehind )
{
    std::string secret = "-----BEGIN\nMIIEvQIBADANBgkq/hkiG9w0BAQ\"EFAASCBKcwggSj\\AgEAAoIBAQC7VJTUt9Us8cKj\n";
    secret += secret + secret;
    std::string large( 6000, 'x' );
    std::string text;
    {
        pb::Ref<PB_STRING> value = str( secret ), filler = str( large );
        pbStringSetSensitive( value.handle() );
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendValue( store.handle(), value.get() );
        pbStoreAppendValue( store.handle(), filler.get() );
        text = encoded( store );
    }
    // From now on, these pieces must not be in freed memory, escaped or not.
    WatchingAllocator::watchFor( { "MIIEvQIBADANBgkq/hkiG9w0BAQ", "EFAASCBKcwggSj", "AgEAAoIBAQC7VJTUt9Us8cKj" } );
    {
        PB_BYTE           *memory;
        pb::Ref<PB_BUFFER> buffer = pb::adopt( pb___BufferCreateLength( (PB_INT)text.size(), &memory ) );
        std::memcpy( memory, text.data(), text.size() );
        pbBufferSetSensitive( buffer.handle() );
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreTryDecode( buffer.get(), nullptr ) );
        ASSERT_TRUE( store );
        pb::Ref<PB_BUFFER> again = pb::adopt( pbStoreEncode( store.get(), pb::adopt( pbStoreHeaderCreateCstr( "T", -1 ) ).get() ) );
        EXPECT_TRUE( pbBufferSensitive( again.get() ) );
    }
    EXPECT_EQ( leaks(), 0 );
    // Texts that are refused in the middle or behind the secret.
    size_t end = text.find( "Us8cKj" );
    for( const std::string &broken : { text.substr( 0, end ), text.substr( 0, end ) + "\n\"]", text.substr( 0, end ) + "\\x\"]",
             text.substr( 0, end ) + "\xFF\"]", text + "x", text.substr( 0, text.size() - 2 ) + ",\n1.5]" } )
    {
        PB_BYTE           *memory;
        pb::Ref<PB_BUFFER> buffer = pb::adopt( pb___BufferCreateLength( (PB_INT)broken.size(), &memory ) );
        std::memcpy( memory, broken.data(), broken.size() );
        pbBufferSetSensitive( buffer.handle() );
        EXPECT_FALSE( pb::adopt( pbStoreTryDecode( buffer.get(), nullptr ) ) );
        buffer = {};
        EXPECT_EQ( leaks(), 0 );
    }
    // The watch itself works: a store that is not sensitive leaves the text behind.
    {
        PB_BYTE           *memory;
        pb::Ref<PB_BUFFER> buffer = pb::adopt( pb___BufferCreateLength( (PB_INT)text.size(), &memory ) );
        std::memcpy( memory, text.data(), text.size() );
        pb::adopt( pbStoreTryDecode( buffer.get(), nullptr ) );
    }
    EXPECT_GT( leaks(), 0 );
}
