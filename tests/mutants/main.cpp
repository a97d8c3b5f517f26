// The tests of the base library alone, with real threads, for the planted bugs.
#include "support/environment.hpp"

#include <pb/pb_runtime.h>
#include <pb/ref.hpp>

// The base library keeps no state.
void support::startFamily( const std::string & )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    ASSERT_TRUE( pbRuntimeStart( options.get() ) );
}

int main( int argc, char **argv )
{
    testing::InitGoogleTest( &argc, argv );
    support::startFamily();
    int result = RUN_ALL_TESTS();
    if( pbRuntimeStarted() )
        pbRuntimeStop();
    return result;
}
