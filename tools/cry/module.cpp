#include "module.hpp"

#include "output/error.hpp"
#include "text/convert.hpp"

pb::Ref<PB_RUNTIME_OPTIONS> tool::moduleOptions()
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    pbRuntimeOptionsSetWorkers( options.handle(), 1 );
    return options;
}

tool::Module::Module( PB_RUNTIME_OPTIONS *options ) : runtime( options )
{
    if( !runtime.started() )
        throw InputError( take( pbRuntimeStartError() ) );
}
