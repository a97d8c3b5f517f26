#include "pairs.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <pb/pb_runtime.h>

int main( int argc, char **argv )
{
    // If the machine has a file system in memory, the disk is not measured.
    std::string directory = std::filesystem::exists( "/dev/shm" ) ? "/dev/shm/bench-XXXXXX" : "/tmp/bench-XXXXXX";
    if( !mkdtemp( directory.data() ) )
    {
        std::perror( directory.c_str() );
        return 1;
    }
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), directory.c_str(), -1 );
    if( !pbRuntimeStart( options.get() ) )
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
    bench::registerValidators();
    bench::registerVault( directory );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all( directory );
    pbRuntimeStop();
    return 0;
}
