#include "support/text.hpp"

#include <gtest/gtest.h>
#include <set>

using namespace support;

static pb::Ref<PB_IDENTIFIER> ident( std::string_view name ) { return pb::adopt( pbIdentifierTryCreateFromString( str( name ).get() ) ); }

static std::string textOf( const pb::Ref<PB_IDENTIFIER> &identifier )
{
    return identifier ? text( pb::adopt( pbIdentifierToString( identifier.get() ) ) ) : "(null)";
}

TEST( PbIdentifier, HasTheTextThatItWasMadeFrom )
{
    for( const std::string &name : { std::string( "a" ), std::string( "Z" ), std::string( "0" ), std::string( "_" ), std::string( "a.b-c_D9" ),
             std::string( "x." ), std::string( "x-" ), std::string( "_." ), std::string( 255, 'q' ) } )
    {
        EXPECT_EQ( textOf( ident( name ) ), name );
        EXPECT_EQ( textOf( pb::adopt( pbIdentifierTryCreateFromCstr( name.c_str(), -1 ) ) ), name );
        EXPECT_EQ( textOf( pb::adopt( pbIdentifierTryCreateFromCstr( ( name + "?" ).c_str(), (PB_INT)name.size() ) ) ), name );
    }
}

TEST( PbIdentifier, TakesNoOtherText )
{
    for( const std::string &name : { std::string(), std::string( ".a" ), std::string( "-a" ), std::string( "." ), std::string( "a b" ),
             std::string( "a/b" ), std::string( "a\n" ), std::string( "a\0b", 3 ), std::string( "\xC3\xA4" ), std::string( "a\xFF" ),
             std::string( "a:b" ), std::string( "@" ), std::string( "[" ), std::string( "`" ), std::string( "{" ), std::string( 256, 'q' ) } )
    {
        EXPECT_FALSE( ident( name ) ) << name;
        EXPECT_FALSE( pb::adopt( pbIdentifierTryCreateFromCstr( name.c_str(), (PB_INT)name.size() ) ) ) << name;
    }
}

TEST( PbIdentifier, MakesRandomOnes )
{
    std::set<std::string> seen;
    for( int round = 0; round < 100; round++ )
    {
        std::string name = textOf( pb::adopt( pbIdentifierCreate() ) );
        EXPECT_EQ( name.size(), 32u );
        EXPECT_EQ( name.find_first_not_of( "0123456789abcdef" ), name.npos ) << name;
        EXPECT_EQ( textOf( ident( name ) ), name );
        seen.insert( name );
    }
    EXPECT_EQ( seen.size(), 100u );
}

TEST( PbIdentifier, IsComparedByItsText )
{
    EXPECT_TRUE( pbIdentifierEquals( ident( "a" ).get(), ident( "a" ).get() ) );
    EXPECT_FALSE( pbIdentifierEquals( ident( "a" ).get(), ident( "A" ).get() ) );
    EXPECT_LT( pbIdentifierCompare( ident( "A" ).get(), ident( "a" ).get() ), 0 );
    EXPECT_LT( pbIdentifierCompare( ident( "a" ).get(), ident( "ab" ).get() ), 0 );
    EXPECT_GT( pbIdentifierCompare( ident( "b" ).get(), ident( "ab" ).get() ), 0 );
}

TEST( PbIdentifier, KeepsItsTextAndItsMarkWhenTheStringIsEdited )
{
    pb::Ref<PB_STRING> name = str( "name" );
    pbStringSetSensitive( name.handle() );
    pb::Ref<PB_IDENTIFIER> identifier = pb::adopt( pbIdentifierTryCreateFromString( name.get() ) );
    pbStringAppendChar( name.handle(), '/' );
    EXPECT_EQ( textOf( identifier ), "name" );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbIdentifierToString( identifier.get() ) ).get() ) );
}

TEST( PbIdentifier, IsAKeyOfADictionary )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    pbDictSetIdentifierKey( dict.handle(), ident( "b" ).get(), str( "one" ).obj() );
    pbDictSetIdentifierKey( dict.handle(), ident( "a" ).get(), str( "two" ).obj() );
    pbDictSetIdentifierKey( dict.handle(), ident( "b" ).get(), str( "three" ).obj() );
    EXPECT_EQ( pbDictLength( dict.get() ), 2 );
    EXPECT_EQ( texts( pb::adopt( pbDictValuesVector( dict.get() ) ).get() ), ( std::vector<std::string>{ "two", "three" } ) );
    EXPECT_TRUE( pbDictHasIdentifierKey( dict.get(), ident( "a" ).get() ) );
    // A string with the same text is another key.
    EXPECT_FALSE( pbDictHasStringKey( dict.get(), str( "a" ).get() ) );
    EXPECT_EQ( text( pbStringFrom( pb::adopt( pbDictIdentifierKey( dict.get(), ident( "b" ).get() ) ).get() ) ), "three" );

    pb::Ref<PB_DICT> other = dict;
    pbDictDelIdentifierKey( dict.handle(), ident( "b" ).get() );
    pbDictDelIdentifierKey( dict.handle(), ident( "c" ).get() );
    EXPECT_FALSE( pb::adopt( pbDictIdentifierKey( dict.get(), ident( "b" ).get() ) ) );
    EXPECT_TRUE( pbDictHasIdentifierKey( other.get(), ident( "b" ).get() ) );
    EXPECT_FALSE( pb::adopt( pbDictIdentifierKey( nullptr, ident( "b" ).get() ) ) );
    EXPECT_FALSE( pbDictHasIdentifierKey( nullptr, ident( "b" ).get() ) );
}
