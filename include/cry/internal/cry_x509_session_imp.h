/* The implementation of sessions. */
#ifndef CRY_INTERNAL_CRY_X509_SESSION_IMP_H
#define CRY_INTERNAL_CRY_X509_SESSION_IMP_H

#include <cry/cry_x509_stack_options.h>
#include <openssl/x509.h>
#include <pb/pb_signal.h>
#include <tr/tr_anchor.h>

PB_OBJECT_TYPE( CRY___X509_SESSION_IMP );
/* CRY___X509_SESSION_IMP: what a session pins. It cannot change but for the two marks; any thread
   may use it. */

PB_BEGIN_DECLS

/* The functions abort on a null object ("imp"). Getters give a new reference and mean what the
   functions of cry_x509_session.h with the same name say. */

/* cry___X509SessionImpCreate: keeps these objects and the OpenSSL store, of which it takes a
   reference. Its own signals are asserted when the two signals are. `ident`, `trustedSans` and
   `anchor` may be null; null in place of the others aborts ("options", "trustedCertificates",
   "x509Store", "identityChangedSignal", "trustChangedSignal"). */
PB_EXPORT CRY___X509_SESSION_IMP *cry___X509SessionImpCreate( CRY_X509_STACK_OPTIONS *options, CRY_X509_IDENTITY *ident,
    CRY_X509_CERTIFICATES *trustedCertificates, CRY_X509_SANS *trustedSans, X509_STORE *x509Store, PB_SIGNAL *identityChangedSignal,
    PB_SIGNAL *trustChangedSignal, TR_ANCHOR *anchor );
/* cry___X509SessionImpHalt: traces that the session ends; it has no process. */
PB_EXPORT void cry___X509SessionImpHalt( CRY___X509_SESSION_IMP *imp );

/* cry___X509SessionImpOptions, cry___X509SessionImpHasIdentity, cry___X509SessionImpIdentity,
   cry___X509SessionImpTrustedCertificates, cry___X509SessionImpTrustedSans: what it keeps. */
PB_EXPORT CRY_X509_STACK_OPTIONS *cry___X509SessionImpOptions( CRY___X509_SESSION_IMP *imp );
PB_EXPORT PB_BOOL                 cry___X509SessionImpHasIdentity( CRY___X509_SESSION_IMP *imp );
PB_EXPORT CRY_X509_IDENTITY      *cry___X509SessionImpIdentity( CRY___X509_SESSION_IMP *imp );
PB_EXPORT CRY_X509_CERTIFICATES  *cry___X509SessionImpTrustedCertificates( CRY___X509_SESSION_IMP *imp );
PB_EXPORT CRY_X509_SANS          *cry___X509SessionImpTrustedSans( CRY___X509_SESSION_IMP *imp );
/* cry___X509SessionImpPeekOpensslX509Store: the OpenSSL store of the trusted certificates, lent
   while the caller holds the object; it must not be edited. */
PB_EXPORT X509_STORE *cry___X509SessionImpPeekOpensslX509Store( CRY___X509_SESSION_IMP *imp );

/* cry___X509SessionImpIdentityChanged, cry___X509SessionImpTrustChanged: the two marks. */
PB_EXPORT PB_BOOL cry___X509SessionImpIdentityChanged( CRY___X509_SESSION_IMP *imp );
PB_EXPORT PB_BOOL cry___X509SessionImpTrustChanged( CRY___X509_SESSION_IMP *imp );
/* cry___X509SessionImpIdentityChangedAddSignalable,
   cry___X509SessionImpIdentityChangedDelSignalable, cry___X509SessionImpTrustChangedAddSignalable,
   cry___X509SessionImpTrustChangedDelSignalable: subscribe to a mark, and take the subscription
   back. */
PB_EXPORT void cry___X509SessionImpIdentityChangedAddSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509SessionImpIdentityChangedDelSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509SessionImpTrustChangedAddSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509SessionImpTrustChangedDelSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb );

/* cry___X509SessionImpTraceCompleteAnchor: completes an anchor with the trace stream. */
PB_EXPORT void cry___X509SessionImpTraceCompleteAnchor( CRY___X509_SESSION_IMP *imp, TR_ANCHOR *anchor );

/* cry___X509SessionImpSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight
   standard functions (docs/conventions.md). An implementation equals only itself. */
PB_EXPORT const PB_SORT          *cry___X509SessionImpSort( void );
PB_EXPORT PB_OBJ                 *cry___X509SessionImpObj( CRY___X509_SESSION_IMP *obj );
PB_EXPORT CRY___X509_SESSION_IMP *cry___X509SessionImpFrom( PB_OBJ *obj );
PB_EXPORT CRY___X509_SESSION_IMP *cry___X509SessionImpRetain( CRY___X509_SESSION_IMP *obj );
PB_EXPORT void                    cry___X509SessionImpRelease( CRY___X509_SESSION_IMP *obj );
PB_EXPORT PB_INT                  cry___X509SessionImpCompare( CRY___X509_SESSION_IMP *objA, CRY___X509_SESSION_IMP *objB );
PB_EXPORT PB_BOOL                 cry___X509SessionImpEquals( CRY___X509_SESSION_IMP *objA, CRY___X509_SESSION_IMP *objB );
PB_EXPORT PB_STRING              *cry___X509SessionImpToString( CRY___X509_SESSION_IMP *obj );

PB_END_DECLS

#endif
