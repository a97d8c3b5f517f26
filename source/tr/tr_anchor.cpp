#include <pb/pb_string.h>
#include <pb/sort.hpp>
#include <tr/tr_anchor.h>

#include "tr_event.hpp"
#include "tr_sinks.hpp"

struct TR_ANCHOR : PB_OBJ
{
    PB_INT     ownerNumber;
    PB_STRING *ownerName;
    PB_INT     kind;
};

static constexpr auto anchorFields = pb::fields<&TR_ANCHOR::ownerNumber, &TR_ANCHOR::ownerName, &TR_ANCHOR::kind>;

PB_SORT_DEFINE( tr, Anchor, TR_ANCHOR, PB_FREE_FIELDS( TR_ANCHOR, anchor, anchorFields ) )

TR_ANCHOR *trAnchorCreate( TR_STREAM *ownerStream, PB_INT kind )
{
    PB_CHECK( ownerStream );
    TR_ANCHOR *anchor   = pb::create<TR_ANCHOR>();
    anchor->ownerNumber = trStreamNumber( ownerStream );
    anchor->ownerName   = trStreamName( ownerStream );
    anchor->kind        = kind;
    return anchor;
}

PB_INT trAnchorKind( TR_ANCHOR *anchor ) { return PB_CHECK( anchor ), anchor->kind; }

void trAnchorComplete( TR_ANCHOR *anchor, TR_STREAM *stream )
{
    PB_CHECK( anchor );
    PB_CHECK( stream );
    if( !tr::isListening() )
        return;
    tr::Event event( anchor->ownerNumber, anchor->ownerName, "link" );
    event.set( "kind", anchor->kind ).set( "otherStream", trStreamNumber( stream ) );
    event.set( "otherName", pb::adopt( trStreamName( stream ) ).get() );
    tr::emit( event.get() );
}
