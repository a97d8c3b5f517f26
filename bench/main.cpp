#include "pairs.hpp"

#include <cstdio>
#include <pb/runtime.hpp>

int main( int argc, char **argv )
{
    pb::Runtime runtime{ "cry" };
    if( !runtime.started() )
    {
        pb::Ref<PB_STRING> error = pb::adopt( pbRuntimeStartError() );
        std::fprintf( stderr, "%s\n", pbStringPeekUtf8( error.get(), nullptr ) );
        return 1;
    }
    bench::registerHash();
    bench::registerCipher();
    bench::registerPem();
    bench::registerKeys();
    bench::registerX509();
    bench::registerIdentity();
    bench::registerCrl();
    bench::registerTraces();
    bench::registerConcurrency();
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
