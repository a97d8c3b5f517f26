#include <pb/pb_line_source.h>
#include <pb/sort.hpp>

#include <cstring>

struct PB_LINE_SOURCE : PB_OBJ
{
    PB_CHAR_SOURCE *characters;
    PB_STRING      *pending; // text that was read
    PB_INT          used;    // how many bytes of it were given out as lines
    PB_INT          limit;
};

static constexpr auto lineSourceFields =
    pb::fields<&PB_LINE_SOURCE::characters, &PB_LINE_SOURCE::pending, &PB_LINE_SOURCE::used, &PB_LINE_SOURCE::limit>;

PB_SORT_DEFINE( pb, LineSource, PB_LINE_SOURCE, PB_FREE_FIELDS( PB_LINE_SOURCE, ls, lineSourceFields ) )

static constexpr PB_INT charactersAtOnce = 4096;

PB_LINE_SOURCE *pbNlfLineSourceCreate( PB_CHAR_SOURCE *characters, PB_INT limit )
{
    PB_CHECK( characters );
    PB_CHECK( limit >= 1 );
    PB_LINE_SOURCE *ls = pb::create<PB_LINE_SOURCE>();
    ls->characters     = pb::shareOrNull( characters );
    ls->pending        = pbStringCreate();
    ls->limit          = limit;
    return ls;
}

// The place and the length of the next line end in `text`; false if there is none.
static bool findEnd( const char *text, PB_INT length, PB_INT *place, PB_INT *endLength )
{
    for( PB_INT index = 0; index < length; index++ )
    {
        PB_BYTE byte = (PB_BYTE)text[index];
        if( byte != '\n' && byte != '\r' && !( byte == 0xC2 && index + 1 < length && (PB_BYTE)text[index + 1] == 0x85 ) )
            continue;
        *place     = index;
        *endLength = byte == 0xC2 || ( byte == '\r' && index + 1 < length && text[index + 1] == '\n' ) ? 2 : 1;
        return true;
    }
    return false;
}

// Drops the lines that were given out and reads on; false at the end.
static bool readMore( PB_LINE_SOURCE *ls )
{
    if( ls->used )
    {
        PB_INT             length;
        const char        *text = pbStringPeekUtf8( ls->pending, &length );
        pb::Ref<PB_STRING> rest = pb::adopt( pbStringCreate() );
        if( pbStringSensitive( ls->pending ) )
            pbStringSetSensitive( rest.handle() );
        pbStringAppendCstr( rest.handle(), text + ls->used, length - ls->used );
        pb::assign( ls->pending, rest.get() );
        ls->used = 0;
    }
    return pbCharSourceRead( ls->characters, &ls->pending, ls->limit > charactersAtOnce ? ls->limit : charactersAtOnce ) > 0;
}

PB_STRING *pbLineSourceTryReadLine( PB_LINE_SOURCE *ls )
{
    PB_CHECK( ls );
    PB_INT searched = 0;
    for( ;; )
    {
        PB_INT      length, place, endLength;
        const char *text = pbStringPeekUtf8( ls->pending, &length ) + ls->used;
        length -= ls->used;
        bool found = findEnd( text + searched, length - searched, &place, &endLength );
        // A CR at the end of the pending text may be the first half of a CR LF.
        bool undecided = found && text[searched + place] == '\r' && searched + place + 1 == length && !pbCharSourceEnd( ls->characters );
        if( found && undecided && ( searched += place, readMore( ls ) ) )
            continue;
        if( undecided )
            place = 0;
        if( !found )
        {
            searched = length;
            if( readMore( ls ) )
                continue;
            if( !length || pbCharSourceError( ls->characters ) )
                return nullptr;
            place     = 0;
            endLength = 0;
        }
        // The text may have moved.
        text                    = pbStringPeekUtf8( ls->pending, nullptr ) + ls->used;
        PB_INT             size = searched + place;
        pb::Ref<PB_STRING> line = pb::adopt( pbStringCreate() );
        if( pbStringSensitive( ls->pending ) )
            pbStringSetSensitive( line.handle() );
        pbStringAppendCstr( line.handle(), text, size );
        ls->used += size + endLength;
        return line.take();
    }
}

PB_VECTOR *pbLineSourceReadLines( PB_LINE_SOURCE *ls, PB_INT max )
{
    PB_CHECK( ls );
    PB_CHECK( max >= 0 );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbVectorCreate() );
    for( PB_INT count = 0; count < max; count++ )
    {
        pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( ls ) );
        if( !line )
            break;
        pbVectorAppendObj( lines.handle(), line.obj() );
    }
    return lines.take();
}

PB_BOOL pbLineSourceError( PB_LINE_SOURCE *ls ) { return PB_CHECK( ls ), pbCharSourceError( ls->characters ); }
