#include <cs/cs_sort_backend.h>

#include <pb/locks.hpp>

#include "cry/x509/stacks.hpp"
#include "cs/toys.hpp"
#include "support/environment.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <thread>
#include <vector>

using namespace support;
using toys::lookup;

static pb::Ref<CS_SORT_BACKEND> lookupName( std::string_view name ) { return pb::adopt( csSortBackendLookupName( str( name ).get() ) ); }

static bool equal( const pb::Ref<CS_SORT_BACKEND> &a, const pb::Ref<CS_SORT_BACKEND> &b ) { return csSortBackendEquals( a.get(), b.get() ); }

TEST( CsSortBackend, IsFoundBySortAndByNameAsLongAsItIsHeld )
{
    EXPECT_FALSE( lookup() );
    EXPECT_FALSE( lookupName( "TOY" ) );
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    EXPECT_EQ( csSortBackendObjSort( backend.get() ), &toys::sort );
    EXPECT_TRUE( equal( lookup(), backend ) );
    EXPECT_TRUE( equal( lookupName( "TOY" ), backend ) );
    EXPECT_EQ( csSortBackendObjSort( lookupName( "TOY" ).get() ), &toys::sort );
    for( std::string_view other : { "", "TO", "TOYS", "toy", "OTHER_TOY" } )
        EXPECT_FALSE( lookupName( other ) ) << other;
    EXPECT_FALSE( lookupName( { "TOY\0", 4 } ) );
    EXPECT_FALSE( lookup( &toys::otherSort ) );
    backend = {};
    EXPECT_FALSE( lookup() );
    EXPECT_FALSE( lookupName( "TOY" ) );
}

TEST( CsSortBackend, StaysRegisteredWhileTheResultOfALookUpIsHeld )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<CS_SORT_BACKEND> found   = lookup();
    backend                          = {};
    EXPECT_TRUE( equal( lookup(), found ) );
    EXPECT_EQ( csSortBackendObjSort( found.get() ), &toys::sort );
    found = {};
    EXPECT_FALSE( lookup() );
}

TEST( CsSortBackend, TheNewestOneThatIsLeftCounts )
{
    pb::Ref<CS_SORT_BACKEND> backends[3];
    for( pb::Ref<CS_SORT_BACKEND> &backend : backends )
    {
        backend = toys::backend();
        EXPECT_TRUE( equal( lookup(), backend ) );
    }
    backends[1] = {};
    EXPECT_TRUE( equal( lookup(), backends[2] ) );
    backends[2] = {};
    EXPECT_TRUE( equal( lookup(), backends[0] ) );
    EXPECT_TRUE( equal( lookupName( "TOY" ), backends[0] ) );
    backends[0] = {};
    EXPECT_FALSE( lookup() );
}

TEST( CsSortBackend, SortsHaveBackendsOfTheirOwn )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<CS_SORT_BACKEND> other   = toys::creatingBackend( &toys::otherSort, toys::createOther );
    EXPECT_TRUE( equal( lookup(), backend ) );
    EXPECT_TRUE( equal( lookupName( "OTHER_TOY" ), other ) );
    other = {};
    EXPECT_TRUE( equal( lookup(), backend ) );
    EXPECT_FALSE( lookup( &toys::otherSort ) );
}

TEST( CsSortBackend, EqualsWhatALookUpFindsAndNoOther )
{
    pb::Ref<CS_SORT_BACKEND> older = toys::backend();
    pb::Ref<CS_SORT_BACKEND> found = lookup();
    pb::Ref<CS_SORT_BACKEND> newer = toys::backend();
    EXPECT_TRUE( equal( older, found ) );
    EXPECT_EQ( csSortBackendCompare( older.get(), found.get() ), 0 );
    EXPECT_FALSE( equal( older, newer ) );
    PB_INT order = csSortBackendCompare( older.get(), newer.get() );
    EXPECT_NE( order, 0 );
    EXPECT_EQ( csSortBackendCompare( newer.get(), found.get() ), -order );
}

// The last reference that is released under a monitor is set aside. A look-up must not give an
// object that is going to be freed.
TEST( CsSortBackend, IsFoundAliveWhileItsLastReferenceIsSetAside )
{
    pb::Ref<PB_MONITOR>      monitor = pb::adopt( pbMonitorCreate() );
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<CS_SORT_BACKEND> found;
    {
        pb::InMonitor inside( monitor.get() );
        backend = {};
        found   = lookup();
    }
    ASSERT_TRUE( found );
    EXPECT_TRUE( equal( lookup(), found ) );
    found = {};
    EXPECT_FALSE( lookup() );
}

TEST( CsSortBackend, UnregistersAfterTheStopToo )
{
    pb::Ref<CS_SORT_BACKEND> kept    = toys::backend();
    pb::Ref<CS_SORT_BACKEND> dropped = toys::creatingBackend( &toys::otherSort, toys::createOther );
    pbRuntimeStop();
    dropped = {};
    startFamily();
    EXPECT_TRUE( equal( lookup(), kept ) );
    EXPECT_FALSE( lookup( &toys::otherSort ) );
}

namespace
{

std::atomic<int> made{ 0 };

PB_OBJ *createCounted( PB_STORE *config, TR_ANCHOR *anchor )
{
    made++;
    return toys::create( config, anchor );
}

// Runs each function this often, on a thread of its own. They begin together.
template<class... Functions>
void repeat( int times, Functions... functions )
{
    std::latch                start( sizeof...( functions ) );
    std::vector<std::jthread> threads;
    ( threads.emplace_back( [times, functions, &start] {
        start.arrive_and_wait();
        for( int round = 0; round < times; round++ )
            functions();
    } ),
        ... );
}

}

TEST( CsSortBackend, ALookUpGivesALiveOneOrNoneWhileOthersComeAndGo )
{
    made             = 0;
    PB_INT before    = aliveAtRest(); // an earlier test may have runs left
    auto   comeAndGo = [] { toys::creatingBackend( &toys::sort, createCounted ); };
    auto   look      = [] {
        if( pb::Ref<CS_SORT_BACKEND> backend = lookup() )
            EXPECT_EQ( csSortBackendObjSort( backend.get() ), &toys::sort );
        if( pb::Ref<CS_SORT_BACKEND> backend = lookupName( "TOY" ) )
            EXPECT_TRUE( equal( backend, backend ) );
    };
    std::atomic<int> got{ 0 };
    auto             make = [&got] { got += (bool)pb::adopt( csObjectTryCreate( &toys::sort, nullptr, nullptr ) ); };
    repeat( 20000, comeAndGo, comeAndGo, look, look, [&make] { make(); } );
    EXPECT_EQ( made, got );
    EXPECT_FALSE( lookup() );
    EXPECT_EQ( aliveAtRest(), before );
}

TEST( CsSortBackend, ALookUpAlwaysFindsOneThatStays )
{
    pb::Ref<CS_SORT_BACKEND> stays = toys::backend();
    repeat(
        20000, [] { toys::backend(); }, [] { toys::backend(); }, [] { EXPECT_TRUE( lookup() ); },
        [] { EXPECT_TRUE( pb::adopt( csObjectTryCreate( &toys::sort, nullptr, nullptr ) ) ); } );
    EXPECT_TRUE( equal( lookup(), stays ) );
}
