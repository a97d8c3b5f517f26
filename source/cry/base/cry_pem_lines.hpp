// The block reader that all PEM decoders share, over lines of any origin.
#pragma once

#include "base/cry_pem.hpp"

#include <algorithm>
#include <cstring>
#include <pb/pb_mem.h>
#include <pb/sort.hpp>
#include <rfc/rfc_base.h>
#include <string_view>

namespace cry::pem
{

bool labelOk( std::string_view label );

// Whether a label names secret content.
inline bool isSensitive( std::string_view label ) { return label.ends_with( "PRIVATE KEY" ); }

// A label that many blocks have is one object for the process; others are made.
pb::Ref<PB_STRING> labelString( std::string_view label );

inline constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----";

// The lines of a text in ISO 8859-1 (every byte is a character): cleaned, that is trimmed of white space, without empty lines and comments.
class TextLines
{
public:
    TextLines( PB_BUFFER *buf, bool sensitive ) : at( (const char *)pbBufferBytes( buf ) ), last( at + pbBufferLength( buf ) ), secret( sensitive ) {}
    explicit TextLines( PB_BUFFER *buf ) : TextLines( buf, pbBufferSensitive( buf ) ) {}

    bool sensitive() const { return secret; }

    bool next( std::string_view &line )
    {
        while( at < last )
        {
            line = trim( rawLine() );
            if( !line.empty() && line[0] != '#' )
                return true;
        }
        return false;
    }

private:
    static bool isSpace( char c )
    {
        PB_BYTE byte = (PB_BYTE)c;
        return byte == ' ' || ( byte >= 0x09 && byte <= 0x0D ) || byte == 0x85 || byte == 0xA0;
    }

    static std::string_view trim( std::string_view line )
    {
        while( !line.empty() && isSpace( line.front() ) )
            line.remove_prefix( 1 );
        while( !line.empty() && isSpace( line.back() ) )
            line.remove_suffix( 1 );
        return line;
    }

    // Where the next one of these characters is, the end of the text when there is none. Each is looked for again only when it was passed, so the time is
    // linear whatever the lines end with.
    const char *nextOf( char wanted, const char *&place ) const
    {
        if( !place || place < at )
        {
            place = (const char *)std::memchr( at, wanted, (size_t)( last - at ) );
            place = place ? place : last;
        }
        return place;
    }

    // LF, CR LF, CR and NEL end a line.
    std::string_view rawLine()
    {
        const char      *lineEnd = std::min( { nextOf( '\n', lf ), nextOf( '\r', cr ), nextOf( '\x85', nel ) } );
        std::string_view line( at, (size_t)( lineEnd - at ) );
        at = lineEnd == last ? last : lineEnd + ( *lineEnd == '\r' && lineEnd + 1 < last && lineEnd[1] == '\n' ? 2 : 1 );
        return line;
    }

    const char *at;
    const char *last;
    const char *lf  = nullptr;
    const char *cr  = nullptr;
    const char *nel = nullptr;
    bool        secret;
};

// The check of all readers of lines; the text speaks of the address of a vector, which is what the block reader takes.
inline void checkLines( PB_VECTOR **vec, pb::Site site = pb::Site::here() ) { PB_CHECK_AT( site, pbVectorContainsOnly( *vec, pbStringSort() ) ); }

// The same over a vector of strings.
class StringLines
{
public:
    explicit StringLines( PB_VECTOR *vec ) : lines( vec ), length( pbVectorLength( vec ) ) {}

    bool sensitive() const { return secret; }

    bool next( std::string_view &line )
    {
        while( index < length )
        {
            current = pb::adopt( pbStringTrim( pbStringFrom( pb___VectorPeekObjAt( lines, index++ ) ) ) );
            secret  = secret || pbStringSensitive( current.get() );
            PB_INT      bytes;
            const char *text = pbStringPeekUtf8( current.get(), &bytes );
            line             = { text, (size_t)bytes };
            if( !line.empty() && line[0] != '#' )
                return true;
        }
        return false;
    }

    // How many lines are used up.
    PB_INT used() const { return index; }

private:
    PB_VECTOR         *lines;
    PB_INT             length;
    PB_INT             index  = 0;
    bool               secret = false;
    pb::Ref<PB_STRING> current;
};

// The joined lines of a body; small ones need no memory of their own. Cleansed, since it may be a key.
class Body
{
public:
    Body() = default;
    ~Body()
    {
        pbMemCleanse( small, bytes == small ? length : 0 );
        if( bytes != small )
            pbMemFreeSensitive( bytes, length );
    }
    Body( const Body & )            = delete;
    Body &operator=( const Body & ) = delete;

    void append( std::string_view line )
    {
        if( length + line.size() > capacity )
            grow( length + line.size() );
        std::memcpy( bytes + length, line.data(), line.size() );
        length += line.size();
    }

    // The bytes that the body is the base 64 text of; none when it is not.
    pb::Ref<PB_BUFFER> tryDecode( bool sensitive ) const
    {
        size_t padding = length >= 2 && bytes[length - 2] == '=' ? 2 : length >= 1 && bytes[length - 1] == '=';
        PB_INT size    = (PB_INT)( length / 4 * 3 ) - (PB_INT)padding;
        if( length % 4 || size < 0 )
            return {};
        PB_BYTE           *to;
        pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( size, &to ) );
        if( sensitive )
            pbBufferSetSensitive( data.handle() );
        // The last group may write one byte less than it has room for, never more.
        if( rfc___BaseTryDecodeBytes( bytes, (PB_INT)length, RFC_BASE_64, to ) != size )
            return {};
        return data;
    }

private:
    void grow( size_t wanted )
    {
        size_t roomy = capacity * 2 > wanted ? capacity * 2 : wanted;
        char  *moved = (char *)pbMemAlloc( roomy );
        std::memcpy( moved, bytes, length );
        if( bytes != small )
            pbMemFreeSensitive( bytes, length );
        bytes    = moved;
        capacity = roomy;
    }

    char   small[3072];
    char  *bytes    = small;
    size_t length   = 0;
    size_t capacity = sizeof small;
};

enum class Outcome
{
    block,
    noLines,
    failed
};

// Takes the lines of one block.
template<class Lines>
Outcome readBlock( Lines &lines, pb::Ref<CRY_PEM> &pem )
{
    std::string_view line;
    if( !lines.next( line ) )
        return Outcome::noLines;
    if( line.size() < begin.size() + dashes.size() || !line.starts_with( begin ) || !line.ends_with( dashes ) )
        return Outcome::failed;
    line.remove_prefix( begin.size() );
    line.remove_suffix( dashes.size() );
    if( !labelOk( line ) )
        return Outcome::failed;
    pb::Ref<PB_STRING> label = labelString( line );

    Body body;
    for( ;; )
    {
        if( !lines.next( line ) )
            return Outcome::failed;
        if( line.starts_with( end ) && line.ends_with( dashes ) && line.size() >= end.size() + dashes.size() )
            break;
        body.append( line );
    }
    line.remove_prefix( end.size() );
    line.remove_suffix( dashes.size() );
    if( !pbStringEqualsCstr( label.get(), line.data(), (PB_INT)line.size() ) )
        return Outcome::failed;
    pb::Ref<PB_BUFFER> data = body.tryDecode( lines.sensitive() || isSensitive( line ) );
    if( !data )
        return Outcome::failed;
    pem = create( std::move( label ), std::move( data ) );
    return Outcome::block;
}

// The one block of the lines.
template<class Lines>
CRY_PEM *tryReadSingle( Lines lines )
{
    pb::Ref<CRY_PEM> pem;
    std::string_view more;
    if( readBlock( lines, pem ) != Outcome::block || lines.next( more ) )
        return nullptr;
    return pem.take();
}

// All blocks of the lines.
template<class Lines>
PB_VECTOR *tryReadAll( Lines lines )
{
    pb::Ref<PB_VECTOR> pems = pb::adopt( pbVectorCreate() );
    for( ;; )
    {
        pb::Ref<CRY_PEM> pem;
        Outcome          outcome = readBlock( lines, pem );
        if( outcome == Outcome::noLines )
            return pems.take();
        if( outcome == Outcome::failed )
            return nullptr;
        pbVectorAppendObj( pems.handle(), pem.obj() );
    }
}

}
