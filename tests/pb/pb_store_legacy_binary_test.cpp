#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>

using namespace support;

namespace
{

std::string binary( PB_STORE *store ) { return hex( bytes( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store ) ) ) ); }

// The bytes of the store of a JSON text.
std::string binary( std::string_view json )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreTryDecode( buf( json ).get(), nullptr ) );
    return store ? binary( store.get() ) : "(null)";
}

}

// The examples of RFC 8949, Appendix A, that stores can hold; numbers and texts stand in an array
// of one entry (81).
TEST( PbStoreLegacyBinary, EncodesTheExamplesOfTheRfc )
{
    struct
    {
        const char *json, *expected;
    } examples[] = { { "[0]", "8100" }, { "[1]", "8101" }, { "[10]", "810a" }, { "[23]", "8117" }, { "[24]", "811818" }, { "[25]", "811819" },
        { "[100]", "811864" }, { "[1000]", "811903e8" }, { "[1000000]", "811a000f4240" }, { "[1000000000000]", "811b000000e8d4a51000" },
        { "[-1]", "8120" }, { "[-10]", "8129" }, { "[-100]", "813863" }, { "[-1000]", "813903e7" }, { "[false]", "81f4" }, { "[true]", "81f5" },
        { "[null]", "81f6" }, { "[\"\"]", "8160" }, { "[\"a\"]", "816161" }, { "[\"IETF\"]", "816449455446" }, { "[\"\\\"\\\\\"]", "8162225c" },
        { "[\"\\u00fc\"]", "8162c3bc" }, { "[\"\\u6c34\"]", "8163e6b0b4" }, { "[\"\\ud800\\udd51\"]", "8164f0908591" }, { "[]", "80" },
        { "[1,2,3]", "83010203" }, { "[1,[2,3],[4,5]]", "8301820203820405" },
        { "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25]", "98190102030405060708090a0b0c0d0e0f101112131415161718181819" },
        { "{}", "a0" }, { "{\"a\":1,\"b\":[2,3]}", "a26161016162820203" }, { "[\"a\",{\"b\":\"c\"}]", "826161a161626163" },
        { "{\"a\":\"A\",\"b\":\"B\",\"c\":\"C\",\"d\":\"D\",\"e\":\"E\"}", "a56161614161626142616361436164614461656145" } };
    for( const auto &example : examples )
        EXPECT_EQ( binary( example.json ), example.expected ) << example.json;
}

TEST( PbStoreLegacyBinary, UsesTheShortestHeads )
{
    EXPECT_EQ( binary( "[255,256,65535,65536,4294967295,4294967296]" ), "8618ff19010019ffff1a000100001affffffff1b0000000100000000" );
    EXPECT_EQ( binary( "[-24,-25,-256,-257]" ), "8437381838ff390100" );
    EXPECT_EQ( binary( "[9223372036854775807,-9223372036854775808]" ), "821b7fffffffffffffff3b7fffffffffffffff" );
    EXPECT_EQ( binary( "[\"" + std::string( 23, 'a' ) + "\"]" ).substr( 0, 6 ), "817761" );
    EXPECT_EQ( binary( "[\"" + std::string( 24, 'a' ) + "\"]" ).substr( 0, 8 ), "81781861" );
    EXPECT_EQ( binary( "[\"" + std::string( 300, 'a' ) + "\"]" ).substr( 0, 10 ), "8179012c61" );
}

TEST( PbStoreLegacyBinary, OrdersKeysByTheirEncodedBytes )
{
    // Shorter keys come first, then the order of the bytes decides.
    EXPECT_EQ( binary( "{\"aa\":1,\"b\":2,\"\":3,\"a\":4,\"\\u00e4\":5}" ),
        "a56003616104616202626161"
        "01"
        "62c3a405" );
    // A key of 24 bytes has a longer head than one of 23.
    std::string shorter( 23, 'z' ), longer( 24, 'a' );
    EXPECT_EQ( binary( "{\"" + longer + "\":1,\"" + shorter + "\":2}" ), "a277" + hex( shorter ) + "027818" + hex( longer ) + "01" );
}

TEST( PbStoreLegacyBinary, IsTheSameInWhateverOrderTheStoreWasBuilt )
{
    std::vector<std::string> keys     = { "a", "b", "ab", "longer", "B", "\xC3\xA4" };
    std::string              expected = "";
    std::sort( keys.begin(), keys.end() );
    do
    {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreCreate() ), outer = pb::adopt( pbStoreCreate() );
        pbStoreSetIntValueCstr( inner.handle(), "gone", -1, 1 );
        for( const std::string &key : keys )
            pbStoreSetIntValueCstr( inner.handle(), key.c_str(), -1, (PB_INT)key.size() );
        pbStoreDelCstr( inner.handle(), "gone", -1 );
        for( const std::string &key : keys )
            pbStoreSetStoreCstr( outer.handle(), key.c_str(), -1, inner.get() );
        if( expected.empty() )
            expected = binary( outer.get() );
        ASSERT_EQ( binary( outer.get() ), expected );
    }
    while( std::next_permutation( keys.begin(), keys.end() ) );
    // The order in an array counts, and so does every value.
    EXPECT_NE( binary( "[1,2]" ), binary( "[2,1]" ) );
    EXPECT_NE( binary( "{\"a\":1}" ), binary( "{\"a\":\"1\"}" ) );
    EXPECT_NE( binary( "[]" ), binary( "{}" ) );
    EXPECT_NE( binary( "[false]" ), binary( "[null]" ) );
}

TEST( PbStoreLegacyBinary, EncodesStoresOfAnyDepth )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    for( int level = 1; level < 100000; level++ )
    {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( outer.handle(), store.get() );
        store = outer;
    }
    pb::Ref<PB_BUFFER> encoded = pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) );
    EXPECT_EQ( bytes( encoded ), std::string( 99999, '\x81' ) + '\x80' );
}

TEST( PbStoreLegacyBinary, KeepsTheSensitiveMark )
{
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_STRING> value = str( "secret" );
    pbStoreAppendValue( store.handle(), value.get() );
    EXPECT_FALSE( pbBufferSensitive( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) ).get() ) );
    pbStringSetSensitive( value.handle() );
    pbStoreAppendValue( store.handle(), value.get() );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) ).get() ) );
}
