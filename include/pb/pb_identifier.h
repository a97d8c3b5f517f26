/* Identifiers: short names of letters, digits, full stops, underscores and hyphens. */
#ifndef PB_PB_IDENTIFIER_H
#define PB_PB_IDENTIFIER_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_IDENTIFIER );
/* A PB_IDENTIFIER never changes, so many threads may use it at once. */

PB_BEGIN_DECLS

/* pbIdentifierCreate: a new random identifier of 32 lower-case hexadecimal digits (128 bits). */
PB_EXPORT PB_IDENTIFIER *pbIdentifierCreate( void );
/* pbIdentifierTryCreateFromString: an identifier with this text. Null if the text does not have 1
   to 255 characters, has another character than the letters and digits of ASCII, full stop,
   underscore and hyphen, or begins with a full stop or a hyphen. */
PB_EXPORT PB_IDENTIFIER *pbIdentifierTryCreateFromString( PB_STRING *text );
/* pbIdentifierTryCreateFromCstr: the same; `length` -1 means zero-terminated. */
PB_EXPORT PB_IDENTIFIER *pbIdentifierTryCreateFromCstr( const char *text, PB_INT length );

/* pbIdentifierSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the text, and case matters; ToString gives the text. */
PB_EXPORT const PB_SORT *pbIdentifierSort( void );
PB_EXPORT PB_OBJ        *pbIdentifierObj( PB_IDENTIFIER *obj );
PB_EXPORT PB_IDENTIFIER *pbIdentifierFrom( PB_OBJ *obj );
PB_EXPORT PB_IDENTIFIER *pbIdentifierRetain( PB_IDENTIFIER *obj );
PB_EXPORT void           pbIdentifierRelease( PB_IDENTIFIER *obj );
PB_EXPORT PB_INT         pbIdentifierCompare( PB_IDENTIFIER *objA, PB_IDENTIFIER *objB );
PB_EXPORT PB_BOOL        pbIdentifierEquals( PB_IDENTIFIER *objA, PB_IDENTIFIER *objB );
PB_EXPORT PB_STRING     *pbIdentifierToString( PB_IDENTIFIER *obj );

PB_END_DECLS

#endif
