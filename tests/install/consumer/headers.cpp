// Every library's header is installed and complete, and every library is linked: the program prints
// the names of their modules.
#include <bn/bn.h>
#include <cry/cry.h>
#include <cs/cs.h>
#include <in/in.h>
#include <openssl_module/openssl_module.h>
#include <pb/module.hpp>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <pb/sort.hpp>
#include <rfc/rfc.h>
#include <tr/tr.h>

#include <cstdio>

int main()
{
    for( const PB_MODULE *module : { pbModule(), rfcModule(), bnModule(), inModule(), trModule(), csModule(), opensslModule(), cryModule() } )
        std::printf( "%s\n", pbModuleRecord( module )->moduleName );
}
