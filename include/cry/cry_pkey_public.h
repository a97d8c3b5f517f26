/* Public keys. */
#ifndef CRY_CRY_PKEY_PUBLIC_H
#define CRY_CRY_PKEY_PUBLIC_H

#include <cry/cry_pem.h>
#include <cry/cry_pkey_info.h>

/* CRY_PKEY_PUBLIC: a public key with its canonical PEM: SubjectPublicKeyInfo (RFC 5280, 4.1) under
   the label PUBLIC KEY, as OpenSSL writes it. A CRY_PKEY_PUBLIC never changes; many threads may use
   it. */
PB_OBJECT_TYPE( CRY_PKEY_PUBLIC );

PB_BEGIN_DECLS

/* cryPkeyPublicTryCreateFromPem: the key in a PEM object with SubjectPublicKeyInfo; null if it
   holds something else (for example, a certificate). A null PEM object aborts ("pem"). */
PB_EXPORT CRY_PKEY_PUBLIC *cryPkeyPublicTryCreateFromPem( CRY_PEM *pem );
/* cryPkeyPublicPem: the canonical PEM, a new reference; null aborts ("pub"). */
PB_EXPORT CRY_PEM *cryPkeyPublicPem( CRY_PKEY_PUBLIC *pub );
/* cryPkeyPublicInfo: the kind of the key, a new object. */
PB_EXPORT CRY_PKEY_INFO *cryPkeyPublicInfo( CRY_PKEY_PUBLIC *pub );
/* cryPkeyPublicStore: the store of the canonical PEM (cryPemStore). */
PB_EXPORT PB_STORE *cryPkeyPublicStore( CRY_PKEY_PUBLIC *pub );
/* cryPkeyPublicTryRestore: the key in a store of a PEM (cryPemTryRestore); null if the store holds
   no public key. A null store aborts ("store"). */
PB_EXPORT CRY_PKEY_PUBLIC *cryPkeyPublicTryRestore( PB_STORE *store );

/* cryPkeyPublicSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the canonical PEM. */
PB_EXPORT const PB_SORT   *cryPkeyPublicSort( void );
PB_EXPORT PB_OBJ          *cryPkeyPublicObj( CRY_PKEY_PUBLIC *obj );
PB_EXPORT CRY_PKEY_PUBLIC *cryPkeyPublicFrom( PB_OBJ *obj );
PB_EXPORT CRY_PKEY_PUBLIC *cryPkeyPublicRetain( CRY_PKEY_PUBLIC *obj );
PB_EXPORT void             cryPkeyPublicRelease( CRY_PKEY_PUBLIC *obj );
PB_EXPORT PB_INT           cryPkeyPublicCompare( CRY_PKEY_PUBLIC *objA, CRY_PKEY_PUBLIC *objB );
PB_EXPORT PB_BOOL          cryPkeyPublicEquals( CRY_PKEY_PUBLIC *objA, CRY_PKEY_PUBLIC *objB );
PB_EXPORT PB_STRING       *cryPkeyPublicToString( CRY_PKEY_PUBLIC *obj );

PB_END_DECLS

#endif
