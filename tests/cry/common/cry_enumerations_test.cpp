// Every enumeration and flag set of the module.
#include <cry/cry.h>

#include "support/enumerations.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

class CryEnumerations : public testing::TestWithParam<Enumeration>
{
};

class CryFlagSets : public testing::TestWithParam<FlagSet>
{
protected:
    std::string toText( PB_INT flags ) { return text( pb::adopt( GetParam().toString( flags ) ) ); }
    PB_INT      fromText( std::string_view text ) { return GetParam().fromString( str( text ).get() ); }
};

std::vector<Enumeration> namedEnumerations()
{
    std::vector<Enumeration> named;
    for( const Enumeration &each : enumerations() )
    {
        if( !each.names.empty() )
            named.push_back( each );
    }
    return named;
}

auto typeOf = []( const auto &info ) { return std::string( info.param.name ); };

INSTANTIATE_TEST_SUITE_P( Each, CryEnumerations, testing::ValuesIn( namedEnumerations() ), typeOf );
INSTANTIATE_TEST_SUITE_P( Each, CryFlagSets, testing::ValuesIn( flagSets() ), typeOf );

}

TEST_P( CryEnumerations, EveryValueHasItsNameAndEveryNameItsValue )
{
    EXPECT_EQ( (PB_INT)GetParam().names.size(), GetParam().count );
    for( size_t value = 0; value < GetParam().names.size(); value++ )
    {
        EXPECT_EQ( text( pb::adopt( GetParam().toString( (PB_INT)value ) ) ), GetParam().names[value] );
        EXPECT_EQ( GetParam().fromString( str( GetParam().names[value] ).get() ), (PB_INT)value );
    }
}

TEST_P( CryEnumerations, UnknownNamesGiveMinusOne )
{
    std::string name = GetParam().names[0];
    for( const std::string &unknown : { std::string(), name + " ", " " + name, name + "X", name.substr( 1 ), name.substr( 0, name.size() - 1 ),
             name + std::string( 1, 0 ), std::string( "0" ), "c" + name.substr( 1 ), std::string( "CRY" ) } )
        EXPECT_EQ( GetParam().fromString( str( unknown ).get() ), -1 ) << unknown;
}

TEST_P( CryEnumerations, NamesOfOtherEnumerationsAreUnknown )
{
    for( const Enumeration &other : namedEnumerations() )
    {
        if( other.toString == GetParam().toString )
            continue;
        EXPECT_EQ( GetParam().fromString( str( other.names[0] ).get() ), -1 ) << other.name;
    }
}

TEST_P( CryFlagSets, EveryBitHasItsNameAndEveryNameItsBit )
{
    for( size_t bit = 0; bit < GetParam().names.size(); bit++ )
    {
        EXPECT_EQ( toText( (PB_INT)1 << bit ), GetParam().names[bit] );
        EXPECT_EQ( fromText( GetParam().names[bit] ), (PB_INT)1 << bit );
    }
}

TEST_P( CryFlagSets, UndefinedBitsAreDropped )
{
    EXPECT_EQ( GetParam().normalize( -1 ), GetParam().mask() );
    EXPECT_EQ( GetParam().normalize( ~GetParam().mask() ), 0 );
    EXPECT_EQ( GetParam().normalize( GetParam().mask() + 1 ), 0 );
    EXPECT_EQ( GetParam().normalize( GetParam().mask() ), GetParam().mask() );
    EXPECT_EQ( GetParam().normalize( PB_INT_MIN ), 0 );
    EXPECT_EQ( toText( GetParam().mask() + 1 ), "" );
    EXPECT_EQ( toText( -1 ), toText( GetParam().mask() ) );
}

TEST_P( CryFlagSets, EveryCombinationComesBackFromItsText )
{
    for( PB_INT flags = 0; flags <= GetParam().mask(); flags++ )
        ASSERT_EQ( fromText( toText( flags ) ), flags );
}

TEST_P( CryFlagSets, TextNamesTheFlagsInOrderOfTheirBits )
{
    std::string all;
    for( const char *name : GetParam().names )
        all += ( all.empty() ? "" : "|" ) + std::string( name );
    EXPECT_EQ( toText( GetParam().mask() ), all );
    EXPECT_EQ( toText( 0 ), "" );
    EXPECT_EQ( toText( 5 ), std::string( GetParam().names[0] ) + "|" + GetParam().names[2] );
}

TEST_P( CryFlagSets, ParsingTakesAnyOrderTrimsAndSkipsUnknownNames )
{
    std::string first = GetParam().names[0], second = GetParam().names[1];
    EXPECT_EQ( fromText( second + "|" + first ), 3 );
    EXPECT_EQ( fromText( " " + first + "\t|  " + second + " " ), 3 );
    EXPECT_EQ( fromText( first + "|" + first ), 1 );
    EXPECT_EQ( fromText( first + "|UNKNOWN|" + second ), 3 );
    EXPECT_EQ( fromText( "||" + second + "|" ), 2 );
    EXPECT_EQ( fromText( "" ), 0 );
    EXPECT_EQ( fromText( "UNKNOWN" ), 0 );
    EXPECT_EQ( fromText( "255" ), 0 );
    EXPECT_EQ( fromText( first + "," + second ), 0 );
}

TEST_P( CryFlagSets, NamesOfOtherFlagSetsAreUnknown )
{
    for( const FlagSet &other : flagSets() )
    {
        if( other.toString == GetParam().toString )
            continue;
        EXPECT_EQ( GetParam().fromString( pb::adopt( other.toString( -1 ) ).get() ), 0 ) << other.name;
    }
}

TEST( CryEnumerationConstants, HaveTheValuesThatArePartOfTheInterface )
{
    static_assert( CRY_AES_MODE_ECB == 0 && CRY_AES_OPERATION_ENCRYPT == 0 && CRY_AES_OPERATION_DECRYPT == 1 );
    static_assert(
        CRY_HASH_ALGORITHM_MD5 == 0 && CRY_HASH_ALGORITHM_SHA1 == 1 && CRY_HASH_ALGORITHM_SHA2_256 == 3 && CRY_HASH_ALGORITHM_SHA3_512 == 9 );
    static_assert( CRY_PKEY_TYPE_RSA == 0 && CRY_PKEY_TYPE_EC == 1 );
    static_assert( CRY_UUID_VARIANT_STANDARD == 1 && CRY_UUID_VARIANT_RESERVED_FOR_FUTURE == 3 && CRY_UUID_VERSION_NAME_BASED_SHA1 == 4 );
    static_assert( CRY_X509_STACK_IDENTITY_MODE_VAULT == 2 && CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED == 2 && CRY_X509_SAN_TYPE_IP_ADDRESS == 1 );
    static_assert( CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE == 1 && CRY_X509_KEY_USAGE_DECIPHER_ONLY == 0x100 );
    static_assert( CRY_X509_EXTENDED_KEY_USAGE_NS_SGC == 0x200 && CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA == 0x40 );
    static_assert( CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS == 8 && CRY_UUID_STRING_FLAG_QUOTATION_MARK == 0x10 );
    EXPECT_EQ( cryUuidStringFlagsNormalize( 0xFF ), 0x1F );
    EXPECT_EQ( cryX509KeyUsageNormalize( 0x200 ), 0 );
}
