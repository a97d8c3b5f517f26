#include "base/cry_spares.hpp"

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

// A key that tells when it is freed.
struct Spare
{
    EVP_PKEY     *pkey = EVP_PKEY_new();
    FreeWatch     watch{ pkey };
    Ptr<EVP_PKEY> give() { return Ptr<EVP_PKEY>( pkey ); }
};

template<unsigned Places>
struct Zeroed
{
    cry::Spares<EVP_PKEY, Places> spares{};
    ~Zeroed() { spares.clear(); }
};

}

TEST( CrySpares, HaveNothingAtFirst )
{
    Zeroed<4> zeroed;
    EXPECT_FALSE( zeroed.spares.take() );
    EXPECT_FALSE( zeroed.spares.take() );
}

TEST( CrySpares, GiveBackWhatThisThreadKeptOnce )
{
    Zeroed<4> zeroed;
    Spare     spare;
    zeroed.spares.keep( spare.give() );
    EXPECT_FALSE( spare.watch.freed() );
    Ptr<EVP_PKEY> taken = zeroed.spares.take();
    EXPECT_EQ( taken.get(), spare.pkey );
    EXPECT_FALSE( zeroed.spares.take() );
    taken.reset();
    EXPECT_TRUE( spare.watch.freed() );
}

TEST( CrySpares, FreeWhatIsReplaced )
{
    Zeroed<4> zeroed;
    Spare     first, second;
    zeroed.spares.keep( first.give() );
    zeroed.spares.keep( second.give() );
    EXPECT_TRUE( first.watch.freed() );
    EXPECT_FALSE( second.watch.freed() );
    EXPECT_EQ( zeroed.spares.take().get(), second.pkey );
    EXPECT_TRUE( second.watch.freed() );
}

TEST( CrySpares, KeepingNothingEmptiesThePlace )
{
    Zeroed<4> zeroed;
    Spare     spare;
    zeroed.spares.keep( spare.give() );
    zeroed.spares.keep( nullptr );
    EXPECT_TRUE( spare.watch.freed() );
    EXPECT_FALSE( zeroed.spares.take() );
}

TEST( CrySpares, ClearFreesThoseOfAllThreads )
{
    Zeroed<64> zeroed;
    Spare      spares[4];
    for( Spare &spare : spares )
        std::thread( [&] { zeroed.spares.keep( spare.give() ); } ).join();
    for( Spare &spare : spares )
        EXPECT_FALSE( spare.watch.freed() );
    zeroed.spares.clear();
    for( Spare &spare : spares )
        EXPECT_TRUE( spare.watch.freed() );
    zeroed.spares.clear();
    Spare after;
    zeroed.spares.keep( after.give() );
    EXPECT_EQ( zeroed.spares.take().get(), after.pkey );
}

TEST( CrySpares, AreAFieldThatFreesThem )
{
    cry::Spares<EVP_PKEY, 2> spares{};
    Spare                    spare;
    spares.keep( spare.give() );
    pb::Field<cry::Spares<EVP_PKEY, 2>>::release( spares );
    EXPECT_TRUE( spare.watch.freed() );
    EXPECT_FALSE( spares.take() );
}

TEST( CrySpares, AThreadHasOneNumberThatNoOtherHas )
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
    // In the order of the first use.
    for( size_t index = 1; index < numbers.size(); index++ )
        EXPECT_EQ( numbers[index], numbers[index - 1] + 1 );
    EXPECT_EQ( cry::threadNumber(), own );
}

TEST( CrySpares, ThreadsAtOneTimeHaveDifferentNumbers )
{
    std::vector<unsigned>    numbers( 8 );
    std::vector<std::thread> threads;
    for( unsigned &number : numbers )
        threads.emplace_back( [&number] { number = cry::threadNumber(); } );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( std::set<unsigned>( numbers.begin(), numbers.end() ).size(), numbers.size() );
}

TEST( CrySpares, AnotherThreadHasAnotherPlace )
{
    Zeroed<64> zeroed;
    Spare      mine, others;
    zeroed.spares.keep( mine.give() );
    // Out of 64 threads in a row, one has this thread's place; the next one has not.
    unsigned own = cry::threadNumber(), other = own;
    auto     run = [&] {
        other = cry::threadNumber();
        if( other % 64 == own % 64 )
            return;
        EXPECT_FALSE( zeroed.spares.take() );
        zeroed.spares.keep( others.give() );
        EXPECT_EQ( zeroed.spares.take().get(), others.pkey );
    };
    while( other % 64 == own % 64 )
        std::thread( run ).join();
    EXPECT_EQ( zeroed.spares.take().get(), mine.pkey );
    EXPECT_TRUE( mine.watch.freed() );
}

TEST( CrySpares, ThreadsThatShareAPlaceNeverHoldTheSame )
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
                Ptr<EVP_PKEY> one = zeroed.spares.take();
                if( !one )
                {
                    one.reset( EVP_PKEY_new() );
                    EVP_PKEY_set_ex_data( one.get(), mark, new std::atomic<int>( 0 ) );
                    made++;
                }
                auto &users = *(std::atomic<int> *)EVP_PKEY_get_ex_data( one.get(), mark );
                both += users.fetch_add( 1 ) != 0;
                users.fetch_sub( 1 );
                zeroed.spares.keep( std::move( one ) );
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( both, 0 );
    zeroed.spares.clear();
    EXPECT_EQ( freed, made );
    EXPECT_GE( made, 1 );
}
