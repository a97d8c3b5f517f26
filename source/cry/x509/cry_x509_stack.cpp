#include <cry/internal/cry_x509_stack.h>
#include <cry/internal/cry_x509_stack_imp.h>
#include <pb/sort.hpp>

struct CRY_X509_STACK : PB_OBJ
{
    CRY___X509_STACK_IMP *imp;
};

static constexpr auto stackFields = pb::fields<&CRY_X509_STACK::imp>;

static void freeStack( CRY_X509_STACK *stack )
{
    PB_CHECK( stack );
    cry___X509StackImpHalt( stack->imp );
    stackFields.release( stack );
}

PB_SORT_DEFINE( cry, X509Stack, CRY_X509_STACK, .free = pb::slot<freeStack> )

CRY_X509_STACK *cryX509StackCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor )
{
    PB_CHECK( opt );
    CRY_X509_STACK *stack = pb::create<CRY_X509_STACK>();
    stack->imp            = cry___X509StackImpCreate( opt, anchor );
    return stack;
}

CRY_X509_STACK_OPTIONS *cryX509StackOptions( CRY_X509_STACK *stack ) { return PB_CHECK( stack ), cry___X509StackImpOptions( stack->imp ); }

void cryX509StackSetOptions( CRY_X509_STACK *stack, CRY_X509_STACK_OPTIONS *opt )
{
    PB_CHECK( stack ), cry___X509StackImpSetOptions( stack->imp, opt );
}

CRY___X509_SESSION_IMP *cry___X509StackCreateSessionImp( CRY_X509_STACK *stack, TR_ANCHOR *anchor )
{
    return PB_CHECK( stack ), cry___X509StackImpCreateSessionImp( stack->imp, anchor );
}

void cryX509StackUpdateAddSignalable( CRY_X509_STACK *stack, PB_SIGNALABLE *sigb )
{
    PB_CHECK( stack ), cry___X509StackImpUpdateAddSignalable( stack->imp, sigb );
}

void cryX509StackUpdateDelSignalable( CRY_X509_STACK *stack, PB_SIGNALABLE *sigb )
{
    PB_CHECK( stack ), cry___X509StackImpUpdateDelSignalable( stack->imp, sigb );
}

void cryX509StackTraceCompleteAnchor( CRY_X509_STACK *stack, TR_ANCHOR *anchor )
{
    PB_CHECK( stack ), cry___X509StackImpTraceCompleteAnchor( stack->imp, anchor );
}
