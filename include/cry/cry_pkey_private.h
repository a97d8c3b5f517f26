/* Private keys. */
#ifndef CRY_CRY_PKEY_PRIVATE_H
#define CRY_CRY_PKEY_PRIVATE_H

#include <cry/cry_pem.h>
#include <cry/cry_pkey_info.h>
#include <cry/cry_pkey_public.h>

/* CRY_PKEY_PRIVATE: a private key with its canonical PEM: unencrypted PKCS#8 (RFC 5958) under the
   label PRIVATE KEY, as OpenSSL writes it. A CRY_PKEY_PRIVATE never changes; many threads
   may use it. */
PB_OBJECT_TYPE( CRY_PKEY_PRIVATE );

PB_BEGIN_DECLS

/* cryPkeyPrivateTryCreateFromPem: the key in a PEM object of any form that OpenSSL reads (PKCS#8,
   traditional, SEC1); null if it holds no private key, or one that is protected by a pass phrase.
   So that no text keeps a thread busy for long, it is also null for encrypted PKCS#8 with more than
   10,000,000 rounds of derivation or more than 1 GiB of scrypt (RFC 7914; 128 * N * r * p), and for
   a DSA or DH key with a number of more than 16,384 bits. A null PEM object aborts ("pem"). */
PB_EXPORT CRY_PKEY_PRIVATE *cryPkeyPrivateTryCreateFromPem( CRY_PEM *pem );
/* cryPkeyPrivatePem: the canonical PEM, a new reference, also if the key was read from another
   form; null aborts ("priv"). */
PB_EXPORT CRY_PEM *cryPkeyPrivatePem( CRY_PKEY_PRIVATE *priv );
/* cryPkeyPrivateInfo: the kind of the key, a new object. */
PB_EXPORT CRY_PKEY_INFO *cryPkeyPrivateInfo( CRY_PKEY_PRIVATE *priv );
/* cryPkeyPrivatePublicKey: the public key of the pair, a new object that shares nothing with the
   private key; null if OpenSSL cannot write it. */
PB_EXPORT CRY_PKEY_PUBLIC *cryPkeyPrivatePublicKey( CRY_PKEY_PRIVATE *priv );
/* cryPkeyPrivateStore: the store of the canonical PEM (cryPemStore). */
PB_EXPORT PB_STORE *cryPkeyPrivateStore( CRY_PKEY_PRIVATE *priv );
/* cryPkeyPrivateTryRestore: the key in a store of a PEM (cryPemTryRestore); null if the store holds
   no private key. A null store aborts ("store"). */
PB_EXPORT CRY_PKEY_PRIVATE *cryPkeyPrivateTryRestore( PB_STORE *store );

/* cryPkeyPrivateSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the canonical PEM. */
PB_EXPORT const PB_SORT    *cryPkeyPrivateSort( void );
PB_EXPORT PB_OBJ           *cryPkeyPrivateObj( CRY_PKEY_PRIVATE *obj );
PB_EXPORT CRY_PKEY_PRIVATE *cryPkeyPrivateFrom( PB_OBJ *obj );
PB_EXPORT CRY_PKEY_PRIVATE *cryPkeyPrivateRetain( CRY_PKEY_PRIVATE *obj );
PB_EXPORT void              cryPkeyPrivateRelease( CRY_PKEY_PRIVATE *obj );
PB_EXPORT PB_INT            cryPkeyPrivateCompare( CRY_PKEY_PRIVATE *objA, CRY_PKEY_PRIVATE *objB );
PB_EXPORT PB_BOOL           cryPkeyPrivateEquals( CRY_PKEY_PRIVATE *objA, CRY_PKEY_PRIVATE *objB );
PB_EXPORT PB_STRING        *cryPkeyPrivateToString( CRY_PKEY_PRIVATE *obj );

PB_END_DECLS

#endif
