// Pairs of benchmarks: the same work done through the family ("…/ours") and with plain libcrypto as
// most programs write it ("…/plain"). bench/run prints the ratio of their medians.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <pb/pb.h>
#include <pb/ref.hpp>

#include <string>

namespace bench
{

// `prepare` is called before each run and is not measured. Work that takes seconds is repeated only
// `repetitions` times, and a run does the work `iterations` times; 0 means as often as the program
// is told.
template<class Ours, class Plain>
void pair(
    const std::string &name, Ours ours, Plain plain, int threads = 1, std::function<void()> prepare = [] {}, int repetitions = 0, int iterations = 0 )
{
    auto run = [=]( const std::string &full, auto work ) {
        auto *made = benchmark::RegisterBenchmark( full.c_str(),
            [work, prepare]( benchmark::State &state ) {
                prepare();
                for( auto _ : state )
                    work();
            } )
                         ->Threads( threads )
                         ->UseRealTime();
        if( repetitions )
            made->Repetitions( repetitions );
        if( iterations )
            made->Iterations( iterations );
    };
    run( name + "/ours", ours );
    run( name + "/plain", plain );
}

inline pb::Ref<PB_BUFFER> buffer( const std::string &bytes ) { return pb::adopt( pbBufferCreateFromBytes( bytes.data(), (PB_INT)bytes.size() ) ); }

// Each registers its pairs; the runtime is started.
void registerHash();
void registerCipher();
void registerPem();
void registerKeys();
void registerX509();
void registerIdentity();
void registerCrl();
void registerTraces();
void registerConcurrency();
void registerValidators();
void registerVault( const std::string &directory ); // the runtime's state directory

}
