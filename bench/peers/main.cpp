#include "peers.hpp"
#include "program.hpp"

int main( int argc, char **argv )
{
    return bench::runProgram( argc, argv, []( const std::string & ) {
#ifdef BENCH_MBEDTLS
        peers::registerMbedTls();
#endif
#ifdef BENCH_WOLFSSL
        peers::registerWolfSsl();
#endif
#ifdef BENCH_NETTLE
        peers::registerNettle();
#endif
#ifdef BENCH_BOOST
        peers::registerBoost();
#endif
    } );
}
