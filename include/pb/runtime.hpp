// pb::Runtime, the C++ guard of a started runtime. C++ only.
#pragma once

#include <pb/pb_runtime.h>
#include <pb/ref.hpp>

#include <initializer_list>

namespace pb
{

// Starts the runtime with these modules, and stops it when the object ends. If it cannot be
// started, started() is false and pbRuntimeStartError gives the reason.
class Runtime
{
public:
    explicit Runtime( std::initializer_list<const char *> modules )
    {
        Ref<PB_RUNTIME_OPTIONS> options = adopt( pbRuntimeOptionsCreate() );
        for( const char *module : modules )
            pbRuntimeOptionsAppendModuleCstr( options.handle(), module, -1 );
        running = pbRuntimeStart( options.get() );
    }
    explicit Runtime( PB_RUNTIME_OPTIONS *options ) : running( pbRuntimeStart( options ) ) {}
    ~Runtime()
    {
        if( running )
            pbRuntimeStop();
    }
    Runtime( const Runtime & )            = delete;
    Runtime &operator=( const Runtime & ) = delete;

    bool started() const { return running; }

private:
    bool running;
};

}
