#include "rfc_base64.hpp"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The compiler decides for each processor family if it can compile the way with AVX2. The processor
// decides at run time if it is used.
#if defined( __x86_64__ ) && defined( __GNUC__ )
#define BASE64_AVX2
#include <immintrin.h>
#endif

using rfc::base64::Alphabet;

namespace
{

constexpr char letters[]    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr char lineEnd[]    = { '\r', '\n' };
constexpr char lastTwo[][2] = { { '+', '/' }, { '-', '_' } };

constexpr char characterOf( Alphabet alphabet, unsigned value ) { return value < 62 ? letters[value] : lastTwo[(int)alphabet][value - 62]; }

// The tables for one alphabet: two characters for 12 bits, and the value of each character.
struct Tables
{
    std::array<std::array<char, 2>, 4096> pairs;
    std::array<PB_BYTE, 256>              values; // 0xFF for all other characters

    consteval explicit Tables( Alphabet alphabet ) : pairs{}, values{}
    {
        values.fill( 0xFF );
        for( unsigned value = 0; value < 64; value++ )
            values[(PB_BYTE)characterOf( alphabet, value )] = (PB_BYTE)value;
        for( unsigned value = 0; value < 4096; value++ )
            pairs[value] = { characterOf( alphabet, value >> 6 ), characterOf( alphabet, value & 63 ) };
    }
};

constexpr Tables tables[] = { Tables( Alphabet::standard ), Tables( Alphabet::url ) };

// The last group has one or two bytes and is filled with the padding.
void pad( PB_INT byteCount, char *group )
{
    if( byteCount == 1 )
        group[2] = '=';
    group[3] = '=';
}

namespace byTable
{

void encode( Alphabet alphabet, const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
    const Tables &table = tables[(int)alphabet];
    auto          put   = [&table]( uint32_t group, char *to ) {
        std::memcpy( to, table.pairs[group >> 12].data(), 2 );
        std::memcpy( to + 2, table.pairs[group & 4095].data(), 2 );
    };
    for( ; byteCount >= 3; byteCount -= 3, bytes += 3, text += 4 )
        put( (uint32_t)bytes[0] << 16 | (uint32_t)bytes[1] << 8 | bytes[2], text );
    if( !byteCount )
        return;
    put( (uint32_t)bytes[0] << 16 | ( byteCount == 2 ? (uint32_t)bytes[1] << 8 : 0 ), text );
    pad( byteCount, text );
}

PB_INT decodeGroups( Alphabet alphabet, const char *text, PB_INT length, PB_BYTE *bytes )
{
    const Tables &table = tables[(int)alphabet];
    PB_INT        count = 0;
    for( ; length >= 4; length -= 4, text += 4, bytes += 3, count++ )
    {
        PB_BYTE a = table.values[(PB_BYTE)text[0]];
        PB_BYTE b = table.values[(PB_BYTE)text[1]];
        PB_BYTE c = table.values[(PB_BYTE)text[2]];
        PB_BYTE d = table.values[(PB_BYTE)text[3]];
        if( ( a | b | c | d ) & 0xC0 )
            break;
        bytes[0] = (PB_BYTE)( a << 2 | b >> 4 );
        bytes[1] = (PB_BYTE)( b << 4 | c >> 2 );
        bytes[2] = (PB_BYTE)( c << 6 | d );
    }
    return count;
}

}

#ifdef BASE64_AVX2

namespace byAvx2
{

#define AVX2 __attribute__( ( target( "avx2" ) ) )

// A block is what one register holds: 24 bytes, 32 characters.
constexpr PB_INT blockBytes = 24, blockCharacters = 32;

// Tables for the way with AVX2 have 16 entries each, and both halves of a register hold the same.
using Sixteen = std::array<signed char, 16>;

// What must be added to a value, by its kind: 0 for small letters, 1 to 10 for digits, 11 and 12
// for the last two characters, 13 for capital letters.
consteval Sixteen encodingOffsets( Alphabet alphabet )
{
    Sixteen offsets{};
    offsets[0] = 'a' - 26;
    for( size_t digit = 1; digit <= 10; digit++ )
        offsets[digit] = '0' - 52;
    offsets[11] = (signed char)( characterOf( alphabet, 62 ) - 62 );
    offsets[12] = (signed char)( characterOf( alphabet, 63 ) - 63 );
    offsets[13] = 'A';
    return offsets;
}

constexpr Sixteen offsetsOf[] = { encodingOffsets( Alphabet::standard ), encodingOffsets( Alphabet::url ) };

// How characters are checked and decoded. A character has an upper and a lower half of four bits.
// Upper halves that occur with the same lower halves are one class, and each class has one bit.
struct DecodingTables
{
    Sixteen classes; // by the upper half: its class
    Sixteen refused; // by the lower half: the classes in which it does not occur
    Sixteen offsets; // by the upper half: what must be added to a character to get its value
    char    last;    // the character for 63, whose offset differs from that of its upper half
    char    lastOffset;

    consteval explicit DecodingTables( Alphabet alphabet ) : classes{}, refused{}, offsets{}, last( characterOf( alphabet, 63 ) ), lastOffset{}
    {
        unsigned lowerHalves[16] = {}; // by the upper half: a bit for each lower half
        for( unsigned value = 0; value < 64; value++ )
        {
            unsigned character = (unsigned char)characterOf( alphabet, value );
            lowerHalves[character >> 4] |= 1u << ( character & 15 );
            if( value < 63 )
                offsets[character >> 4] = (signed char)( (int)value - (int)character );
        }
        lastOffset      = (char)( 63 - last - offsets[(size_t)( last >> 4 )] );
        unsigned number = 0;
        for( size_t upper = 0; upper < 16; upper++ )
        {
            size_t same = 0;
            while( lowerHalves[same] != lowerHalves[upper] )
                same++;
            classes[upper] = same < upper ? classes[same] : (signed char)(unsigned char)( 1u << number++ );
            for( size_t lower = 0; lower < 16; lower++ )
            {
                if( !( lowerHalves[upper] >> lower & 1 ) )
                    refused[lower] = (signed char)( refused[lower] | classes[upper] );
            }
        }
        if( number > 8 )
            std::abort(); // not a constant: this does not compile
    }
};

constexpr DecodingTables decodingOf[] = { DecodingTables( Alphabet::standard ), DecodingTables( Alphabet::url ) };

AVX2 inline __m256i twice( const Sixteen &table ) { return _mm256_broadcastsi128_si256( _mm_loadu_si128( (const __m128i *)table.data() ) ); }

// Four characters for three bytes of each 32-bit element. The element has the second, the first,
// the third and again the second of the bytes.
AVX2 inline __m256i charactersOf( __m256i groups, __m256i offsets )
{
    __m256i outer  = _mm256_mulhi_epu16( _mm256_and_si256( groups, _mm256_set1_epi32( 0x0FC0FC00 ) ), _mm256_set1_epi32( 0x04000040 ) );
    __m256i inner  = _mm256_mullo_epi16( _mm256_and_si256( groups, _mm256_set1_epi32( 0x003F03F0 ) ), _mm256_set1_epi32( 0x01000010 ) );
    __m256i values = _mm256_or_si256( outer, inner );
    __m256i kinds  = _mm256_or_si256( _mm256_subs_epu8( values, _mm256_set1_epi8( 51 ) ),
         _mm256_and_si256( _mm256_cmpgt_epi8( _mm256_set1_epi8( 26 ), values ), _mm256_set1_epi8( 13 ) ) );
    return _mm256_add_epi8( values, _mm256_shuffle_epi8( offsets, kinds ) );
}

AVX2 inline void encodeBlock( const PB_BYTE *bytes, char *text, __m256i offsets )
{
    // The second half begins at byte 8, so nothing behind the block is read. Its first four bytes
    // belong to the first half.
    __m256i both = _mm256_inserti128_si256(
        _mm256_castsi128_si256( _mm_loadu_si128( (const __m128i *)bytes ) ), _mm_loadu_si128( (const __m128i *)( bytes + 8 ) ), 1 );
    __m256i order = _mm256_setr_epi8( 1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14 );
    _mm256_storeu_si256( (__m256i *)text, charactersOf( _mm256_shuffle_epi8( both, order ), offsets ) );
}

AVX2 inline void encodeGroup( uint32_t first, uint32_t second, uint32_t third, char *text, __m256i offsets )
{
    __m256i  group      = _mm256_castsi128_si256( _mm_cvtsi32_si128( (int)( second | first << 8 | third << 16 | second << 24 ) ) );
    uint32_t characters = (uint32_t)_mm_cvtsi128_si32( _mm256_castsi256_si128( charactersOf( group, offsets ) ) );
    std::memcpy( text, &characters, 4 );
}

AVX2 inline void encodeWith( __m256i offsets, const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
    PB_INT whole = byteCount / 3 * 3, at = 0;
    for( ; at + blockBytes <= whole; at += blockBytes, text += blockCharacters )
        encodeBlock( bytes + at, text, offsets );
    // The last block may begin inside the block before. It writes some characters again.
    if( at < whole && whole >= blockBytes )
    {
        text += ( whole - at ) / 3 * 4;
        at = whole;
        encodeBlock( bytes + whole - blockBytes, text - blockCharacters, offsets );
    }
    for( ; at < whole; at += 3, text += 4 )
        encodeGroup( bytes[at], bytes[at + 1], bytes[at + 2], text, offsets );
    if( at == byteCount )
        return;
    encodeGroup( bytes[at], byteCount - at == 2 ? bytes[at + 1] : 0, 0, text, offsets );
    pad( byteCount - at, text );
}

AVX2 void encode( Alphabet alphabet, const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
    encodeWith( twice( offsetsOf[(int)alphabet] ), bytes, byteCount, text );
}

// Encodes whole lines.
AVX2 void encodeLines( const PB_BYTE *bytes, PB_INT count, char *text )
{
    __m256i offsets = twice( offsetsOf[(int)Alphabet::standard] );
    for( ; count; count--, bytes += rfc::base64::lineBytes )
    {
        encodeBlock( bytes, text, offsets );
        encodeBlock( bytes + blockBytes, text + blockCharacters, offsets );
        std::memcpy( text + rfc::base64::lineCharacters, lineEnd, sizeof lineEnd );
        text += rfc::base64::lineCharacters + sizeof lineEnd;
    }
}

// The tables of DecodingTables in registers.
struct Decoding
{
    __m256i classes, refused, offsets, last, lastOffset;
};

AVX2 inline Decoding decodingTables( Alphabet alphabet )
{
    const DecodingTables &decoding = decodingOf[(int)alphabet];
    return { twice( decoding.classes ), twice( decoding.refused ), twice( decoding.offsets ), _mm256_set1_epi8( decoding.last ),
        _mm256_set1_epi8( decoding.lastOffset ) };
}

// False if not all characters are of the alphabet. Then nothing is written.
AVX2 inline bool tryDecodeBlock( const char *text, PB_BYTE *bytes, const Decoding &tables )
{
    __m256i characters = _mm256_loadu_si256( (const __m256i *)text );
    __m256i half       = _mm256_set1_epi8( 15 );
    __m256i upper      = _mm256_and_si256( _mm256_srli_epi16( characters, 4 ), half );
    __m256i lower      = _mm256_and_si256( characters, half );
    if( !_mm256_testz_si256( _mm256_shuffle_epi8( tables.classes, upper ), _mm256_shuffle_epi8( tables.refused, lower ) ) )
        return false;
    __m256i offsets = _mm256_add_epi8(
        _mm256_shuffle_epi8( tables.offsets, upper ), _mm256_and_si256( _mm256_cmpeq_epi8( characters, tables.last ), tables.lastOffset ) );
    __m256i values = _mm256_add_epi8( characters, offsets );
    // Two values to 12 bits, two of these to 24 bits, then the three bytes in their order.
    __m256i twelve = _mm256_maddubs_epi16( values, _mm256_set1_epi16( 0x0140 ) );
    __m256i groups = _mm256_madd_epi16( twelve, _mm256_set1_epi32( 0x00011000 ) );
    __m256i packed = _mm256_shuffle_epi8(
        groups, _mm256_setr_epi8( 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1 ) );
    packed = _mm256_permutevar8x32_epi32( packed, _mm256_setr_epi32( 0, 1, 2, 4, 5, 6, 7, 7 ) );
    _mm_storeu_si128( (__m128i *)bytes, _mm256_castsi256_si128( packed ) );
    _mm_storel_epi64( (__m128i *)( bytes + 16 ), _mm256_extracti128_si256( packed, 1 ) );
    return true;
}

AVX2 PB_INT decodeBlocks( Alphabet alphabet, const char *text, PB_INT length, PB_BYTE *bytes )
{
    Decoding tables = decodingTables( alphabet );
    PB_INT   count  = 0;
    while(
        length - count * blockCharacters >= blockCharacters && tryDecodeBlock( text + count * blockCharacters, bytes + count * blockBytes, tables ) )
        count++;
    return count;
}

AVX2 bool tryDecodeLines( const char *text, PB_INT count, PB_INT lineEndLength, PB_BYTE *bytes )
{
    Decoding tables = decodingTables( Alphabet::standard );
    for( ; count; count--, bytes += rfc::base64::lineBytes, text += rfc::base64::lineCharacters + lineEndLength )
    {
        if( !tryDecodeBlock( text, bytes, tables ) || !tryDecodeBlock( text + blockCharacters, bytes + blockBytes, tables ) )
            return false;
        if( std::memcmp( text + rfc::base64::lineCharacters, lineEnd + 2 - lineEndLength, (size_t)lineEndLength ) != 0 )
            return false;
    }
    return true;
}

#undef AVX2

}

#endif

#ifdef BASE64_AVX2
constinit std::atomic<bool> vectorsUsed{ true };

// The processor is asked once, by the compiler's run-time library; this reads what it found.
bool useVectors() { return vectorsUsed.load( std::memory_order_relaxed ) && __builtin_cpu_supports( "avx2" ); }
#endif

}

bool rfc::base64::vectorsPresent()
{
#ifdef BASE64_AVX2
    return __builtin_cpu_supports( "avx2" );
#else
    return false;
#endif
}

void rfc::base64::setVectorsUsed( [[maybe_unused]] bool used )
{
#ifdef BASE64_AVX2
    vectorsUsed.store( used, std::memory_order_relaxed );
#endif
}

void rfc::base64::encode( Alphabet alphabet, const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
#ifdef BASE64_AVX2
    if( useVectors() )
        return byAvx2::encode( alphabet, bytes, byteCount, text );
#endif
    byTable::encode( alphabet, bytes, byteCount, text );
}

char *rfc::base64::encodeLines( const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
    PB_INT lines = byteCount / lineBytes, rest = byteCount % lineBytes;
    auto   end = []( char *at ) { return (char *)std::memcpy( at, lineEnd, sizeof lineEnd ) + sizeof lineEnd; };
#ifdef BASE64_AVX2
    if( useVectors() )
        byAvx2::encodeLines( bytes, lines, text );
    else
#endif
        for( PB_INT line = 0; line < lines; line++ )
        {
            char *to = text + line * ( lineCharacters + PB_SIZEOF( lineEnd ) );
            byTable::encode( Alphabet::standard, bytes + line * lineBytes, lineBytes, to );
            end( to + lineCharacters );
        }
    text += lines * ( lineCharacters + PB_SIZEOF( lineEnd ) );
    if( !rest )
        return text;
    encode( Alphabet::standard, bytes + lines * lineBytes, rest, text );
    return end( text + ( rest + 2 ) / 3 * 4 );
}

PB_INT rfc::base64::decodeGroups( Alphabet alphabet, const char *text, PB_INT length, PB_BYTE *bytes )
{
    PB_INT count = 0;
#ifdef BASE64_AVX2
    if( useVectors() )
        count = byAvx2::decodeBlocks( alphabet, text, length, bytes ) * ( byAvx2::blockCharacters / 4 );
#endif
    return count + byTable::decodeGroups( alphabet, text + 4 * count, length - 4 * count, bytes + 3 * count );
}

bool rfc::base64::tryDecodeLines( const char *text, PB_INT count, PB_INT lineEndLength, PB_BYTE *bytes )
{
#ifdef BASE64_AVX2
    if( useVectors() )
        return byAvx2::tryDecodeLines( text, count, lineEndLength, bytes );
#endif
    for( ; count; count--, bytes += lineBytes, text += lineCharacters + lineEndLength )
    {
        if( byTable::decodeGroups( Alphabet::standard, text, lineCharacters, bytes ) != lineCharacters / 4 ||
            std::memcmp( text + lineCharacters, lineEnd + 2 - lineEndLength, (size_t)lineEndLength ) != 0 )
            return false;
    }
    return true;
}
