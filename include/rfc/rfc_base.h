/* Base 16, 32 and 64 (RFC 4648). */
#ifndef RFC_RFC_BASE_H
#define RFC_RFC_BASE_H

#include <pb/pb_buffer.h>
#include <rfc/rfc_base_options.h>

/* Kinds of encoding. */
#define RFC_BASE_16 ( (PB_INT)1 )     /* RFC 4648, clause 8; decoding takes capital letters only */
#define RFC_BASE_32 ( (PB_INT)2 )     /* clause 6 */
#define RFC_BASE_64 ( (PB_INT)3 )     /* clause 4 */
#define RFC_BASE_64_URL ( (PB_INT)4 ) /* clause 5 */
#define RFC_BASE_OK( kind ) ( ( kind ) >= 1 && ( kind ) <= 4 )

PB_BEGIN_DECLS

/* rfcBaseEncode: the text of some data, in one line with padding, a new buffer. It inherits the
   sensitive mark. An unknown kind aborts ("RFC_BASE_OK( kind )"). Empty data gives empty text. */
PB_EXPORT PB_BUFFER *rfcBaseEncode( PB_BUFFER *data, PB_INT kind );
/* rfcBaseEncodeWithOptions: the same in the layout of the options. */
PB_EXPORT PB_BUFFER *rfcBaseEncodeWithOptions( PB_BUFFER *data, PB_INT kind, RFC_BASE_OPTIONS *options );
/* rfcBaseTryDecode: the data of a text, a new buffer. It inherits the sensitive mark. Null if the
   text has a character outside the alphabet (blanks and line ends too), if padding is missing or
   wrong, or if leftover bits are not zero (RFC 4648, clause 3.5). */
PB_EXPORT PB_BUFFER *rfcBaseTryDecode( PB_BUFFER *text, PB_INT kind );

/* rfc___BaseEncodedLength: the number of characters that rfc___BaseEncodeBytes writes for
   `byteCount` bytes. */
PB_EXPORT PB_INT rfc___BaseEncodedLength( PB_INT byteCount, PB_INT kind );
/* rfc___BaseEncodeBytes: encodes `byteCount` bytes to `text`, in one line with padding. */
PB_EXPORT void rfc___BaseEncodeBytes( const PB_BYTE *bytes, PB_INT byteCount, PB_INT kind, char *text );
/* rfc___BaseTryDecodeBytes: writes the data of `length` characters to `bytes`, which has room for
   `length` bytes, and returns their number. Returns -1 if the text does not decode. `text` and
   `bytes` may begin at the same address. */
PB_EXPORT PB_INT rfc___BaseTryDecodeBytes( const char *text, PB_INT length, PB_INT kind, PB_BYTE *bytes );
/* rfc___BaseEncodeLines: encodes `byteCount` bytes in base 64 to `text`, in lines of 64 characters.
   Every line ends with CR LF, the last one too. Returns the number of characters. */
PB_EXPORT PB_INT rfc___BaseEncodeLines( const PB_BYTE *bytes, PB_INT byteCount, char *text );
/* rfc___BaseTryDecodeLines: decodes `length` characters of base 64 that are whole lines of 64
   characters without padding. Every line ends with LF, or with CR LF if `crlf` is true. Writes 48
   bytes for each line. False for every other text; bytes may have been written then. */
PB_EXPORT PB_BOOL rfc___BaseTryDecodeLines( const char *text, PB_INT length, PB_BOOL crlf, PB_BYTE *bytes );

PB_END_DECLS

#endif
