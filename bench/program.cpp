#include "program.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <pb/pb.h>
#include <pb/ref.hpp>

int bench::runProgram( int argc, char **argv, const std::function<void( const std::string &directory )> &registerAll )
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
    registerAll( directory );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all( directory );
    pbRuntimeStop();
    return 0;
}
