// Free slots run one after another, never inside another slot, never under a lock.
#include "objects/pb_obj_free.hpp"

#include <pb/pb.h>
#include <pb/sort.hpp>

#include "objects/pb_obj_count.hpp"
#include "support/contract.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <thread>

using namespace support;

PB_OBJECT_TYPE( NODE );

// An object that holds another one and records when it is freed.
struct NODE : PB_OBJ
{
    PB_INT number;
    NODE  *child;
};

extern "C" PB_EXPORT const PB_MODULE free___module;
extern "C" const PB_MODULE           free___module = {};

static std::string order;
static int         running      = 0;
static int         deepest      = 0;
static bool        comesBack    = false; // the slot takes a reference to its own object and releases it
static bool        breaksInside = false;

static constexpr auto nodeFields = pb::fields<&NODE::number, &NODE::child>;

static void freeNode( NODE *node )
{
    deepest = std::max( deepest, ++running );
    order += std::to_string( node->number ) + "<";
    if( comesBack )
    {
        pb::Ref<NODE> myself = pb::share( node );
        EXPECT_TRUE( pbObjIsShared( node ) );
    }
    PB_CHECK( !breaksInside );
    nodeFields.release( node );
    order += std::to_string( node->number ) + ">";
    running--;
}

PB_SORT_DEFINE( free, Node, NODE, .free = pb::slot<freeNode> )

static pb::Ref<NODE> node( PB_INT number, pb::Ref<NODE> child = {} )
{
    NODE *made   = pb::create<NODE>();
    made->number = number;
    made->child  = child.take();
    return pb::adopt( made );
}

class PbObjFree : public testing::Test
{
protected:
    void SetUp() override
    {
        order.clear();
        running = deepest = 0;
        comesBack = breaksInside = false;
        before                   = pbObjLiveCount();
    }
    void TearDown() override { EXPECT_EQ( pbObjLiveCount(), before ); }

    PB_INT before = 0;
};

TEST_F( PbObjFree, SlotsRunOneAfterAnother )
{
    pb::Ref<NODE> chain = node( 1, node( 2, node( 3 ) ) );
    chain               = {};
    EXPECT_EQ( order, "1<1>2<2>3<3>" );
    EXPECT_EQ( deepest, 1 );
}

TEST_F( PbObjFree, ASlotMayRetainAndReleaseItsOwnObject )
{
    comesBack           = true;
    pb::Ref<NODE> chain = node( 1, node( 2 ) );
    chain               = {};
    EXPECT_EQ( order, "1<1>2<2>" );
}

TEST_F( PbObjFree, WaitsUntilTheOutermostLockIsLeft )
{
    pb::Ref<NODE> first = node( 1, node( 2 ) ), second = node( 3 );
    NODE         *waiting = first.get();
    pb::enterLock();
    pb::enterLock();
    first = {};
    EXPECT_LT( waiting->refCount, 0 );
    pbObjRelease( pbObjRetain( waiting ) );
    second = {};
    pb::leaveLock();
    EXPECT_EQ( order, "" );
    pb::leaveLock();
    EXPECT_EQ( order, "1<1>3<3>2<2>" );
}

TEST_F( PbObjFree, OtherThreadsFreeWhileOneHoldsALock )
{
    pb::Ref<NODE> mine = node( 1 ), theirs = node( 2 );
    pb::enterLock();
    mine = {};
    std::thread( [&] { theirs = {}; } ).join();
    EXPECT_EQ( order, "2<2>" );
    pb::leaveLock();
    EXPECT_EQ( order, "2<2>1<1>" );
}

TEST_F( PbObjFree, AnAbortLeavesLocksAndSlots )
{
    pb::Ref<NODE> waiting = node( 1 ), broken = node( 2 ), after = node( 3 );
    pb::enterLock();
    waiting = {};
    EXPECT_ABORT( "tests/pb/pb_obj_free_test.cpp", "running", PB_CHECK( running ) );
    // The lock was never unlocked, but the objects no longer wait for it.
    breaksInside = false;
    after        = {};
    EXPECT_EQ( order, "1<1>3<3>" );

    breaksInside = true;
    NODE *lost   = broken.take();
    EXPECT_ABORT( "tests/pb/pb_obj_free_test.cpp", "!breaksInside", pbObjRelease( lost ) );
    breaksInside = false;
    running      = 0;
    order.clear();
    node( 4 );
    EXPECT_EQ( order, "4<4>" );
    // The object whose slot aborted is never freed.
    lost->child = nullptr;
    free( lost );
    pb::countLive( -1 );
}

TEST_F( PbObjFree, AMillionNestedVectorsAreFreedWithoutDeepRecursion )
{
    PB_VECTOR *vec = pbVectorCreate();
    for( int depth = 0; depth < 1000000; depth++ )
    {
        PB_VECTOR *outer = pbVectorCreate();
        pbVectorAppendObj( &outer, pbVectorObj( vec ) );
        pbVectorRelease( vec );
        vec = outer;
    }
    pbVectorRelease( vec );
}

TEST_F( PbObjFree, AThreadThatEndsGivesItsCellBack )
{
    for( int number = 0; number < 1000; number++ )
    {
        unsigned cell = 0;
        std::thread( [&cell] {
            node( 1 );
            cell = pb::threadState.liveCellPlus - 1;
        } ).join();
        ASSERT_LT( cell, pb::sharedCell ) << number;
    }
}
