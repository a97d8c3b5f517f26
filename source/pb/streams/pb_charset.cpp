#include <pb/pb_charset.h>
#include <pb/sort.hpp>

#include <unistr.h>

struct PB_CHAR_SOURCE : PB_OBJ
{
    PB_BYTE_SOURCE *bytes;
    PB_BUFFER      *pending; // bytes that were read but not yet converted
    PB_INT          used;    // how many of them were converted
    PB_INT          charset;
    PB_INT          flags;
    PB_BOOL         end;
    PB_BOOL         error;
};

static constexpr auto charSourceFields = pb::fields<&PB_CHAR_SOURCE::bytes, &PB_CHAR_SOURCE::pending, &PB_CHAR_SOURCE::used, &PB_CHAR_SOURCE::charset,
    &PB_CHAR_SOURCE::flags, &PB_CHAR_SOURCE::end, &PB_CHAR_SOURCE::error>;

PB_SORT_DEFINE( pb, CharSource, PB_CHAR_SOURCE, PB_FREE_FIELDS( PB_CHAR_SOURCE, source, charSourceFields ) )

PB_STRING *pbCharsetTryConvertBufferToStringWithFlags( PB_BUFFER *buf, PB_INT charset, PB_INT flags )
{
    PB_CHECK( buf );
    PB_CHECK( PB_CHARSET_OK( charset ) );
    const char        *bytes  = (const char *)pbBufferBytes( buf );
    PB_INT             length = pbBufferLength( buf );
    pb::Ref<PB_STRING> text   = pb::adopt( pbStringCreate() );
    if( pbBufferSensitive( buf ) )
        pbStringSetSensitive( text.handle() );
    if( charset == PB_CHARSET_UTF8 )
    {
        if( ( flags & PB_CHARSET_FLAG_STRICT ) && u8_check( (const uint8_t *)bytes, (size_t)length ) )
            return nullptr;
        pbStringAppendCstr( text.handle(), bytes, length );
        return text.take();
    }
    for( PB_INT index = 0; index < length; )
    {
        PB_INT ascii = index;
        while( ascii < length && (PB_BYTE)bytes[ascii] < 0x80 )
            ascii++;
        pbStringAppendCstr( text.handle(), bytes + index, ascii - index );
        index = ascii;
        if( index < length )
            pbStringAppendChar( text.handle(), (PB_BYTE)bytes[index++] );
    }
    return text.take();
}

PB_CHAR_SOURCE *pbCharsetCreateCharSource( PB_BYTE_SOURCE *source, PB_INT charset, PB_INT flags )
{
    PB_CHECK( source );
    PB_CHECK( PB_CHARSET_OK( charset ) );
    PB_CHAR_SOURCE *characters = pb::create<PB_CHAR_SOURCE>();
    characters->bytes          = pb::shareOrNull( source );
    characters->pending        = pbBufferCreate();
    characters->charset        = charset;
    characters->flags          = flags;
    return characters;
}

// The number of bytes of the next complete characters, at most `max` characters. At the end of the
// input an unfinished character counts too: it is malformed.
static PB_INT wholeCharacters( PB_CHAR_SOURCE *source, PB_INT max )
{
    const PB_BYTE *bytes = pbBufferBytes( source->pending ) + source->used;
    PB_INT         left  = pbBufferLength( source->pending ) - source->used;
    if( source->charset == PB_CHARSET_LATIN1 )
        return left < max ? left : max;
    PB_INT used = 0;
    for( PB_INT count = 0; count < max && used < left; count++ )
    {
        ucs4_t character;
        int    length = u8_mbtoucr( &character, bytes + used, (size_t)( left - used ) );
        // A malformed character has to be read to its greatest possible length. Before that, it is
        // not known how many of its bytes become one U+FFFD.
        if( length < 0 && left - used < 4 && !pbByteSourceEnd( source->bytes ) )
            break;
        used += length > 0 ? length : u8_mbtouc( &character, bytes + used, (size_t)( left - used ) );
    }
    return used;
}

PB_INT pbCharSourceRead( PB_CHAR_SOURCE *source, PB_STRING **str, PB_INT max )
{
    PB_CHECK( source );
    PB_CHECK_HANDLE( str );
    PB_CHECK( max >= 0 );
    if( source->end || source->error || !max )
        return 0;
    PB_INT bytes;
    while( !( bytes = wholeCharacters( source, max ) ) )
    {
        if( pbByteSourceEnd( source->bytes ) )
        {
            source->end = PB_TRUE;
            return 0;
        }
        pbBufferDelInner( &source->pending, 0, source->used );
        source->used = 0;
        pbByteSourceRead( source->bytes, &source->pending, 65536 );
        if( pbByteSourceError( source->bytes ) )
        {
            source->error = PB_TRUE;
            return 0;
        }
    }
    pb::Ref<PB_BUFFER> piece = pb::adopt( pbBufferCreateFromInner( source->pending, source->used, bytes ) );
    pb::Ref<PB_STRING> text  = pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( piece.get(), source->charset, source->flags ) );
    if( !text )
    {
        source->error = PB_TRUE;
        return 0;
    }
    source->used += bytes;
    pbStringAppend( str, text.get() );
    return pbStringLength( text.get() );
}

PB_BOOL pbCharSourceEnd( PB_CHAR_SOURCE *source ) { return PB_CHECK( source ), source->end; }

PB_BOOL pbCharSourceError( PB_CHAR_SOURCE *source ) { return PB_CHECK( source ), source->error; }
