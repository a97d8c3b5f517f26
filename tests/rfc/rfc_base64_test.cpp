#include "rfc_base64.hpp"

#include <rfc/internal/rfc_line_end.hpp>
#include <rfc/rfc.h>

#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <sys/mman.h>
#include <unistd.h>

using namespace support;

namespace
{

constexpr PB_INT kinds[] = { RFC_BASE_64, RFC_BASE_64_URL };

// Uses one of the two ways while it exists. Without AVX2 both are the same.
struct Way
{
    explicit Way( bool vectors ) { rfc::base64::setVectorsUsed( vectors ); }
    ~Way() { rfc::base64::setVectorsUsed( true ); }
};

std::string alphabetOf( PB_INT kind )
{
    return std::string( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789" ) + ( kind == RFC_BASE_64 ? "+/" : "-_" );
}

// A third way: one bit after the other.
std::string reference( std::string_view data, PB_INT kind )
{
    std::string alphabet = alphabetOf( kind ), text;
    size_t      value = 0, bits = 0;
    for( unsigned char byte : data )
    {
        for( int bit = 7; bit >= 0; bit-- )
        {
            value = value * 2 + ( byte >> bit & 1 );
            if( ++bits % 6 == 0 )
            {
                text += alphabet[value];
                value = 0;
            }
        }
    }
    if( bits % 6 )
        text += alphabet[value << ( 6 - bits % 6 )];
    while( text.size() % 4 )
        text += '=';
    return text;
}

std::string inLines( const std::string &text, const std::string &end )
{
    std::string lines;
    for( size_t at = 0; at < text.size(); at += 64 )
        lines += text.substr( at, 64 ) + end;
    return lines;
}

std::string encoded( std::string_view data, PB_INT kind )
{
    std::string text( (size_t)rfc___BaseEncodedLength( (PB_INT)data.size(), kind ), '#' );
    rfc___BaseEncodeBytes( (const PB_BYTE *)data.data(), (PB_INT)data.size(), kind, text.data() );
    return text;
}

// "(null)" if it does not decode.
std::string decoded( std::string_view text, PB_INT kind )
{
    std::string data( text.size(), '#' );
    PB_INT      count = rfc___BaseTryDecodeBytes( text.data(), (PB_INT)text.size(), kind, (PB_BYTE *)data.data() );
    return count < 0 ? "(null)" : data.substr( 0, (size_t)count );
}

class Data
{
public:
    std::string operator()( size_t size )
    {
        std::string data( size, 0 );
        for( char &byte : data )
            byte = (char)random();
        return data;
    }

private:
    std::mt19937 random{ 20260611 };
};

// Some pages between two pages that may not be read or written.
class Island
{
public:
    Island()
    {
        memory = (char *)mmap( nullptr, size + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
        EXPECT_NE( memory, MAP_FAILED );
        EXPECT_EQ( mprotect( memory + page, size, PROT_READ | PROT_WRITE ), 0 );
    }
    ~Island() { munmap( memory, size + 2 * page ); }
    Island( const Island & )            = delete;
    Island &operator=( const Island & ) = delete;

    // The place of so many bytes at the start or at the end of the pages.
    char *place( size_t bytes, bool atEnd ) { return memory + page + ( atEnd ? size - bytes : 0 ); }

private:
    size_t page = (size_t)sysconf( _SC_PAGESIZE );
    size_t size = page;
    char  *memory;
};

}

TEST( RfcBase64, BothWaysAreTheReference )
{
    Data data;
    for( bool vectors : { true, false } )
    {
        Way way( vectors );
        for( PB_INT kind : kinds )
        {
            auto check = [&]( size_t size ) {
                std::string bytes = data( size ), text = reference( bytes, kind );
                ASSERT_EQ( encoded( bytes, kind ), text );
                ASSERT_EQ( hex( decoded( text, kind ) ), hex( bytes ) );
            };
            for( size_t size = 0; size <= 300; size++ )
                check( size );
            for( size_t round = 0; round < 20; round++ )
                check( 300 + round * 97 );
        }
    }
}

TEST( RfcBase64, BothWaysTakeTheSameCharactersAtEveryPlace )
{
    for( PB_INT kind : kinds )
    {
        std::string alphabet = alphabetOf( kind );
        // Every value at every place of a block of 32 characters.
        for( size_t shift = 0; shift < 64; shift++ )
        {
            std::string text;
            for( size_t at = 0; at < 96; at++ )
                text += alphabet[( at + shift ) % 64];
            for( bool vectors : { true, false } )
            {
                Way         way( vectors );
                std::string bytes = decoded( text, kind );
                EXPECT_EQ( bytes.size(), 72u );
                EXPECT_EQ( reference( bytes, kind ), text );
                EXPECT_EQ( encoded( bytes, kind ), text );
            }
        }
        std::string block;
        for( size_t at = 0; at < 64; at++ )
            block += alphabet[( at * 29 + 7 ) % 64];
        size_t good = 0;
        for( const char *last : { "AAAA", "QUJD", "QUI=", "QQ==" } )
        {
            std::string whole = block + last;
            for( size_t at = 0; at < whole.size(); at++ )
            {
                for( int byte = 0; byte < 256; byte++ )
                {
                    std::string text   = whole;
                    text[at]           = (char)byte;
                    bool        inside = alphabet.find( (char)byte ) != alphabet.npos;
                    std::string results[2];
                    for( bool vectors : { true, false } )
                    {
                        Way way( vectors );
                        results[vectors] = decoded( text, kind );
                    }
                    ASSERT_EQ( hex( results[0] ), hex( results[1] ) ) << text;
                    // A text is good if its data encodes to it.
                    if( at < 64 )
                        ASSERT_EQ( results[0] != "(null)", inside ) << text;
                    if( results[0] != "(null)" )
                        ASSERT_EQ( reference( results[0], kind ), text );
                    good += results[0] != "(null)";
                }
            }
        }
        EXPECT_GT( good, 4 * 64 * 64u );
    }
}

TEST( RfcBase64, ReadsAndWritesNothingOutside )
{
    Data   data;
    Island islands[2];
    for( bool vectors : { true, false } )
    {
        Way way( vectors );
        for( size_t size = 0; size <= 260; size++ )
        {
            for( bool atEnd : { false, true } )
            {
                std::string bytes = data( size ), text = reference( bytes, RFC_BASE_64 ), lines = inLines( text, "\r\n" );
                auto        from = [&]( const std::string &content ) {
                    char *place = islands[0].place( content.size(), atEnd );
                    std::copy( content.begin(), content.end(), place );
                    return place;
                };
                char *to = islands[1].place( text.size(), atEnd );
                rfc___BaseEncodeBytes( (const PB_BYTE *)from( bytes ), (PB_INT)size, RFC_BASE_64, to );
                ASSERT_EQ( std::string_view( to, text.size() ), text );

                to = islands[1].place( lines.size(), atEnd );
                ASSERT_EQ( rfc___BaseEncodeLines( (const PB_BYTE *)from( bytes ), (PB_INT)size, to ), (PB_INT)lines.size() );
                ASSERT_EQ( std::string_view( to, lines.size() ), lines );

                to = islands[1].place( size, atEnd );
                ASSERT_EQ( rfc___BaseTryDecodeBytes( from( text ), (PB_INT)text.size(), RFC_BASE_64, (PB_BYTE *)to ), (PB_INT)size );
                ASSERT_EQ( std::string_view( to, size ), bytes );

                if( size % 48 )
                    continue;
                for( bool crlf : { false, true } )
                {
                    std::string content = inLines( text, crlf ? "\r\n" : "\n" );
                    std::fill( to, to + size, 0 );
                    ASSERT_TRUE( rfc___BaseTryDecodeLines( from( content ), (PB_INT)content.size(), crlf, (PB_BYTE *)to ) );
                    ASSERT_EQ( std::string_view( to, size ), bytes );
                }
            }
        }
    }
}

TEST( RfcBase64, AlignmentDoesNotMatter )
{
    Data data;
    for( bool vectors : { true, false } )
    {
        Way way( vectors );
        for( size_t size : { 23, 24, 25, 47, 48, 49, 96, 100, 255 } )
        {
            for( size_t shift = 0; shift < 32; shift++ )
            {
                std::string bytes = data( size ), text = reference( bytes, RFC_BASE_64 );
                std::string from = std::string( shift, '#' ) + bytes, to( shift + text.size() + 32, '#' ), back( shift + size + 32, '#' );
                rfc___BaseEncodeBytes( (const PB_BYTE *)from.data() + shift, (PB_INT)size, RFC_BASE_64, to.data() + 31 - shift % 32 );
                ASSERT_EQ( to.substr( 31 - shift % 32, text.size() ), text );
                ASSERT_EQ( std::count( to.begin(), to.end(), '#' ), ( std::ptrdiff_t )( to.size() - text.size() ) );
                ASSERT_EQ( rfc___BaseTryDecodeBytes( to.data() + 31 - shift % 32, (PB_INT)text.size(), RFC_BASE_64, (PB_BYTE *)back.data() + shift ),
                    (PB_INT)size );
                ASSERT_EQ( back, std::string( shift, '#' ) + bytes + std::string( 32, '#' ) );
            }
        }
    }
}

TEST( RfcBase64, DecodesInItsOwnPlace )
{
    Data data;
    for( bool vectors : { true, false } )
    {
        Way way( vectors );
        for( size_t size = 0; size <= 200; size++ )
        {
            std::string bytes = data( size ), text = reference( bytes, RFC_BASE_64 );
            ASSERT_EQ( rfc___BaseTryDecodeBytes( text.data(), (PB_INT)text.size(), RFC_BASE_64, (PB_BYTE *)text.data() ), (PB_INT)size );
            ASSERT_EQ( hex( text.substr( 0, size ) ), hex( bytes ) );
        }
    }
}

TEST( RfcBase64, LinesAreExactOrRefused )
{
    static constexpr std::string_view others( "=-_ \n\r\0\x80\xC1", 9 );
    Data                              data;
    for( bool vectors : { true, false } )
    {
        Way way( vectors );
        for( bool crlf : { false, true } )
        {
            PB_BYTE     to[96];
            std::string bytes = data( 96 ), text = inLines( reference( bytes, RFC_BASE_64 ), crlf ? "\r\n" : "\n" );
            auto        decodes = [&]( const std::string &lines, PB_BOOL ends ) {
                return rfc___BaseTryDecodeLines( lines.data(), (PB_INT)lines.size(), ends, to ) == PB_TRUE;
            };
            EXPECT_TRUE( decodes( text, crlf ) );
            EXPECT_EQ( hex( { (char *)to, sizeof to } ), hex( bytes ) );
            EXPECT_FALSE( decodes( text, !crlf ) );
            EXPECT_TRUE( decodes( "", crlf ) );
            for( size_t size = 1; size < text.size(); size++ )
                EXPECT_EQ( decodes( text.substr( 0, size ), crlf ), size * 2 == text.size() ) << size;
            for( size_t at = 0; at < text.size(); at++ )
            {
                for( char other : others )
                {
                    std::string changed = text;
                    changed[at]         = other;
                    EXPECT_EQ( decodes( changed, crlf ), other == text[at] ) << at << " " << (int)other;
                }
            }
        }
    }
}

TEST( RfcBase64, TheProcessorDecidesTheWay )
{
#if defined( __x86_64__ )
    EXPECT_EQ( rfc::base64::vectorsPresent(), __builtin_cpu_supports( "avx2" ) != 0 );
#else
    EXPECT_FALSE( rfc::base64::vectorsPresent() );
#endif
}

TEST( RfcLineEnd, IsTheFirstOfItsCharacters )
{
    // Neighbours of the line ends in all their bits, and bytes that differ in the top bit.
    static constexpr std::string_view bytes( "\n\r\x85\x0B\x0C\x0E\x09\x08\x8A\x8D\x05\x84\x86\0\x80\x01\xFF", 17 );
    std::mt19937                      random{ 4711 };
    for( int round = 0; round < 20000; round++ )
    {
        std::string text( random() % 40, 'A' );
        for( size_t count = random() % 4; count && !text.empty(); count-- )
            text[random() % text.size()] = bytes[random() % bytes.size()];
        size_t      from   = text.empty() ? 0 : random() % text.size();
        auto        wanted = [&]( std::string_view ends ) { return std::min( text.find_first_of( ends, from ), text.size() ); };
        auto        place  = [&]( const char *at ) { return (size_t)( at - text.data() ); };
        const char *at = text.data() + from, *last = text.data() + text.size();
        ASSERT_EQ( place( rfc::findLineEnd<'\n', '\r'>( at, last ) ), wanted( "\n\r" ) ) << hex( text );
        ASSERT_EQ( place( rfc::findLineEnd<'\n', '\r', '\x85'>( at, last ) ), wanted( "\n\r\x85" ) ) << hex( text );
    }
}
