#include "common/cry_context_pool.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <set>
#include <thread>
#include <vector>

#include "support/certificates.hpp"

using namespace support;
using cry::ossl::Ptr;

namespace
{

// A key with a watch that shows if it was freed.
struct Kept
{
    EVP_PKEY     *pkey = EVP_PKEY_new();
    FreeWatch     watch{ pkey };
    Ptr<EVP_PKEY> give() { return Ptr<EVP_PKEY>( pkey ); }
};

template<unsigned Places>
struct Zeroed
{
    cry::ContextPool<EVP_PKEY, Places> contexts{};
    ~Zeroed() { contexts.clear(); }
};

}

TEST( CryContextPool, HaveNothingAtFirst )
{
    Zeroed<4> zeroed;
    EXPECT_FALSE( zeroed.contexts.acquire() );
    EXPECT_FALSE( zeroed.contexts.acquire() );
}

TEST( CryContextPool, GiveBackWhatThisThreadKeptOnce )
{
    Zeroed<4> zeroed;
    Kept      kept;
    zeroed.contexts.release( kept.give() );
    EXPECT_FALSE( kept.watch.freed() );
    Ptr<EVP_PKEY> taken = zeroed.contexts.acquire();
    EXPECT_EQ( taken.get(), kept.pkey );
    EXPECT_FALSE( zeroed.contexts.acquire() );
    taken.reset();
    EXPECT_TRUE( kept.watch.freed() );
}

TEST( CryContextPool, FreeWhatIsReplaced )
{
    Zeroed<4> zeroed;
    Kept      first, second;
    zeroed.contexts.release( first.give() );
    zeroed.contexts.release( second.give() );
    EXPECT_TRUE( first.watch.freed() );
    EXPECT_FALSE( second.watch.freed() );
    EXPECT_EQ( zeroed.contexts.acquire().get(), second.pkey );
    EXPECT_TRUE( second.watch.freed() );
}

TEST( CryContextPool, KeepingNothingEmptiesThePlace )
{
    Zeroed<4> zeroed;
    Kept      kept;
    zeroed.contexts.release( kept.give() );
    zeroed.contexts.release( nullptr );
    EXPECT_TRUE( kept.watch.freed() );
    EXPECT_FALSE( zeroed.contexts.acquire() );
}

TEST( CryContextPool, ClearFreesThoseOfAllThreads )
{
    Zeroed<64> zeroed;
    Kept       contexts[4];
    for( Kept &kept : contexts )
        std::thread( [&] { zeroed.contexts.release( kept.give() ); } ).join();
    for( Kept &kept : contexts )
        EXPECT_FALSE( kept.watch.freed() );
    zeroed.contexts.clear();
    for( Kept &kept : contexts )
        EXPECT_TRUE( kept.watch.freed() );
    zeroed.contexts.clear();
    Kept after;
    zeroed.contexts.release( after.give() );
    EXPECT_EQ( zeroed.contexts.acquire().get(), after.pkey );
}

TEST( CryContextPool, AreAFieldThatFreesThem )
{
    cry::ContextPool<EVP_PKEY, 2> contexts{};
    Kept                          kept;
    contexts.release( kept.give() );
    pb::Field<cry::ContextPool<EVP_PKEY, 2>>::release( contexts );
    EXPECT_TRUE( kept.watch.freed() );
    EXPECT_FALSE( contexts.acquire() );
}

TEST( CryContextPool, AThreadHasOneNumberThatNoOtherHas )
{
    unsigned              own = cry::threadNumber();
    std::set<unsigned>    seen{ own };
    std::vector<unsigned> numbers( 8 );
    for( unsigned &number : numbers )
    {
        std::thread( [&] {
            number = cry::threadNumber();
            EXPECT_EQ( cry::threadNumber(), number );
        } ).join();
        EXPECT_TRUE( seen.insert( number ).second ) << number;
    }
    // The numbers have the order of the first use.
    for( size_t index = 1; index < numbers.size(); index++ )
        EXPECT_EQ( numbers[index], numbers[index - 1] + 1 );
    EXPECT_EQ( cry::threadNumber(), own );
}

TEST( CryContextPool, ThreadsAtOneTimeHaveDifferentNumbers )
{
    std::vector<unsigned>    numbers( 8 );
    std::vector<std::thread> threads;
    for( unsigned &number : numbers )
        threads.emplace_back( [&number] { number = cry::threadNumber(); } );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( std::set<unsigned>( numbers.begin(), numbers.end() ).size(), numbers.size() );
}

TEST( CryContextPool, AnotherThreadHasAnotherPlace )
{
    Zeroed<64> zeroed;
    Kept       mine, others;
    zeroed.contexts.release( mine.give() );
    // Of 64 successive threads, one has this thread's place; the next one has another place.
    unsigned own = cry::threadNumber(), other = own;
    auto     run = [&] {
        other = cry::threadNumber();
        if( other % 64 == own % 64 )
            return;
        EXPECT_FALSE( zeroed.contexts.acquire() );
        zeroed.contexts.release( others.give() );
        EXPECT_EQ( zeroed.contexts.acquire().get(), others.pkey );
    };
    while( other % 64 == own % 64 )
        std::thread( run ).join();
    EXPECT_EQ( zeroed.contexts.acquire().get(), mine.pkey );
    EXPECT_TRUE( mine.watch.freed() );
}

TEST( CryContextPool, ThreadsThatShareAPlaceNeverHoldTheSame )
{
    Zeroed<1>               zeroed;
    std::atomic<int>        made{ 0 }, both{ 0 };
    static std::atomic<int> freed;
    static const int mark = EVP_PKEY_get_ex_new_index( 0, nullptr, nullptr, nullptr, []( void *, void *in, CRYPTO_EX_DATA *, int, long, void * ) {
        if( in )
        {
            delete(std::atomic<int> *)in;
            freed++;
        }
    } );
    std::vector<std::thread> threads;
    freed = 0;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 2000; round++ )
            {
                Ptr<EVP_PKEY> one = zeroed.contexts.acquire();
                if( !one )
                {
                    one.reset( EVP_PKEY_new() );
                    EVP_PKEY_set_ex_data( one.get(), mark, new std::atomic<int>( 0 ) );
                    made++;
                }
                auto &users = *(std::atomic<int> *)EVP_PKEY_get_ex_data( one.get(), mark );
                both += users.fetch_add( 1 ) != 0;
                users.fetch_sub( 1 );
                zeroed.contexts.release( std::move( one ) );
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( both, 0 );
    zeroed.contexts.clear();
    EXPECT_EQ( freed, made );
    EXPECT_GE( made, 1 );
}
