/* Sessions: one published state of a stack, pinned. */
#ifndef CRY_CRY_X509_SESSION_H
#define CRY_CRY_X509_SESSION_H

#include <cry/cry_x509_stack.h>

PB_OBJECT_TYPE( CRY_X509_SESSION );
/* A CRY_X509_SESSION cannot change but for the two marks; any thread may use it. */

PB_BEGIN_DECLS

/* A session keeps the state that its stack had published when the session was made. It does not
   follow the stack; it says if the stack has published another identity or trust since then, so
   that its owner can make a new session when that suits him.

   The functions abort on a null session ("sess"). Getters give a new reference. */

/* cryX509SessionCreate: a session of the stack's published state. It holds the stack. `anchor` is
   null, or it is completed with the session's trace stream. A null stack aborts ("stack"). */
PB_EXPORT CRY_X509_SESSION *cryX509SessionCreate( CRY_X509_STACK *stack, TR_ANCHOR *anchor );

/* cryX509SessionStack: the stack. */
PB_EXPORT CRY_X509_STACK *cryX509SessionStack( CRY_X509_SESSION *sess );
/* cryX509SessionOptions: the options from which the state was made. */
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509SessionOptions( CRY_X509_SESSION *sess );
/* cryX509SessionHasIdentity: whether the stack had an identity. */
PB_EXPORT PB_BOOL cryX509SessionHasIdentity( CRY_X509_SESSION *sess );
/* cryX509SessionIdentity: the identity, or null if there was none. */
PB_EXPORT CRY_X509_IDENTITY *cryX509SessionIdentity( CRY_X509_SESSION *sess );
/* cryX509SessionTrustedCertificates: all certificates that are trusted. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509SessionTrustedCertificates( CRY_X509_SESSION *sess );
/* cryX509SessionTrustedSans: names of which a peer's certificate must have one, if the set is not
   empty. */
PB_EXPORT CRY_X509_SANS *cryX509SessionTrustedSans( CRY_X509_SESSION *sess );

/* cryX509SessionIdentityChanged, cryX509SessionTrustChanged: whether the stack has published
   another identity, or other trusted certificates or names, after the session was made. Once true,
   it stays true. */
PB_EXPORT PB_BOOL cryX509SessionIdentityChanged( CRY_X509_SESSION *sess );
PB_EXPORT PB_BOOL cryX509SessionTrustChanged( CRY_X509_SESSION *sess );
/* cryX509SessionIdentityChangedAddSignalable, cryX509SessionIdentityChangedDelSignalable,
   cryX509SessionTrustChangedAddSignalable, cryX509SessionTrustChangedDelSignalable: subscribe to
   that change, and take the subscription back. Null aborts ("sigb"). */
PB_EXPORT void cryX509SessionIdentityChangedAddSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb );
PB_EXPORT void cryX509SessionIdentityChangedDelSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb );
PB_EXPORT void cryX509SessionTrustChangedAddSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb );
PB_EXPORT void cryX509SessionTrustChangedDelSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb );

/* cryX509SessionTraceCompleteAnchor: completes an anchor with the session's trace stream. Null
   aborts ("anchor"). */
PB_EXPORT void cryX509SessionTraceCompleteAnchor( CRY_X509_SESSION *sess, TR_ANCHOR *anchor );

/* cryX509SessionSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A session equals only itself. */
PB_EXPORT const PB_SORT    *cryX509SessionSort( void );
PB_EXPORT PB_OBJ           *cryX509SessionObj( CRY_X509_SESSION *obj );
PB_EXPORT CRY_X509_SESSION *cryX509SessionFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_SESSION *cryX509SessionRetain( CRY_X509_SESSION *obj );
PB_EXPORT void              cryX509SessionRelease( CRY_X509_SESSION *obj );
PB_EXPORT PB_INT            cryX509SessionCompare( CRY_X509_SESSION *objA, CRY_X509_SESSION *objB );
PB_EXPORT PB_BOOL           cryX509SessionEquals( CRY_X509_SESSION *objA, CRY_X509_SESSION *objB );
PB_EXPORT PB_STRING        *cryX509SessionToString( CRY_X509_SESSION *obj );

PB_END_DECLS

#endif
