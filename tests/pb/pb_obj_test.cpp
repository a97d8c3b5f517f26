#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <thread>

using namespace support;

PB_OBJECT_TYPE( BARE );

// A sort without any slot, and a sort that counts the freed objects.
struct BARE : PB_OBJ
{
    PB_INT number;
};

static int freed = 0;

static void countFreed( PB_OBJ * ) { freed++; }

static const PB_SORT bareSort    = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), nullptr, "BARE", {} };
static const PB_SORT freeingSort = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), nullptr, "FREEING", { .free = countFreed } };

static pb::Ref<BARE> bare( const PB_SORT *sort = &bareSort ) { return pb::adopt( (BARE *)pb___ObjCreate( sizeof( BARE ), sort ) ); }

static int sign( PB_INT order ) { return order < 0 ? -1 : order > 0; }

TEST( PbObj, IsCreatedZeroedWithOneReference )
{
    pb::Ref<BARE> obj = bare();
    EXPECT_EQ( obj.get()->refCount, 1 );
    EXPECT_EQ( obj.get()->number, 0 );
    EXPECT_EQ( pbObjSort( obj.obj() ), &bareSort );
    EXPECT_STREQ( pbSortName( pbObjSort( obj.obj() ) ), "BARE" );
    EXPECT_FALSE( pbObjIsShared( obj.obj() ) );
}

TEST( PbObj, IsFreedWithItsLastReferenceOnly )
{
    freed       = 0;
    PB_OBJ *obj = bare( &freeingSort ).take();
    EXPECT_EQ( pbObjRetain( obj ), obj );
    EXPECT_TRUE( pbObjIsShared( obj ) );
    EXPECT_EQ( obj->refCount, 2 );
    pbObjRelease( obj );
    EXPECT_FALSE( pbObjIsShared( obj ) );
    EXPECT_EQ( freed, 0 );
    pbObjRelease( obj );
    EXPECT_EQ( freed, 1 );
}

TEST( PbObj, StaticObjectsAreNeverCountedNorFreed )
{
    PB_OBJ *empty = pbStringObj( pbStringCreate() );
    EXPECT_LT( empty->refCount, 0 );
    int64_t before = empty->refCount;
    EXPECT_EQ( pbObjRetain( empty ), empty );
    EXPECT_EQ( empty->refCount, before );
    for( int time = 0; time < 5; time++ )
        pbObjRelease( empty );
    EXPECT_EQ( empty->refCount, before );
    EXPECT_TRUE( pbObjIsShared( empty ) );
    EXPECT_EQ( pbStringLength( pbStringFrom( empty ) ), 0 );

    freed                 = 0;
    static BARE immovable = { { PB_OBJ_STATIC_REF_COUNT, &freeingSort }, 0 };
    pbObjRelease( &immovable );
    EXPECT_EQ( freed, 0 );
}

TEST( PbObj, NullComesFirstAndEqualsNull )
{
    pb::Ref<PB_STRING> obj = str( "" );
    EXPECT_EQ( pbObjCompare( nullptr, nullptr ), 0 );
    EXPECT_LT( pbObjCompare( nullptr, obj.obj() ), 0 );
    EXPECT_GT( pbObjCompare( obj.obj(), nullptr ), 0 );
    EXPECT_TRUE( pbObjEquals( nullptr, nullptr ) );
    EXPECT_FALSE( pbObjEquals( nullptr, obj.obj() ) );
    EXPECT_FALSE( pbObjEquals( obj.obj(), nullptr ) );
}

TEST( PbObj, ObjectsOfDifferentSortsAreOrderedBySortName )
{
    pb::Ref<PB_BOXED_INT> boxed  = pb::adopt( pbBoxedIntCreate( 1000 ) );
    pb::Ref<PB_BUFFER>    buffer = buf( "zzz" );
    pb::Ref<PB_STRING>    string = str( "a" );
    pb::Ref<BARE>         plain  = bare();
    // BARE, PB_BOXED_INT, PB_BUFFER, PB_STRING
    PB_OBJ *inOrder[] = { plain.obj(), boxed.obj(), buffer.obj(), string.obj() };
    for( int a = 0; a < 4; a++ )
    {
        for( int b = 0; b < 4; b++ )
            EXPECT_EQ( sign( pbObjCompare( inOrder[a], inOrder[b] ) ), sign( a - b ) ) << a << " " << b;
    }
}

TEST( PbObj, AnObjectWithoutAnOrderEqualsOnlyItself )
{
    pb::Ref<BARE> a = bare();
    pb::Ref<BARE> b = bare();
    EXPECT_EQ( pbObjCompare( a.obj(), a.obj() ), 0 );
    EXPECT_EQ( sign( pbObjCompare( a.obj(), b.obj() ) ), (uintptr_t)a.obj() < (uintptr_t)b.obj() ? -1 : 1 );
    EXPECT_EQ( sign( pbObjCompare( a.obj(), b.obj() ) ), -sign( pbObjCompare( b.obj(), a.obj() ) ) );
    EXPECT_FALSE( pbObjEquals( a.obj(), b.obj() ) );
}

TEST( PbObj, TextFormIsTheSlotsOrNameAndAddress )
{
    EXPECT_EQ( text( pb::adopt( pbObjToString( pb::adopt( pbBoxedIntCreate( -7 ) ).obj() ) ) ), "-7" );
    pb::Ref<BARE> obj = bare();
    char          wanted[64];
    std::snprintf( wanted, sizeof wanted, "BARE(0x%llx)", (unsigned long long)(uintptr_t)obj.obj() );
    EXPECT_EQ( text( pb::adopt( pbObjToString( obj.obj() ) ) ), wanted );
}

TEST( PbObj, LiveCountFollowsEveryCreationAndRelease )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_STRING> string = str( "counted" );
        EXPECT_EQ( pbObjLiveCount(), before + 1 );
        pb::Ref<PB_STRING> same = string;
        EXPECT_EQ( pbObjLiveCount(), before + 1 );
        pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
        pbVectorAppendObj( vector.handle(), string.obj() );
        EXPECT_EQ( pbObjLiveCount(), before + 2 );
        // Editing a shared object makes a copy.
        pbStringAppendCstr( same.handle(), "!", 1 );
        EXPECT_EQ( pbObjLiveCount(), before + 3 );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbObj, LiveCountLeavesStaticObjectsOut )
{
    PB_INT             before = pbObjLiveCount();
    pb::Ref<PB_STRING> empty  = pb::adopt( pbStringCreate() );
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbObj, LiveCountIsExactAfterThreadsHandedObjectsOver )
{
    static constexpr int threads = 300; // more threads than there are cells
    static constexpr int each    = 100;
    PB_INT               before  = pbObjLiveCount();

    std::vector<std::vector<pb::Ref<PB_BOXED_INT>>> made( threads );
    std::vector<std::thread>                        running;
    for( int number = 0; number < threads; number++ )
    {
        running.emplace_back( [&list = made[(size_t)number]] {
            for( PB_INT value = 0; value < each; value++ )
                list.push_back( pb::adopt( pbBoxedIntCreate( value ) ) );
        } );
    }
    for( std::thread &thread : running )
        thread.join();
    EXPECT_EQ( pbObjLiveCount(), before + threads * each );

    running.clear();
    for( int number = 0; number < 4; number++ )
    {
        running.emplace_back( [&made, number] {
            for( size_t list = (size_t)number; list < threads; list += 4 )
                made[list].clear();
        } );
    }
    for( std::thread &thread : running )
        thread.join();
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbObj, ReferencesMayBeTakenAndReleasedOnSeveralThreads )
{
    freed             = 0;
    pb::Ref<BARE> obj = bare( &freeingSort );
    {
        std::vector<std::thread> running;
        for( int number = 0; number < 4; number++ )
        {
            running.emplace_back( [held = obj] {
                for( int time = 0; time < 20000; time++ )
                    pb::Ref<BARE> another = held;
            } );
        }
        for( std::thread &thread : running )
            thread.join();
    }
    EXPECT_EQ( obj.get()->refCount, 1 );
    obj = {};
    EXPECT_EQ( freed, 1 );
}
