/* Stacks: an identity and a trust that are kept current. */
#ifndef CRY_CRY_X509_STACK_H
#define CRY_CRY_X509_STACK_H

#include <cry/cry_x509_stack_options.h>
#include <pb/pb_signal.h>
#include <tr/tr_anchor.h>

PB_OBJECT_TYPE( CRY_X509_STACK );
/* Any thread may use a CRY_X509_STACK. */

PB_BEGIN_DECLS

/* A stack makes an identity and trusted certificates out of its options, the vault, the platform's
   roots or a key that it generates, and publishes them together as one state. It follows changes of
   all of these by itself, on the runtime's background thread. Sessions (cry_x509_session.h) pin one
   published state. A stack works until its last reference is released; its sessions hold it, too.

   In CRY_X509_STACK_IDENTITY_MODE_GENERATE the stack generates an RSA key of 2048 bits and a
   certificate that is valid for 28 days, and renews both after 14 days; if that fails, it has no
   identity and tries again after an hour. In CRY_X509_STACK_IDENTITY_MODE_VAULT it has the identity
   of the vault's item, or none as long as there is no such item.

   The functions abort on a null stack ("stack"). */

/* cryX509StackCreate: a stack with these options, whose first state is already published. May block
   while a key is generated or a certificate store is built. `anchor` is null, or it is completed
   with the stack's trace stream. Null options abort ("opt"). */
PB_EXPORT CRY_X509_STACK *cryX509StackCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor );

/* cryX509StackOptions: the options that were set last, a new reference. The published state may
   still be that of older ones. */
PB_EXPORT CRY_X509_STACK_OPTIONS *cryX509StackOptions( CRY_X509_STACK *stack );
/* cryX509StackSetOptions: replaces the options and tells the subscribers; the state that they give
   is published soon. Null options abort ("opt"). */
PB_EXPORT void cryX509StackSetOptions( CRY_X509_STACK *stack, CRY_X509_STACK_OPTIONS *opt );

/* cryX509StackUpdateAddSignalable: subscribes to the next change: other options were set, or
   another state was published. A signalable is told once; for each further change it is added
   again. Subscribe before you read. Null aborts ("sigb"). */
PB_EXPORT void cryX509StackUpdateAddSignalable( CRY_X509_STACK *stack, PB_SIGNALABLE *sigb );
/* cryX509StackUpdateDelSignalable: takes the subscription back. Null aborts ("sigb"). */
PB_EXPORT void cryX509StackUpdateDelSignalable( CRY_X509_STACK *stack, PB_SIGNALABLE *sigb );

/* cryX509StackTraceCompleteAnchor: completes an anchor with the stack's trace stream. Null aborts
   ("anchor"). */
PB_EXPORT void cryX509StackTraceCompleteAnchor( CRY_X509_STACK *stack, TR_ANCHOR *anchor );

/* cryX509StackSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A stack equals only itself. */
PB_EXPORT const PB_SORT  *cryX509StackSort( void );
PB_EXPORT PB_OBJ         *cryX509StackObj( CRY_X509_STACK *obj );
PB_EXPORT CRY_X509_STACK *cryX509StackFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_STACK *cryX509StackRetain( CRY_X509_STACK *obj );
PB_EXPORT void            cryX509StackRelease( CRY_X509_STACK *obj );
PB_EXPORT PB_INT          cryX509StackCompare( CRY_X509_STACK *objA, CRY_X509_STACK *objB );
PB_EXPORT PB_BOOL         cryX509StackEquals( CRY_X509_STACK *objA, CRY_X509_STACK *objB );
PB_EXPORT PB_STRING      *cryX509StackToString( CRY_X509_STACK *obj );

PB_END_DECLS

#endif
