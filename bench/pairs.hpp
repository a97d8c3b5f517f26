// Pairs of benchmarks: the same work done through the family ("…/ours") and with plain libcrypto as
// most programs write it ("…/plain"). bench/run prints the ratio of their medians.
#pragma once

#include <benchmark/benchmark.h>
#include <pb/pb.h>
#include <pb/ref.hpp>

#include <string>

namespace bench
{

template<class Ours, class Plain>
void pair( const std::string &name, Ours ours, Plain plain, int threads = 1 )
{
    auto run = [threads]( const std::string &full, auto work ) {
        benchmark::RegisterBenchmark( full.c_str(),
            [work]( benchmark::State &state ) {
                for( auto _ : state )
                    work();
            } )
            ->Threads( threads )
            ->UseRealTime();
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

}
