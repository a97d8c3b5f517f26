#include "pairs.hpp"
#include "program.hpp"

int main( int argc, char **argv )
{
    return bench::runProgram( argc, argv, []( const std::string &directory ) {
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
    } );
}
