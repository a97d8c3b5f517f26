#include <cry/cry_pem.h>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

pb::Ref<CRY_PEM> pemOf( std::string_view label, std::string_view data )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), str( label ).get() );
    cryPemSetData( pem.handle(), buf( data ).get() );
    return pem;
}

pb::Ref<PB_VECTOR> vectorOf( std::initializer_list<pb::Ref<CRY_PEM>> pems )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( const pb::Ref<CRY_PEM> &pem : pems )
        pbVectorAppendObj( vector.handle(), pem.obj() );
    return vector;
}

// "LABEL:data" of each block with blanks between; "(none)" for null.
std::string summary( const pb::Ref<PB_VECTOR> &pems )
{
    if( !pems )
        return "(none)";
    std::string all;
    for( PB_INT index = 0; index < pbVectorLength( pems.get() ); index++ )
    {
        CRY_PEM *pem = cryPemFrom( pb___VectorPeekObjAt( pems.get(), index ) );
        all += ( index ? " " : "" ) + text( pb::adopt( cryPemLabel( pem ) ) ) + ":" + bytes( pb::adopt( cryPemData( pem ) ) );
    }
    return all;
}

std::string decoded( std::string_view text ) { return summary( pb::adopt( cryPemVectorTryDecode( buf( text ).get() ) ) ); }

constexpr char a[] = "-----BEGIN A-----\nYWFh\n-----END A-----\n";
constexpr char b[] = "-----BEGIN B-----\nYmJi\n-----END B-----\n";

}

TEST( CryPemVector, EmptyTextIsAnEmptyVector )
{
    for( const char *text : { "", "\n", "  \r\n# only a comment\n", "\xA0\x85" } )
    {
        pb::Ref<PB_VECTOR> pems = pb::adopt( cryPemVectorTryDecode( buf( text ).get() ) );
        ASSERT_TRUE( pems );
        EXPECT_EQ( pbVectorLength( pems.get() ), 0 );
        EXPECT_FALSE( pb::adopt( cryPemTryDecode( buf( text ).get() ) ) );
    }
    pb::Ref<PB_VECTOR> pems = pb::adopt( cryPemVectorTryDecodeFromStringVector( vec( {} ).get() ) );
    ASSERT_TRUE( pems );
    EXPECT_EQ( pbVectorLength( pems.get() ), 0 );
}

TEST( CryPemVector, BlocksComeInTextOrder )
{
    std::string text = std::string( a ) + "# between\n\n" + b + a;
    EXPECT_EQ( decoded( text ), "A:aaa B:bbb A:aaa" );
    EXPECT_FALSE( pb::adopt( cryPemTryDecode( buf( text ).get() ) ) );
    EXPECT_EQ( decoded( b ), "B:bbb" );
}

TEST( CryPemVector, OneBadBlockSpoilsAll )
{
    for( const char *bad :
        { "junk\n", "-----BEGIN C-----\nYQ\n-----END C-----\n", "-----BEGIN C-----\n-----END D-----\n", "-----BEGIN C-----\n", "-----END C-----\n" } )
    {
        EXPECT_EQ( decoded( std::string( bad ) + a ), "(none)" ) << bad;
        EXPECT_EQ( decoded( std::string( a ) + bad ), "(none)" ) << bad;
        EXPECT_EQ( decoded( std::string( a ) + bad + b ), "(none)" ) << bad;
    }
}

TEST( CryPemVector, EncodesOneBlockAfterTheOther )
{
    pb::Ref<PB_VECTOR> pems = vectorOf( { pemOf( "B", "bbb" ), pemOf( "A", "aaa" ) } );
    EXPECT_EQ( bytes( pb::adopt( cryPemVectorEncode( pems.get() ) ) ),
        "-----BEGIN B-----\r\nYmJi\r\n-----END B-----\r\n-----BEGIN A-----\r\nYWFh\r\n-----END A-----\r\n" );
    EXPECT_EQ( texts( pb::adopt( cryPemVectorEncodeToStringVector( pems.get() ) ).get() ),
        ( std::vector<std::string>{ "-----BEGIN B-----", "YmJi", "-----END B-----", "-----BEGIN A-----", "YWFh", "-----END A-----" } ) );
    EXPECT_EQ( bytes( pb::adopt( cryPemVectorEncode( vectorOf( {} ).get() ) ) ), "" );
    EXPECT_EQ( pbVectorLength( pb::adopt( cryPemVectorEncodeToStringVector( vectorOf( {} ).get() ) ).get() ), 0 );
}

TEST( CryPemVector, DecodesWhatItEncodes )
{
    pb::Ref<PB_VECTOR> pems = vectorOf(
        { pemOf( "", "" ), pemOf( "PRIVATE KEY", std::string( 500, 'k' ) ), pemOf( "A B-C", std::string( 49, 0 ) ), pemOf( "", "x" ) } );
    pb::Ref<PB_BUFFER> text  = pb::adopt( cryPemVectorEncode( pems.get() ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( cryPemVectorEncodeToStringVector( pems.get() ) );
    EXPECT_TRUE( pbVectorEquals( pb::adopt( cryPemVectorTryDecode( text.get() ) ).get(), pems.get() ) );
    std::vector<std::string> before = texts( lines.get() );
    EXPECT_TRUE( pbVectorEquals( pb::adopt( cryPemVectorTryDecodeFromStringVector( lines.get() ) ).get(), pems.get() ) );
    EXPECT_EQ( texts( lines.get() ), before );
}

TEST( CryPemVector, OneSecretMarksTheWholeText )
{
    EXPECT_FALSE( pbBufferSensitive( pb::adopt( cryPemVectorEncode( vectorOf( { pemOf( "A", "a" ), pemOf( "B", "b" ) } ).get() ) ).get() ) );
    pb::Ref<PB_VECTOR> pems = vectorOf( { pemOf( "A", "a" ), pemOf( "PRIVATE KEY", "b" ), pemOf( "C", "c" ) } );
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemVectorEncode( pems.get() ) );
    EXPECT_TRUE( pbBufferSensitive( text.get() ) );
    // If the text is not marked, only the objects of its private keys have the mark.
    pb::Ref<PB_VECTOR> back = pb::adopt( cryPemVectorTryDecode( buf( bytes( text ) ).get() ) );
    for( PB_INT index = 0; index < 3; index++ )
        EXPECT_EQ( (bool)pbBufferSensitive( pb::adopt( cryPemData( cryPemFrom( pb___VectorPeekObjAt( back.get(), index ) ) ) ).get() ), index == 1 );
}

class CryPemVectorMany : public testing::TestWithParam<const char *>
{
};

TEST_P( CryPemVectorMany, ThousandsOfBlocksDecode )
{
    for( int count : { 5000, 20000 } )
    {
        std::string              end = GetParam(), text;
        std::vector<std::string> lines;
        for( int block = 0; block < count; block++ )
        {
            for( const char *line : { "-----BEGIN CERTIFICATE-----", "AQIDBAUGBwgJCgsMDQ4PEBESExQVFhcYGRobHB0eHyAhIiMkJSYnKCkqKywtLi8w",
                     "MTI=", "-----END CERTIFICATE-----" } )
            {
                text += line + end;
                lines.push_back( line );
            }
        }
        pb::Ref<PB_VECTOR> pems = pb::adopt( cryPemVectorTryDecode( buf( text ).get() ) );
        ASSERT_TRUE( pems );
        EXPECT_EQ( pbVectorLength( pems.get() ), count );
        pb::Ref<PB_VECTOR> byLines = pb::adopt( cryPemVectorTryDecodeFromStringVector( vec( lines ).get() ) );
        EXPECT_TRUE( pbVectorEquals( pems.get(), byLines.get() ) );
    }
}

TEST_P( CryPemVectorMany, MillionEmptyLinesDecode )
{
    std::string text;
    for( int line = 0; line < 1000000; line++ )
        text += GetParam();
    EXPECT_EQ( decoded( text + a ), "A:aaa" );
}

INSTANTIATE_TEST_SUITE_P( LineEnds, CryPemVectorMany, testing::Values( "\n", "\r\n", "\r", "\x85", "\x85\r" ) );
