#include <pb/each.hpp>
#include <pb/pb.h>
#include <pb/published.hpp>
#include <pb/sort.hpp>

#include "support/text.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace support;

PB_OBJECT_TYPE( LISTED );
PB_OBJECT_TYPE( GUARDED );

struct LISTED : PB_OBJ
{
    PB_INT     count;
    PB_BOOL    flag;
    PB_BOOL    besideIt;
    PB_STRING *name;
    PB_STRING *other;
};

// Each wrong list names fields whose sizes add up to those of the struct.
static_assert( pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name, &LISTED::other>::isComplete() );
static_assert( pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name, &LISTED::other>::isInOrder() );
static_assert( !pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::name, &LISTED::other>::isComplete(), "a flag beside another is missing" );
static_assert( !pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name>::isComplete(), "the last one is missing" );
static_assert( !pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name, &LISTED::other, &LISTED::other>::isComplete(),
    "one is named once more" );
#ifndef __clang__
static_assert( !pb::Fields<&LISTED::count, &LISTED::besideIt, &LISTED::flag, &LISTED::name, &LISTED::other>::isInOrder(), "two are swapped" );
static_assert( !pb::Fields<&LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name, &LISTED::name>::isInOrder(), "one is named twice" );
static_assert( !pb::Fields<&LISTED::other, &LISTED::count, &LISTED::flag, &LISTED::besideIt, &LISTED::name>::isInOrder(), "the last one is first" );
#endif

// Fields that need a constructor, an array, and a value that is made once.
struct GUARDED : PB_OBJ
{
    std::mutex                 mutex;
    std::atomic<int>           atomic = 7;
    PB_BYTE                    bytes[3];
    pb::Published<PB_STRING *> made;
};

template<>
struct pb::Field<std::mutex> : pb::OwnField<std::mutex>
{
};
template<>
struct pb::Field<std::atomic<int>> : pb::OwnField<std::atomic<int>>
{
};
template<>
struct pb::Field<PB_BYTE[3]>
{
    static void release( PB_BYTE ( & )[3] ) {}
    static void copy( PB_BYTE ( &to )[3], const PB_BYTE ( &from )[3] ) { std::copy( from, from + 3, to ); }
};

static constexpr auto guardedFields = pb::fields<&GUARDED::mutex, &GUARDED::atomic, &GUARDED::bytes, &GUARDED::made>;
static_assert( !pb::Fields<&GUARDED::mutex, &GUARDED::bytes, &GUARDED::made>::isComplete(), "an atomic is missing" );
static_assert( !pb::Fields<&GUARDED::mutex, &GUARDED::atomic, &GUARDED::made>::isComplete(), "an array is missing" );

static bool wasPoisoned = false;

extern "C" PB_EXPORT const PB_MODULE listed___module;
extern "C" const PB_MODULE           listed___module = {};

static void freeGuarded( GUARDED *guarded )
{
    guardedFields.release( guarded );
    wasPoisoned = pb::isPoison( guarded->made.get() );
}

PB_SORT_DEFINE( listed, Guarded, GUARDED, .free = pb::slot<freeGuarded> )

TEST( PbFields, FieldsAreConstructedAndCopiedAsTheirTypesSay )
{
    pb::Ref<GUARDED> guarded = pb::adopt( pb::create<GUARDED>() );
    EXPECT_EQ( guarded.get()->refCount, 1 );
    EXPECT_EQ( guarded.get()->sort, listedGuardedSort() );
    EXPECT_EQ( guarded.get()->atomic, 7 );
    EXPECT_EQ( guarded.get()->bytes[2], 0 );
    EXPECT_EQ( guarded.get()->made.get(), nullptr );
    EXPECT_TRUE( guarded.get()->mutex.try_lock() );
    guarded.get()->mutex.unlock();

    guarded.get()->atomic   = 8;
    guarded.get()->bytes[2] = 9;
    guarded.get()->made.getOrMake( [] { return str( "made" ).take(); } );
    pb::Ref<GUARDED> copy = pb::adopt( pb::copyOf( guardedFields, guarded.get() ) );
    EXPECT_EQ( copy.get()->atomic, 7 );
    EXPECT_EQ( copy.get()->bytes[2], 9 );
    EXPECT_EQ( copy.get()->made.get(), nullptr );

    wasPoisoned = false;
    guarded     = {};
    EXPECT_TRUE( wasPoisoned );
}

TEST( PbPublished, IsMadeOnceAndShared )
{
    pb::Ref<GUARDED> guarded = pb::adopt( pb::create<GUARDED>() );
    int              calls   = 0;
    auto             make    = [&calls] { return calls++, str( "a value that needs memory of its own" ).take(); };
    PB_STRING       *first   = guarded.get()->made.getOrMake( make );
    EXPECT_EQ( guarded.get()->made.getOrMake( make ), first );
    EXPECT_EQ( guarded.get()->made.get(), first );
    EXPECT_EQ( calls, 1 );
    guarded.get()->made.clear();
    EXPECT_EQ( guarded.get()->made.get(), nullptr );
    EXPECT_NE( guarded.get()->made.getOrMake( make ), nullptr );
    EXPECT_EQ( calls, 2 );
}

TEST( PbPublished, FailureIsNotPublished )
{
    pb::Ref<GUARDED> guarded = pb::adopt( pb::create<GUARDED>() );
    EXPECT_EQ( guarded.get()->made.getOrMake( []() -> PB_STRING * { return nullptr; } ), nullptr );
    EXPECT_NE( guarded.get()->made.getOrMake( [] { return str( "later" ).take(); } ), nullptr );
}

TEST( PbPublished, ThreadsGetTheSameValueAndLosersAreDropped )
{
    PB_INT before = pbObjLiveCount();
    for( int round = 0; round < 200; round++ )
    {
        pb::Ref<GUARDED>         guarded = pb::adopt( pb::create<GUARDED>() );
        PB_STRING               *seen[4] = {};
        std::atomic<int>         waiting{ 0 };
        std::vector<std::thread> threads;
        for( PB_STRING *&mine : seen )
            threads.emplace_back( [&] {
                waiting++;
                while( waiting < 4 )
                    std::this_thread::yield();
                mine = guarded.get()->made.getOrMake( [] { return str( "a value that needs memory of its own" ).take(); } );
            } );
        for( std::thread &thread : threads )
            thread.join();
        for( PB_STRING *mine : seen )
            EXPECT_EQ( mine, guarded.get()->made.get() );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbEach, LendsTheObjectsInOrder )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( pbVectorCreate() );
    for( const char *text : { "a", "b", "c" } )
        pbVectorAppendObj( vec.handle(), str( text ).obj() );
    std::string all;
    for( PB_STRING *each : pb::each<PB_STRING>( vec ) )
        all += text( each );
    EXPECT_EQ( all, "abc" );
    EXPECT_EQ( text( pb::peekAt<PB_STRING>( vec.get(), 1 ) ), "b" );
    for( PB_STRING *each : pb::each<PB_STRING>( nullptr ) )
        ADD_FAILURE() << text( each );
}
