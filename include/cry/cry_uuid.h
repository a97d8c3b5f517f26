/* Universally unique identifiers (RFC 4122). */
#ifndef CRY_CRY_UUID_H
#define CRY_CRY_UUID_H

#include <cry/cry_uuid_string_flags.h>
#include <cry/cry_uuid_variant.h>
#include <cry/cry_uuid_version.h>
#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

/* CRY_UUID: the sixteen bytes of a UUID in network order. A CRY_UUID never changes; many threads
   may read it. */
PB_OBJECT_TYPE( CRY_UUID );

PB_BEGIN_DECLS

/* cryUuidCreate: a new random UUID (RFC 4122, 4.4). A thread takes the bytes of 32 UUIDs from
   OpenSSL's generator at a time (docs/conventions.md, "Random UUIDs"). If the generator fails, the
   bytes come from the operating system. */
PB_EXPORT CRY_UUID *cryUuidCreate( void );
/* cryUuidCreateNil: the nil UUID (RFC 4122, 4.1.7), all bytes zero. */
PB_EXPORT CRY_UUID *cryUuidCreateNil( void );
/* cryUuidCreateFrom: a copy; null aborts ("src"). */
PB_EXPORT CRY_UUID *cryUuidCreateFrom( CRY_UUID *src );
/* cryUuidTryCreateNameBased: the UUID of a name in a name space, by SHA-1 (RFC 4122, 4.3, version
   5); null if this libcrypto has no SHA-1. Null arguments abort ("ns", "name"). */
PB_EXPORT CRY_UUID *cryUuidTryCreateNameBased( CRY_UUID *ns, PB_BUFFER *name );
/* cryUuidTryCreateNameBasedStringName: the same for the UTF-8 bytes of a string. */
PB_EXPORT CRY_UUID *cryUuidTryCreateNameBasedStringName( CRY_UUID *ns, PB_STRING *name );
/* cryUuidTryCreateFromBinary: from a buffer of exactly sixteen bytes; null for any other length.
   Null aborts ("binary"). */
PB_EXPORT CRY_UUID *cryUuidTryCreateFromBinary( PB_BUFFER *binary );
/* cryUuidTryCreateFromBinaryBytes: the same for bytes in memory; null with a length other than 0
   aborts ("binary || !binaryLength"). */
PB_EXPORT CRY_UUID *cryUuidTryCreateFromBinaryBytes( const PB_BYTE *binary, PB_INT binaryLength );
/* cryUuidTryCreateFromString: reads the text of a UUID (RFC 4122, 3); null if it is not one. White
   space at both ends is dropped. Then pairs of curly brackets, apostrophes and quotation marks
   around the text are dropped, any number of them in any order. Each of the four separators may be
   "-" or "_". Digits may be of either case. A null source aborts ("source"). */
PB_EXPORT CRY_UUID *cryUuidTryCreateFromString( PB_STRING *source );
/* cryUuidTryCreateFromStringCstr: the same for UTF-8 text (pbStringCreateFromCstr). */
PB_EXPORT CRY_UUID *cryUuidTryCreateFromStringCstr( const char *text, PB_INT length );
/* cryUuidTryCreateFromStringWcstr: the same for wide characters (pbStringCreateFromWcstr). */
PB_EXPORT CRY_UUID *cryUuidTryCreateFromStringWcstr( const wchar_t *text, PB_INT length );

/* cryUuidToBinary: the sixteen bytes, a new buffer; null aborts ("uuid"). */
PB_EXPORT PB_BUFFER *cryUuidToBinary( CRY_UUID *uuid );
/* cryUuidToStringWithFlags: the text in groups of 8-4-4-4-12 digits, a new string. `flags` are
   CRY_UUID_STRING_FLAGS; curly brackets are innermost, quotation marks outermost. Undefined bits
   are ignored. */
PB_EXPORT PB_STRING *cryUuidToStringWithFlags( CRY_UUID *uuid, CRY_UUID_STRING_FLAGS flags );
/* cryUuidVariant: the CRY_UUID_VARIANT of the UUID's variant bits (RFC 4122, 4.1.1). */
PB_EXPORT CRY_UUID_VARIANT cryUuidVariant( CRY_UUID *uuid );
/* cryUuidVersion: the version digit (RFC 4122, 4.1.3) as a number: the digits 0 to 4 give 0 to 4,
   every other digit gives -1. CRY_UUID_VERSION counts from 0 and the digits count from 1, so the
   result does not match the names: a random UUID gives 4, not CRY_UUID_VERSION_RANDOM_NUMBER_BASED
   (3), and a UUID that was made from a name by SHA-1 gives -1. */
PB_EXPORT CRY_UUID_VERSION cryUuidVersion( CRY_UUID *uuid );

/* cryUuidNamespaceDns: the name space of fully qualified domain names (RFC 4122, appendix C), a new
   object. The next three functions also give new objects. */
PB_EXPORT CRY_UUID *cryUuidNamespaceDns( void );
/* cryUuidNamespaceUrl: the name space of URLs. */
PB_EXPORT CRY_UUID *cryUuidNamespaceUrl( void );
/* cryUuidNamespaceOid: the name space of object identifiers. */
PB_EXPORT CRY_UUID *cryUuidNamespaceOid( void );
/* cryUuidNamespaceX500: the name space of X.500 distinguished names. */
PB_EXPORT CRY_UUID *cryUuidNamespaceX500( void );

/* cryUuidSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the bytes; ToString gives the text without flags. */
PB_EXPORT const PB_SORT *cryUuidSort( void );
PB_EXPORT PB_OBJ        *cryUuidObj( CRY_UUID *obj );
PB_EXPORT CRY_UUID      *cryUuidFrom( PB_OBJ *obj );
PB_EXPORT CRY_UUID      *cryUuidRetain( CRY_UUID *obj );
PB_EXPORT void           cryUuidRelease( CRY_UUID *obj );
PB_EXPORT PB_INT         cryUuidCompare( CRY_UUID *objA, CRY_UUID *objB );
PB_EXPORT PB_BOOL        cryUuidEquals( CRY_UUID *objA, CRY_UUID *objB );
PB_EXPORT PB_STRING     *cryUuidToString( CRY_UUID *obj );

PB_END_DECLS

#endif
