/* The openssl module: starts libcrypto once for all libraries, fetches algorithms once, and keeps a
   private library context in which certificates and keys are parsed several times faster than in
   the default one. */
#ifndef OPENSSL_MODULE_OPENSSL_MODULE_H
#define OPENSSL_MODULE_OPENSSL_MODULE_H

#include <pb/pb_module.h>

PB_BEGIN_DECLS

/* opensslModule: the module object of this library. */
PB_EXPORT const PB_MODULE *opensslModule( void );
/* opensslVersion: libcrypto's own version text, a new string. */
PB_EXPORT PB_STRING *opensslVersion( void );
/* opensslKeyDecodingContextUsed: whether the key-decoding context passed its self-check at the
   start and is used. If not, everything is parsed in the default context. */
PB_EXPORT PB_BOOL opensslKeyDecodingContextUsed( void );
/* opensslKeyDecodingContextState: the same as a text for people, a new string. If the context is
   not used, the text gives the reason. */
PB_EXPORT PB_STRING *opensslKeyDecodingContextState( void );

PB_END_DECLS

#endif
