/* Trust bundles: a trust token and the data that it signs in one stream. */
#ifndef CRY_CRY_TRUST_BUNDLE_H
#define CRY_CRY_TRUST_BUNDLE_H

#include <cry/cry_trust_token.h>
#include <pb/pb_byte_sink.h>

PB_BEGIN_DECLS

/* A bundle is a stream with a header (pb_header.h) of the type "CRY_TRUST_BUNDLE", whose store
   holds the token under "token" and facts about the writer under "info". The body is the data.
   Nothing is signed or verified here: sign the token before, and verify the unpacked token against
   the unpacked data (cryTrustTokenTryVerify) before you use the data.

   The functions block as the sources and sinks do. Null arguments abort with the name of the
   parameter. */

/* cryTrustBundleTryPack: writes a bundle. False if the source or the sink fails; the sink may then
   have got a part. */
PB_EXPORT PB_BOOL cryTrustBundleTryPack( CRY_TRUST_TOKEN *tok, PB_BYTE_SOURCE *dataByteSource, PB_BYTE_SINK *bundleByteSink );
/* cryTrustBundleTryPackWithBuffer: appends a bundle with the bytes of `dataBuffer` to a buffer.
   If it fails, the buffer is as it was. A null buffer behind the address aborts ("*bundleBuffer").
   */
PB_EXPORT PB_BOOL cryTrustBundleTryPackWithBuffer( CRY_TRUST_TOKEN *tok, PB_BUFFER *dataBuffer, PB_BUFFER **bundleBuffer );
/* cryTrustBundleTryUnpack: the token of a bundle, whose data is written to the sink. Null if the
   header is not that of a bundle with a token; nothing is written then. Null too if the source or
   the sink fails; the sink may then have got a part. */
PB_EXPORT CRY_TRUST_TOKEN *cryTrustBundleTryUnpack( PB_BYTE_SOURCE *bundleByteSource, PB_BYTE_SINK *dataByteSink );
/* cryTrustBundleTryUnpackWithBuffer: the same for a bundle in a buffer; the data is appended to
   another buffer. If it fails, that buffer is as it was. A null buffer behind the address aborts
   ("*dataBuffer"). */
PB_EXPORT CRY_TRUST_TOKEN *cryTrustBundleTryUnpackWithBuffer( PB_BUFFER *bundleBuffer, PB_BUFFER **dataBuffer );

PB_END_DECLS

#endif
