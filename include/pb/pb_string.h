/* Unicode text, stored as valid UTF-8 and counted in code points; U+0000 is an ordinary character.
   Many threads may read a PB_STRING; edit it only while one thread holds it. */
#ifndef PB_PB_STRING_H
#define PB_PB_STRING_H

#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>
#include <pb/pb_vector.h>

#include <stdarg.h>
#include <wchar.h>

PB_BEGIN_DECLS

/* In all functions whose name ends in Cstr, `length` counts the bytes of `text`; -1 means that it
   is zero-terminated. The text is UTF-8 and malformed bytes become U+FFFD, in comparisons too. Null
   text with a length other than 0 aborts. */

/* pbStringCreate: the empty string (a static object). */
PB_EXPORT PB_STRING *pbStringCreate( void );
/* pbStringCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_STRING *pbStringCreateFrom( PB_STRING *source );
/* pbStringCreateFromCstr: from UTF-8 text; malformed bytes become U+FFFD. */
PB_EXPORT PB_STRING *pbStringCreateFromCstr( const char *text, PB_INT length );
/* pbStringTryCreateFromCstr: the same, but malformed UTF-8 gives null. */
PB_EXPORT PB_STRING *pbStringTryCreateFromCstr( const char *text, PB_INT length );
/* pbStringCreateFromWcstr: from wide characters (code points). A number that is not a Unicode
   scalar value becomes U+FFFD. */
PB_EXPORT PB_STRING *pbStringCreateFromWcstr( const wchar_t *text, PB_INT length );
/* pbStringCreateFromFormatCstr: formatted text. %s takes a string object, %o any object and writes
   its ToString, %~o does the same and consumes the reference, %lc takes zero-terminated UTF-8 (null
   aborts), %#lc does the same and writes nothing for null, %i takes a PB_INT, and %% is a percent
   sign. Between % and the letter there may be `0` (fill with zeros), `-` (align left), a width, and
   `!b` for a base from 2 to 36 (digits above 9 in lower case), for example %08!16i. Null objects
   and unknown conversions abort. */
PB_EXPORT PB_STRING *pbStringCreateFromFormatCstr( const char *format, PB_INT length, ... );
/* pbStringCreateFromFormatCstrArgs: the same with a va_list. */
PB_EXPORT PB_STRING *pbStringCreateFromFormatCstrArgs( const char *format, PB_INT length, va_list args );

/* pb___StringCreateImmortal: a static object with this text, for constants that live as long as the
   process. It is never counted and never freed. */
PB_EXPORT PB_STRING *pb___StringCreateImmortal( const char *text );

/* pbStringLength: number of code points; null aborts ("str"). */
PB_EXPORT PB_INT pbStringLength( PB_STRING *str );
/* pbStringCharAt: the code point at an index; an index outside the string aborts. It takes constant
   time for ASCII text, otherwise time that grows with the index. */
PB_EXPORT PB_CHAR pbStringCharAt( PB_STRING *str, PB_INT index );
/* pbStringPeekUtf8: lends the UTF-8 bytes, zero-terminated, and their number (`byteLength` may be
   null). They are valid while the caller holds the string and until it is edited. */
PB_EXPORT const char *pbStringPeekUtf8( PB_STRING *str, PB_INT *byteLength );
/* pbStringTryPeekCstr: the same as C text; null if the string holds U+0000. */
PB_EXPORT const char *pbStringTryPeekCstr( PB_STRING *str );

/* pbStringAppend: appends another string and takes over its sensitive mark. Both may be the same
   string. */
PB_EXPORT void pbStringAppend( PB_STRING **str, PB_STRING *other );
/* pbStringAppendCstr: appends UTF-8 text, which may be the string's own memory (pbStringPeekUtf8).
   */
PB_EXPORT void pbStringAppendCstr( PB_STRING **str, const char *text, PB_INT length );
/* pbStringAppendChar: appends one code point. A number that is not a Unicode scalar value becomes
   U+FFFD. */
PB_EXPORT void pbStringAppendChar( PB_STRING **str, PB_CHAR character );
/* pbStringAppendFormatCstr: appends formatted text (pbStringCreateFromFormatCstr). */
PB_EXPORT void pbStringAppendFormatCstr( PB_STRING **str, const char *format, PB_INT length, ... );

/* pbStringCreateFromInner: the `count` code points from `offset` on; a range that is not in the
   string aborts. */
PB_EXPORT PB_STRING *pbStringCreateFromInner( PB_STRING *source, PB_INT offset, PB_INT count );
/* pbStringEqualsCstr: whether the string is exactly this text. */
PB_EXPORT PB_BOOL pbStringEqualsCstr( PB_STRING *str, const char *text, PB_INT length );
/* pbStringBeginsWithCstr, pbStringEndsWithCstr: whether the string begins or ends with this text.
   */
PB_EXPORT PB_BOOL pbStringBeginsWithCstr( PB_STRING *str, const char *text, PB_INT length );
PB_EXPORT PB_BOOL pbStringEndsWithCstr( PB_STRING *str, const char *text, PB_INT length );
/* pbStringIndexOfChar: the index of the first such code point at or after `from`, -1 if there is
   none. A `from` outside 0 to the length aborts. */
PB_EXPORT PB_INT pbStringIndexOfChar( PB_STRING *str, PB_CHAR character, PB_INT from );
/* pbStringTrim: the string without the characters of Unicode's White_Space property at both ends.
   It may be the same object with a new reference. */
PB_EXPORT PB_STRING *pbStringTrim( PB_STRING *str );
/* pbStringSplitChar: a vector of the parts between the occurrences of a character. There is always
   at least one part, which may be empty. */
PB_EXPORT PB_VECTOR *pbStringSplitChar( PB_STRING *str, PB_CHAR separator );
/* pbStringToCaseFold: Unicode full case folding, no normalization (Unicode 3.13). */
PB_EXPORT PB_STRING *pbStringToCaseFold( PB_STRING *str );

/* pbStringConvertToUtf8: the UTF-8 bytes as a new buffer, with the sensitive mark of the string.
   The next two functions also keep the mark. */
PB_EXPORT PB_BUFFER *pbStringConvertToUtf8( PB_STRING *str );
/* pbStringConvertToAscii: one byte for each character; a question mark for a character that is not
   ASCII. */
PB_EXPORT PB_BUFFER *pbStringConvertToAscii( PB_STRING *str );
/* pbStringConvertToLatin1: ISO 8859-1, one byte for each character; a question mark for a character
   that is not in ISO 8859-1. */
PB_EXPORT PB_BUFFER *pbStringConvertToLatin1( PB_STRING *str );

/* pbStringSetSensitive: marks the content as secret. It is then overwritten when it is freed or
   moved, and everything that is made from it gets the mark too. The mark cannot be removed. */
PB_EXPORT void pbStringSetSensitive( PB_STRING **str );
/* pbStringSensitive: whether the mark is set. */
PB_EXPORT PB_BOOL pbStringSensitive( PB_STRING *str );

/* pbStringSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by code points; ToString gives the string itself. */
PB_EXPORT const PB_SORT *pbStringSort( void );
PB_EXPORT PB_OBJ        *pbStringObj( PB_STRING *obj );
PB_EXPORT PB_STRING     *pbStringFrom( PB_OBJ *obj );
PB_EXPORT PB_STRING     *pbStringRetain( PB_STRING *obj );
PB_EXPORT void           pbStringRelease( PB_STRING *obj );
PB_EXPORT PB_INT         pbStringCompare( PB_STRING *objA, PB_STRING *objB );
PB_EXPORT PB_BOOL        pbStringEquals( PB_STRING *objA, PB_STRING *objB );
PB_EXPORT PB_STRING     *pbStringToString( PB_STRING *obj );

PB_END_DECLS

#endif
