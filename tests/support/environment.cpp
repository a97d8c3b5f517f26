#include "support/environment.hpp"

#include <bn/bn.h>
#include <cry/cry.h>
#include <cs/cs.h>
#include <in/in.h>
#include <openssl_module/internal/openssl_module.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <rfc/rfc.h>
#include <tr/tr.h>

#include <cstdlib>
#include <openssl/err.h>

namespace
{

// Starts the libraries before all tests and stops them after, with the modules that are linked into
// the program.
class Family : public testing::Environment
{
public:
    void SetUp() override
    {
        for( const PB_MODULE *module : { rfcModule(), bnModule(), inModule(), trModule(), csModule(), opensslModule(), cryModule() } )
            pbRuntimeRegisterModule( module );
        support::startFamily();
    }

    void TearDown() override
    {
        if( pbRuntimeStarted() )
            pbRuntimeStop();
    }
};

// Errors in OpenSSL's queue from one test are removed before the next test, for any tests in one
// process.
class EmptyErrorQueue : public testing::EmptyTestEventListener
{
    void OnTestStart( const testing::TestInfo & ) override { ERR_clear_error(); }
};

}

void support::startFamily( const std::string &stateDirectory )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    if( !stateDirectory.empty() )
        pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), stateDirectory.c_str(), -1 );
    if( !pbRuntimeStart( options.get() ) )
    {
        pb::Ref<PB_STRING> error = pb::adopt( pbRuntimeStartError() );
        FAIL() << pbStringPeekUtf8( error.get(), nullptr );
    }
}

int main( int argc, char **argv )
{
    // The tests run a second time in this way. All results are the same.
    if( std::getenv( "CRY_EAGER" ) )
        openssl___SetShortcutsUsed( PB_FALSE );
    testing::InitGoogleTest( &argc, argv );
    testing::AddGlobalTestEnvironment( new Family );
    testing::UnitTest::GetInstance()->listeners().Append( new EmptyErrorQueue );
    return RUN_ALL_TESTS();
}
