/* Charsets: conversion of bytes to text. */
#ifndef PB_PB_CHARSET_H
#define PB_PB_CHARSET_H

#include <pb/pb_byte_source.h>
#include <pb/pb_string.h>

PB_OBJECT_TYPE( PB_CHAR_SOURCE );
/* Only one thread at a time may use a PB_CHAR_SOURCE, also for reading. */

/* The codes of the charsets. */
#define PB_CHARSET_LATIN1 ( (PB_INT)0 ) /* ISO 8859-1: every byte is a character, so it never fails */
#define PB_CHARSET_UTF8 ( (PB_INT)44 )
#define PB_CHARSET_OK( charset ) ( ( charset ) == PB_CHARSET_LATIN1 || ( charset ) == PB_CHARSET_UTF8 )

/* The flags of a conversion, 0 for none. Malformed input becomes U+FFFD if the flag is not set. */
#define PB_CHARSET_FLAG_STRICT ( (PB_INT)1 ) /* malformed input fails */

PB_BEGIN_DECLS

/* pbCharsetTryConvertBufferToStringWithFlags: the text of a buffer, with its sensitive mark. Null
   if PB_CHARSET_FLAG_STRICT is set and the text is malformed. An unknown charset aborts
   ("PB_CHARSET_OK( charset )"). */
PB_EXPORT PB_STRING *pbCharsetTryConvertBufferToStringWithFlags( PB_BUFFER *buf, PB_INT charset, PB_INT flags );

/* pbCharsetCreateCharSource: the characters of a byte source. */
PB_EXPORT PB_CHAR_SOURCE *pbCharsetCreateCharSource( PB_BYTE_SOURCE *source, PB_INT charset, PB_INT flags );

/* pbCharSourceRead: appends up to `max` characters to a string and returns their number; 0 at the
   end and after an error. */
PB_EXPORT PB_INT pbCharSourceRead( PB_CHAR_SOURCE *source, PB_STRING **str, PB_INT max );
/* pbCharSourceEnd: whether a read has reached the end. */
PB_EXPORT PB_BOOL pbCharSourceEnd( PB_CHAR_SOURCE *source );
/* pbCharSourceError: whether the bytes could not be read or were malformed. */
PB_EXPORT PB_BOOL pbCharSourceError( PB_CHAR_SOURCE *source );

/* pbCharSourceSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT  *pbCharSourceSort( void );
PB_EXPORT PB_OBJ         *pbCharSourceObj( PB_CHAR_SOURCE *obj );
PB_EXPORT PB_CHAR_SOURCE *pbCharSourceFrom( PB_OBJ *obj );
PB_EXPORT PB_CHAR_SOURCE *pbCharSourceRetain( PB_CHAR_SOURCE *obj );
PB_EXPORT void            pbCharSourceRelease( PB_CHAR_SOURCE *obj );
PB_EXPORT PB_INT          pbCharSourceCompare( PB_CHAR_SOURCE *objA, PB_CHAR_SOURCE *objB );
PB_EXPORT PB_BOOL         pbCharSourceEquals( PB_CHAR_SOURCE *objA, PB_CHAR_SOURCE *objB );
PB_EXPORT PB_STRING      *pbCharSourceToString( PB_CHAR_SOURCE *obj );

PB_END_DECLS

#endif
