/* PEM text (RFC 7468). */
#ifndef CRY_CRY_PEM_H
#define CRY_CRY_PEM_H

#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/pb_vector.h>

/* CRY_PEM: one block: a label and the bytes between its BEGIN and END lines. A block whose label
   ends in PRIVATE KEY is sensitive, and so is everything that is made from it. Many threads may
   read a CRY_PEM, and each may edit it through a reference of its own. */
PB_OBJECT_TYPE( CRY_PEM );

PB_BEGIN_DECLS

/* cryPemLabelOk: whether a text may be a label: empty, or words of printable ASCII characters
   joined by single blanks or hyphens (RFC 7468, 3). Null aborts ("label"). */
PB_EXPORT PB_BOOL cryPemLabelOk( PB_STRING *label );

/* cryPemCreate: a block with an empty label and no data. */
PB_EXPORT CRY_PEM *cryPemCreate( void );
/* cryPemCreateFrom: a copy that shares label and data; null aborts ("source"). */
PB_EXPORT CRY_PEM *cryPemCreateFrom( CRY_PEM *source );
/* cryPemLabel: the label, a new reference; null aborts ("pem"). */
PB_EXPORT PB_STRING *cryPemLabel( CRY_PEM *pem );
/* cryPemData: the bytes, a new reference; null aborts ("pem"). */
PB_EXPORT PB_BUFFER *cryPemData( CRY_PEM *pem );
/* cryPemSetLabel: sets the label, which must satisfy cryPemLabelOk ("cryPemLabelOk( label )"). */
PB_EXPORT void cryPemSetLabel( CRY_PEM **pem, PB_STRING *label );
/* cryPemSetData: sets the bytes; null aborts ("data"). */
PB_EXPORT void cryPemSetData( CRY_PEM **pem, PB_BUFFER *data );

/* cryPemEncode: the text, a new buffer: lines of 64 characters, each ended by CR LF. */
PB_EXPORT PB_BUFFER *cryPemEncode( CRY_PEM *pem );
/* cryPemEncodeToStringVector: the lines of the text without their ends, a new vector of strings. */
PB_EXPORT PB_VECTOR *cryPemEncodeToStringVector( CRY_PEM *pem );

/* The decoders accept LF, CR LF, CR and NEL as the end of a line. They skip empty lines and lines
   that begin with "#", and drop white space at both ends of a line. All other lines must belong to
   a block: BEGIN and END lines with the same label, and strict base 64 between them. If they do
   not, the result is null. */

/* cryPemTryDecode: the one block of a text; null if the text has no block, more than one, or other
   lines. */
PB_EXPORT CRY_PEM *cryPemTryDecode( PB_BUFFER *buf );
/* cryPemTryDecodeFromStringVector: the same for a vector of lines, which must hold only strings
   ("pbVectorContainsOnly( *vec, pbStringSort() )"). */
PB_EXPORT CRY_PEM *cryPemTryDecodeFromStringVector( PB_VECTOR *vec );

/* cryPemStore: a new array store of the lines of the text. */
PB_EXPORT PB_STORE *cryPemStore( CRY_PEM *pem );
/* cryPemTryRestore: the one block of the lines in an array store; entries that are not strings are
   skipped. The result is null if the lines are not exactly one valid block. A null store aborts
   ("store"). */
PB_EXPORT CRY_PEM *cryPemTryRestore( PB_STORE *store );

/* cryPemVectorEncode: the texts of all blocks of a vector, one after the other, in one new buffer.
   The vector must hold only PEM objects ("pbVectorContainsOnly( pv, cryPemSort() )"). */
PB_EXPORT PB_BUFFER *cryPemVectorEncode( PB_VECTOR *pv );
/* cryPemVectorEncodeToStringVector: the same as lines, in a new vector of strings. */
PB_EXPORT PB_VECTOR *cryPemVectorEncodeToStringVector( PB_VECTOR *pv );
/* cryPemVectorTryDecode: every block of a text, a new vector of PEM objects, empty for an empty
   text; null if anything in it is not a block. */
PB_EXPORT PB_VECTOR *cryPemVectorTryDecode( PB_BUFFER *buf );
/* cryPemVectorTryDecodeFromStringVector: the same for a vector of lines. */
PB_EXPORT PB_VECTOR *cryPemVectorTryDecodeFromStringVector( PB_VECTOR *vec );

/* cryPemSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by label, then by data. */
PB_EXPORT const PB_SORT *cryPemSort( void );
PB_EXPORT PB_OBJ        *cryPemObj( CRY_PEM *obj );
PB_EXPORT CRY_PEM       *cryPemFrom( PB_OBJ *obj );
PB_EXPORT CRY_PEM       *cryPemRetain( CRY_PEM *obj );
PB_EXPORT void           cryPemRelease( CRY_PEM *obj );
PB_EXPORT PB_INT         cryPemCompare( CRY_PEM *objA, CRY_PEM *objB );
PB_EXPORT PB_BOOL        cryPemEquals( CRY_PEM *objA, CRY_PEM *objB );
PB_EXPORT PB_STRING     *cryPemToString( CRY_PEM *obj );

PB_END_DECLS

#endif
