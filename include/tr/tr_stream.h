/* Trace streams: what an object that works by itself tells about its work. */
#ifndef TR_TR_STREAM_H
#define TR_TR_STREAM_H

#include <pb/pb_obj.h>
#include <pb/pb_store.h>

PB_OBJECT_TYPE( TR_STREAM );
/* A TR_STREAM cannot change; any thread may use it. */

PB_BEGIN_DECLS

/* What is traced goes to the sinks that are attached at that moment (tr_sink.h). A stream keeps
   nothing: what is traced while no sink is attached is lost. Then a call costs a few nanoseconds
   and allocates nothing, so it stands where it is needed. If making its arguments costs more, ask
   trStreamActive first.

   In functions whose name ends in Cstr, text and keys are UTF-8, `length` -1 means zero-terminated,
   and malformed bytes become U+FFFD. The functions may be called while locks are held and at any
   time, also after the stop of the runtime. They never wait for a file.

   Instead of a text or a string that is sensitive, "(secret)" is traced; instead of a store too, if
   a string anywhere in it is sensitive. Whoever traces is responsible for marking its secrets. */

/* trStreamCreateCstr: a new stream. Many streams may have the same name; usually it is the name of
   the type that traces, as "CRY_X509_STACK". */
PB_EXPORT TR_STREAM *trStreamCreateCstr( const char *name, PB_INT length );
/* trStreamName: the name, a new reference. */
PB_EXPORT PB_STRING *trStreamName( TR_STREAM *stream );
/* trStreamNumber: the number of the stream in this process, from 1 on. No other stream has it, also
   not after this one was freed. */
PB_EXPORT PB_INT trStreamNumber( TR_STREAM *stream );
/* trStreamActive: whether a sink is attached. */
PB_EXPORT PB_BOOL trStreamActive( TR_STREAM *stream );

/* trStreamTextCstr: traces a line of text. */
PB_EXPORT void trStreamTextCstr( TR_STREAM *stream, const char *text, PB_INT length );
/* trStreamTextFormatCstr: traces formatted text (pbStringCreateFromFormatCstr). The text is not
   made while no sink is attached, so arguments that are consumed (%~o) are not allowed: they abort
   ("!consumes"), but only while a sink is attached. */
PB_EXPORT void trStreamTextFormatCstr( TR_STREAM *stream, const char *format, PB_INT length, ... );
/* trStreamSetNotable: marks the stream as one that people should look at, for example before the
   text about a failure. */
PB_EXPORT void trStreamSetNotable( TR_STREAM *stream );
/* trStreamSetConfiguration: traces the configuration of the object that traces. */
PB_EXPORT void trStreamSetConfiguration( TR_STREAM *stream, PB_STORE *store );
/* trStreamSetPropertyCstrString, trStreamSetPropertyCstrBool, trStreamSetPropertyCstrStore: trace
   that a property of the object has a value; it replaces the value that was traced before. */
PB_EXPORT void trStreamSetPropertyCstrString( TR_STREAM *stream, const char *key, PB_INT length, PB_STRING *value );
PB_EXPORT void trStreamSetPropertyCstrBool( TR_STREAM *stream, const char *key, PB_INT length, PB_BOOL value );
PB_EXPORT void trStreamSetPropertyCstrStore( TR_STREAM *stream, const char *key, PB_INT length, PB_STORE *value );
/* trStreamDelPropertyCstr: traces that a property has no value any more. */
PB_EXPORT void trStreamDelPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length );

/* trStreamSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A stream equals only itself. ToString gives the name and the number, as
   "CRY_X509_STACK 17". */
PB_EXPORT const PB_SORT *trStreamSort( void );
PB_EXPORT PB_OBJ        *trStreamObj( TR_STREAM *obj );
PB_EXPORT TR_STREAM     *trStreamFrom( PB_OBJ *obj );
PB_EXPORT TR_STREAM     *trStreamRetain( TR_STREAM *obj );
PB_EXPORT void           trStreamRelease( TR_STREAM *obj );
PB_EXPORT PB_INT         trStreamCompare( TR_STREAM *objA, TR_STREAM *objB );
PB_EXPORT PB_BOOL        trStreamEquals( TR_STREAM *objA, TR_STREAM *objB );
PB_EXPORT PB_STRING     *trStreamToString( TR_STREAM *obj );

PB_END_DECLS

#endif
