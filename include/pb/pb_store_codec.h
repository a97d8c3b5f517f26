/* Stores as JSON text (RFC 8259), for files that people and ordinary tools can read. */
#ifndef PB_PB_STORE_CODEC_H
#define PB_PB_STORE_CODEC_H

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>
#include <pb/pb_store_header.h>

PB_BEGIN_DECLS

/* A document is one store: an object is a keyed store, and an array is an array store. A document
   with a header is an object of exactly two members: first "header" (pbStoreHeaderStore), then
   "store", which is a store. Every other document is a store without a header, so a keyed store
   that looks like a document with a header cannot be written without one.

   A text can be read if it has at most PB_STORE_BYTES_MAX bytes, if at most PB_STORE_DEPTH_MAX
   stores lie in one another, and if all stores together have at most PB_STORE_ENTRIES_MAX entries.
   A header and its members count. */

/* PB_STORE_DEPTH_MAX, PB_STORE_ENTRIES_MAX, PB_STORE_BYTES_MAX: the bounds of a text. */
#define PB_STORE_DEPTH_MAX ( (PB_INT)128 )
#define PB_STORE_ENTRIES_MAX ( (PB_INT)16000000 )
#define PB_STORE_BYTES_MAX ( (PB_INT)1 << 30 )

/* pbStoreEncode: the text of a store, UTF-8 with a member on each line; `header` may be null. The
   buffer is sensitive if a string in the store or in the header is sensitive. A null store aborts
   ("store"). Beyond the bounds, the text is complete but pbStoreTryDecode refuses it. */
PB_EXPORT PB_BUFFER *pbStoreEncode( PB_STORE *store, PB_STORE_HEADER *header );
/* pbStoreTryEncode: the same, but null beyond the bounds. */
PB_EXPORT PB_BUFFER *pbStoreTryEncode( PB_STORE *store, PB_STORE_HEADER *header );

/* pbStoreTryDecode: the store of a text, a new reference. If `header` is not null, the text's
   header is put into it, a new reference, or null if the text has none; the old value is not
   released. If the buffer is sensitive, all strings get the mark.

   Null if the text is not JSON or beyond the bounds, or if it has a key twice in one object, a
   number with a fraction, with an exponent or beyond 64 bits, or a surrogate alone in an escape. A
   null buffer aborts ("buffer"). */
PB_EXPORT PB_STORE *pbStoreTryDecode( PB_BUFFER *buffer, PB_STORE_HEADER **header );

PB_END_DECLS

#endif
