#include "base/cry_pem_lines.hpp"

#include <cry/cry_pem.h>
#include <rfc/rfc.h>

#include "rfc_base64.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;
using cry::pem::Damage;
using cry::pem::Outcome;
using cry::pem::TextLines;

namespace
{

// Keeps the text that readLines gives.
struct Parts
{
    std::string labelText, body;

    void label( std::string_view text ) { labelText = text; }
    bool isLabel( std::string_view text ) const { return text == labelText; }
    void line( std::string_view text, PB_INT ) { body += text; }
};

// Compares the reading of a usual block with the reading of its lines. Returns if it was one.
bool checkUsual( const std::string &text )
{
    TextLines        usual( text ), lines( text );
    pb::Ref<CRY_PEM> pem = cry::pem::tryReadUsual( usual );
    if( !pem )
    {
        EXPECT_EQ( usual.rest().data(), text.data() );
        EXPECT_EQ( usual.number(), 0 );
        return false;
    }
    Parts  parts;
    Damage damage;
    EXPECT_EQ( readLines( lines, parts, damage ), Outcome::block ) << text;
    EXPECT_EQ( support::text( pb::adopt( cryPemLabel( pem.get() ) ) ), parts.labelText ) << text;
    pb::Ref<PB_BUFFER> data = pb::adopt( cryPemData( pem.get() ) );
    EXPECT_EQ( bytes( pb::adopt( rfcBaseEncode( data.get(), RFC_BASE_64 ) ) ), parts.body ) << text;
    EXPECT_EQ( pbBufferSensitive( data.get() ), parts.labelText.ends_with( "PRIVATE KEY" ) ) << text;
    EXPECT_EQ( usual.rest().size(), lines.rest().size() ) << text;
    EXPECT_EQ( usual.number(), lines.number() ) << text;
    return true;
}

std::string blockOf( const std::string &label, size_t size, const std::string &end, size_t lineLength = 64 )
{
    std::string data;
    for( size_t index = 0; index < size; index++ )
        data += (char)( index * 197 + ( index >> 3 ) * 31 + size );
    std::string body = bytes( pb::adopt( rfcBaseEncode( buf( data ).get(), RFC_BASE_64 ) ) ), text = "-----BEGIN " + label + "-----" + end;
    for( size_t at = 0; at < body.size(); at += lineLength )
        text += body.substr( at, lineLength ) + end;
    return text + "-----END " + label + "-----" + end;
}

}

TEST( CryPemUsual, TakesAllSizes )
{
    for( const char *label : { "CERTIFICATE", "", "A B-C", "RSA PRIVATE KEY", "-PRIVATE KEY" } )
    {
        for( const char *end : { "\n", "\r\n" } )
        {
            for( size_t size = 0; size <= 200; size++ )
            {
                bool        wanted = size > 0 && label[0] != '-';
                std::string text   = blockOf( label, size, end );
                EXPECT_EQ( checkUsual( text ), wanted ) << text;
                EXPECT_EQ( checkUsual( text + "more" ), wanted ) << text;
                EXPECT_EQ( checkUsual( text.substr( 0, text.rfind( '-' ) + 1 ) ), wanted ) << text;
                EXPECT_EQ( (bool)pb::adopt( cryPemTryDecode( buf( text ).get() ) ), label[0] != '-' );
            }
        }
    }
}

TEST( CryPemUsual, LeavesOtherFormsToTheLines )
{
    for( const char *end : { "\r", "\x85", "\n\n", " \n", "\r\r\n" } )
        EXPECT_FALSE( checkUsual( blockOf( "A", 100, end ) ) ) << hex( end );
    for( size_t length : { 4, 60, 63, 65, 76, 1000 } )
        EXPECT_FALSE( checkUsual( blockOf( "A", 100, "\n", length ) ) ) << length;
    for( const char *before : { "\n", " ", "# text\n", "text\n" } )
        EXPECT_FALSE( checkUsual( before + blockOf( "A", 100, "\n" ) ) ) << before;
    EXPECT_TRUE( checkUsual( blockOf( std::string( 100, 'A' ), 100, "\n" ) ) );
    EXPECT_FALSE( checkUsual( blockOf( std::string( 200, 'A' ), 100, "\n" ) ) );
    // All of them are blocks for the lines, except those with text before them.
    EXPECT_TRUE( pb::adopt( cryPemTryDecode( buf( blockOf( std::string( 200, 'A' ), 100, "\x85" ) ).get() ) ) );
}

TEST( CryPemUsual, EveryChangeIsReadAsTheLinesAreRead )
{
    static constexpr std::string_view inserted( "\n\r -=#:*A/\x85\xA0\xC4\0", 14 );
    int                               usual = 0, other = 0;
    for( bool vectors : { true, false } )
    {
        rfc::base64::setVectorsUsed( vectors );
        for( const std::string &block : { blockOf( "A", 100, "\n" ), blockOf( "A B", 96, "\r\n" ), blockOf( "A", 48, "\n" ),
                 blockOf( "B", 47, "\r\n" ), blockOf( "", 49, "\n" ), blockOf( "PRIVATE KEY", 95, "\n" ) + blockOf( "C", 3, "\n" ) } )
        {
            for( size_t at = 0; at <= block.size(); at++ )
            {
                for( char c : inserted )
                {
                    std::string more = block, changed = block;
                    more.insert( at, 1, c );
                    ( checkUsual( more ) ? usual : other )++;
                    if( at == block.size() )
                        continue;
                    changed[at] = c;
                    ( checkUsual( changed ) ? usual : other )++;
                }
                for( size_t length : { (size_t)1, block.find( '\n', at ) - at + 1 } )
                {
                    std::string less = block, twice = block;
                    less.erase( at, length );
                    twice.insert( at, block.substr( at, length ) );
                    ( checkUsual( less ) ? usual : other )++;
                    ( checkUsual( twice ) ? usual : other )++;
                }
                ( checkUsual( block.substr( 0, at ) ) ? usual : other )++;
            }
        }
    }
    rfc::base64::setVectorsUsed( true );
    EXPECT_GT( usual, 1000 );
    EXPECT_GT( other, 1000 );
}
