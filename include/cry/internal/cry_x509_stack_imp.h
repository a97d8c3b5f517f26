/* The implementation of stacks. */
#ifndef CRY_INTERNAL_CRY_X509_STACK_IMP_H
#define CRY_INTERNAL_CRY_X509_STACK_IMP_H

#include <cry/cry_x509_stack_options.h>
#include <cry/internal/cry_x509_session_imp.h>
#include <pb/pb_signal.h>
#include <tr/tr_anchor.h>

PB_OBJECT_TYPE( CRY___X509_STACK_IMP );
/* CRY___X509_STACK_IMP: the process that keeps a stack current, and what it has published. Any
   thread may use it. */

PB_BEGIN_DECLS

/* The functions abort on a null object ("imp"), and mean what the functions of cry_x509_stack.h
   with the same name say. */

/* cry___X509StackImpCreate: the first state is published when it returns. `anchor` may be null.
   Null options abort ("opt"). */
PB_EXPORT CRY___X509_STACK_IMP *cry___X509StackImpCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor );
/* cry___X509StackImpHalt: ends the process; the published state stays. A second call aborts
   ("!pbProcessHalted( imp->isProcess )"). */
PB_EXPORT void cry___X509StackImpHalt( CRY___X509_STACK_IMP *imp );

/* cry___X509StackImpOptions: the options that were set last. */
PB_EXPORT CRY_X509_STACK_OPTIONS *cry___X509StackImpOptions( CRY___X509_STACK_IMP *imp );
/* cry___X509StackImpSetOptions: replaces them ("opt"). */
PB_EXPORT void cry___X509StackImpSetOptions( CRY___X509_STACK_IMP *imp, CRY_X509_STACK_OPTIONS *opt );
/* cry___X509StackImpCreateSessionImp: a new session of the published state; aborts if there is none
   yet ("imp->cnfOptions"). `anchor` may be null. */
PB_EXPORT CRY___X509_SESSION_IMP *cry___X509StackImpCreateSessionImp( CRY___X509_STACK_IMP *imp, TR_ANCHOR *anchor );

/* cry___X509StackImpUpdateAddSignalable, cry___X509StackImpUpdateDelSignalable: subscribe to the
   next change, and take the subscription back ("sigb"). */
PB_EXPORT void cry___X509StackImpUpdateAddSignalable( CRY___X509_STACK_IMP *imp, PB_SIGNALABLE *sigb );
PB_EXPORT void cry___X509StackImpUpdateDelSignalable( CRY___X509_STACK_IMP *imp, PB_SIGNALABLE *sigb );

/* cry___X509StackImpTraceCompleteAnchor: completes an anchor with the trace stream. */
PB_EXPORT void cry___X509StackImpTraceCompleteAnchor( CRY___X509_STACK_IMP *imp, TR_ANCHOR *anchor );

/* cry___X509StackImpSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight
   standard functions (docs/conventions.md). An implementation equals only itself. */
PB_EXPORT const PB_SORT        *cry___X509StackImpSort( void );
PB_EXPORT PB_OBJ               *cry___X509StackImpObj( CRY___X509_STACK_IMP *obj );
PB_EXPORT CRY___X509_STACK_IMP *cry___X509StackImpFrom( PB_OBJ *obj );
PB_EXPORT CRY___X509_STACK_IMP *cry___X509StackImpRetain( CRY___X509_STACK_IMP *obj );
PB_EXPORT void                  cry___X509StackImpRelease( CRY___X509_STACK_IMP *obj );
PB_EXPORT PB_INT                cry___X509StackImpCompare( CRY___X509_STACK_IMP *objA, CRY___X509_STACK_IMP *objB );
PB_EXPORT PB_BOOL               cry___X509StackImpEquals( CRY___X509_STACK_IMP *objA, CRY___X509_STACK_IMP *objB );
PB_EXPORT PB_STRING            *cry___X509StackImpToString( CRY___X509_STACK_IMP *obj );

PB_END_DECLS

#endif
