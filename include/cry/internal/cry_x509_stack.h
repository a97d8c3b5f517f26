/* Stacks, for sessions. */
#ifndef CRY_INTERNAL_CRY_X509_STACK_H
#define CRY_INTERNAL_CRY_X509_STACK_H

#include <cry/cry_x509_stack.h>
#include <cry/internal/cry_x509_session_imp.h>

PB_BEGIN_DECLS

/* cry___X509StackCreateSessionImp: the implementation of a new session of the published state.
   `anchor` may be null. A null stack aborts ("stack"). */
PB_EXPORT CRY___X509_SESSION_IMP *cry___X509StackCreateSessionImp( CRY_X509_STACK *stack, TR_ANCHOR *anchor );

PB_END_DECLS

#endif
