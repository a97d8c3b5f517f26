#include "pairs.hpp"

#include <cstdio>

int main( int argc, char **argv )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    if( !pbRuntimeStart( options.get() ) )
    {
        pb::Ref<PB_STRING> error = pb::adopt( pbRuntimeStartError() );
        std::fprintf( stderr, "%s\n", pbStringPeekUtf8( error.get(), nullptr ) );
        return 1;
    }
    bench::registerHash();
    bench::registerPem();
    bench::registerX509();
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
