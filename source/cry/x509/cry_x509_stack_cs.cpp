#include <cry/cry_x509_stack.h>
#include <cry/internal/cry_module.h>
#include <cs/cs_sort_backend.h>
#include <pb/sort.hpp>

// How the configuration library makes stacks: a stack's configuration is the store of its options.
static CS_SORT_BACKEND *cry___x509StackCsBackend;

static PB_OBJ *createStack( PB_STORE *config, TR_ANCHOR *anchor )
{
    auto options = pb::adopt( config ? cryX509StackOptionsRestore( config ) : cryX509StackOptionsCreate() );
    return cryX509StackObj( cryX509StackCreate( options.get(), anchor ) );
}

static PB_STORE *configuration( PB_OBJ *obj, PB_BOOL storeDefaults, PB_INT identityStoreFlags )
{
    auto options = pb::adopt( cryX509StackOptions( cryX509StackFrom( obj ) ) );
    return cryX509StackOptionsStore( options.get(), storeDefaults, identityStoreFlags );
}

static void setConfiguration( PB_OBJ *obj, PB_STORE *config )
{
    cryX509StackSetOptions( cryX509StackFrom( obj ), pb::adopt( cryX509StackOptionsRestore( config ) ).get() );
}

static PB_STORE *normalize( PB_STORE *config, PB_BOOL storeDefaults, PB_INT identityStoreFlags )
{
    PB_CHECK( config );
    return cryX509StackOptionsStore( pb::adopt( cryX509StackOptionsRestore( config ) ).get(), storeDefaults, identityStoreFlags );
}

static void traceCompleteAnchor( PB_OBJ *obj, TR_ANCHOR *anchor ) { cryX509StackTraceCompleteAnchor( cryX509StackFrom( obj ), anchor ); }

void cry___X509StackCsStartup()
{
    cry___x509StackCsBackend = csSortBackendCreate(
        cryX509StackSort(), createStack, configuration, setConfiguration, normalize, nullptr, traceCompleteAnchor, nullptr );
}

void cry___X509StackCsShutdown() { pb::Field<CS_SORT_BACKEND *>::release( cry___x509StackCsBackend ); }
