// Short conversions between values of the libraries and of the standard library, for tests.
#pragma once

#include <pb/pb.h>
#include <pb/ref.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace support
{

inline pb::Ref<PB_STRING> str( std::string_view text ) { return pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ) ); }

inline pb::Ref<PB_BUFFER> buf( std::string_view bytes ) { return pb::adopt( pbBufferCreateFromBytes( bytes.data(), (PB_INT)bytes.size() ) ); }

inline std::string text( PB_STRING *str )
{
    if( !str )
        return "(null)";
    PB_INT      length;
    const char *bytes = pbStringPeekUtf8( str, &length );
    return { bytes, (size_t)length };
}
inline std::string text( const pb::Ref<PB_STRING> &str ) { return text( str.get() ); }

inline std::string bytes( PB_BUFFER *buf )
{
    return buf ? std::string( (const char *)pbBufferBytes( buf ), (size_t)pbBufferLength( buf ) ) : "(null)";
}
inline std::string bytes( const pb::Ref<PB_BUFFER> &buf ) { return bytes( buf.get() ); }

// A vector of strings and back.
inline pb::Ref<PB_VECTOR> vec( const std::vector<std::string> &lines )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( const std::string &line : lines )
        pbVectorAppendObj( vector.handle(), str( line ).obj() );
    return vector;
}
inline std::vector<std::string> texts( PB_VECTOR *vector )
{
    std::vector<std::string> lines;
    for( PB_INT index = 0; index < pbVectorLength( vector ); index++ )
        lines.push_back( text( pbStringFrom( pb___VectorPeekObjAt( vector, index ) ) ) );
    return lines;
}

inline std::string hex( std::string_view bytes )
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string           out;
    for( unsigned char byte : bytes )
    {
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

inline std::string unhex( std::string_view text )
{
    auto        value = []( char c ) { return c <= '9' ? c - '0' : ( c | 32 ) - 'a' + 10; };
    std::string out;
    for( size_t index = 0; index + 1 < text.size(); index += 2 )
        out += (char)( value( text[index] ) << 4 | value( text[index + 1] ) );
    return out;
}

}
