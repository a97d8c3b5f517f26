// The block reader that all PEM decoders share, for lines of a text or of a vector.
#pragma once

#include "base/cry_pem.hpp"

#include <cry/internal/cry_pem_reader.hpp>

#include <cstring>
#include <pb/pb_mem.h>
#include <pb/sort.hpp>
#include <rfc/rfc_base.h>
#include <string_view>

namespace cry::pem
{

// A full line of a body.
inline constexpr PB_INT lineBytes = 48, lineCharacters = 64;

// Whether a label names secret content.
inline bool isSensitive( std::string_view label ) { return label.ends_with( "PRIVATE KEY" ); }

// For a usual label, the process has one object. For any other label a new one is made.
pb::Ref<PB_STRING> labelString( std::string_view label );

inline TextLines textLines( PB_BUFFER *buf, bool sensitive )
{
    return TextLines( { (const char *)pbBufferBytes( buf ), (size_t)pbBufferLength( buf ) }, sensitive );
}
inline TextLines textLines( PB_BUFFER *buf ) { return textLines( buf, pbBufferSensitive( buf ) ); }

// The check of all functions that read lines. Its text names the address of a vector, because the
// block reader takes one.
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

    // The number of lines that were read, which is also the number of the last one.
    PB_INT used() const { return index; }
    PB_INT number() const { return index; }

private:
    PB_VECTOR         *lines;
    PB_INT             length;
    PB_INT             index  = 0;
    bool               secret = false;
    pb::Ref<PB_STRING> current;
};

// The joined lines of a body. A small body needs no allocated memory. The bytes are cleansed, since
// they may be a key.
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

    // The bytes whose base 64 text the body is; null if it is not base 64.
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
        // The last group may write one byte less than it has room for, but never more.
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

// The label and the body of a block.
class BlockParts
{
public:
    void label( std::string_view text ) { labelObject = labelString( text ); }
    bool isLabel( std::string_view text ) const { return pbStringEqualsCstr( labelObject.get(), text.data(), (PB_INT)text.size() ); }
    void line( std::string_view text, PB_INT ) { body.append( text ); }

    // Null if the body is not base 64.
    pb::Ref<CRY_PEM> tryCreate( bool sensitive )
    {
        PB_INT             length;
        const char        *text = pbStringPeekUtf8( labelObject.get(), &length );
        pb::Ref<PB_BUFFER> data = body.tryDecode( sensitive || isSensitive( { text, (size_t)length } ) );
        return data ? create( std::move( labelObject ), std::move( data ) ) : pb::Ref<CRY_PEM>();
    }

private:
    pb::Ref<PB_STRING> labelObject;
    Body               body;
};

// Takes the lines of one block if it is written as most programs write it: no empty lines in it, no
// white space, no comments, lines of 64 characters and a shorter last one, one kind of line end (LF
// or CR LF). Null for every other text. Then no line is taken, and the text may still be a block.
pb::Ref<CRY_PEM>        tryReadUsual( TextLines &lines );
inline pb::Ref<CRY_PEM> tryReadUsual( StringLines & ) { return {}; }

// Takes the lines of one block.
template<class Lines>
Outcome readBlock( Lines &lines, pb::Ref<CRY_PEM> &pem )
{
    pem = tryReadUsual( lines );
    if( pem )
        return Outcome::block;
    BlockParts parts;
    Damage     damage;
    Outcome    outcome = readLines( lines, parts, damage );
    if( outcome != Outcome::block )
        return outcome;
    pem = parts.tryCreate( lines.sensitive() );
    return pem ? Outcome::block : Outcome::failed;
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
