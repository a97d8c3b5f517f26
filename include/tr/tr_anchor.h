/* Trace anchors: links from one trace stream to another. */
#ifndef TR_TR_ANCHOR_H
#define TR_TR_ANCHOR_H

#include <tr/tr_stream.h>

PB_OBJECT_TYPE( TR_ANCHOR );
/* A TR_ANCHOR cannot change; any thread may use it. */

PB_BEGIN_DECLS

/* An object that makes another one, or works for it, makes an anchor on its own stream and hands it
   over. The other one completes the anchor with its own stream, which it need not show. Both
   streams are known to the anchor and to the sinks by number and name only, so an anchor keeps no
   stream alive. */

/* trAnchorCreate: an anchor on a stream. The kind says how the two streams belong together; its
   meaning is the caller's. */
PB_EXPORT TR_ANCHOR *trAnchorCreate( TR_STREAM *ownerStream, PB_INT kind );
/* trAnchorKind: the kind. */
PB_EXPORT PB_INT trAnchorKind( TR_ANCHOR *anchor );
/* trAnchorComplete: traces, on the owner's stream, a link to `stream`. An anchor may be completed
   more than once; each time is a link. Like the functions of tr_stream.h, it may be called at any
   time. */
PB_EXPORT void trAnchorComplete( TR_ANCHOR *anchor, TR_STREAM *stream );

/* trAnchorSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). An anchor equals only itself. */
PB_EXPORT const PB_SORT *trAnchorSort( void );
PB_EXPORT PB_OBJ        *trAnchorObj( TR_ANCHOR *obj );
PB_EXPORT TR_ANCHOR     *trAnchorFrom( PB_OBJ *obj );
PB_EXPORT TR_ANCHOR     *trAnchorRetain( TR_ANCHOR *obj );
PB_EXPORT void           trAnchorRelease( TR_ANCHOR *obj );
PB_EXPORT PB_INT         trAnchorCompare( TR_ANCHOR *objA, TR_ANCHOR *objB );
PB_EXPORT PB_BOOL        trAnchorEquals( TR_ANCHOR *objA, TR_ANCHOR *objB );
PB_EXPORT PB_STRING     *trAnchorToString( TR_ANCHOR *obj );

PB_END_DECLS

#endif
