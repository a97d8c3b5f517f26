#include "uuid/cry_uuid_random.hpp"

#include <cry/cry_uuid.h>

#include "support/certificates.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <pthread.h>
#include <set>
#include <thread>

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;
using namespace cry::uuid;

namespace
{

constexpr size_t one = (size_t)bytesOfOne, all = (size_t)( bytesOfOne * onesInBlock );

using Sixteen = std::array<PB_BYTE, one>;

Sixteen drawn()
{
    Sixteen bytes;
    randomBytes( bytes.data() );
    return bytes;
}

std::string stored() { return { (const char *)blockOfThread(), all }; }

std::string hexOf( const Sixteen &bytes ) { return hex( { (const char *)bytes.data(), one } ); }

// Runs something on a thread that has no block yet.
template<class Work>
void onNewThread( Work work )
{
    std::thread( work ).join();
}

int asked = 0;
int count( unsigned char *bytes, int length )
{
    asked++;
    memset( bytes, 0xC5, (size_t)length );
    return 1;
}
int fail( unsigned char *, int ) { return asked++, 0; }

// OpenSSL's generator is another one while an object lives.
class Generator
{
public:
    explicit Generator( int ( *give )( unsigned char *, int ) ) : method{ nullptr, give, nullptr, nullptr, give, nullptr }
    {
        asked = 0;
        RAND_set_rand_method( &method );
    }
    ~Generator() { RAND_set_rand_method( nullptr ); }
    Generator( const Generator & )            = delete;
    Generator &operator=( const Generator & ) = delete;

private:
    RAND_METHOD method;
};

}

TEST( CryUuidRandom, BytesAreWipedAsTheyAreUsed )
{
    Shortcuts on( true );
    onNewThread( [] {
        EXPECT_EQ( blockOfThread(), nullptr );
        drawn();
        ASSERT_NE( blockOfThread(), nullptr );
        std::string before = stored();
        for( size_t left = onesInBlock - 1; left > 0; left-- )
        {
            EXPECT_EQ( hex( before.substr( left * one ) ), hex( std::string( all - left * one, '\0' ) ) );
            EXPECT_EQ( hexOf( drawn() ), hex( before.substr( ( left - 1 ) * one, one ) ) );
            before.replace( ( left - 1 ) * one, one, one, '\0' );
            EXPECT_EQ( hex( stored() ), hex( before ) );
        }
        EXPECT_EQ( stored(), std::string( all, '\0' ) );
        drawn();
        EXPECT_NE( stored(), std::string( all, '\0' ) );
    } );
}

TEST( CryUuidRandom, OneCallOfTheGeneratorFillsABlock )
{
    Shortcuts on( true );
    onNewThread( [] {
        Generator counting( count );
        for( PB_INT draw = 0; draw < onesInBlock; draw++ )
            EXPECT_EQ( hexOf( drawn() ), hex( std::string( one, '\xC5' ) ) );
        EXPECT_EQ( asked, 1 );
        drawn();
        EXPECT_EQ( asked, 2 );
    } );
}

TEST( CryUuidRandom, WithoutShortcutsEachUuidAsksTheGenerator )
{
    Shortcuts off( false );
    onNewThread( [] {
        Generator counting( count );
        for( int draw = 1; draw <= 5; draw++ )
        {
            drawn();
            EXPECT_EQ( asked, draw );
        }
        EXPECT_EQ( blockOfThread(), nullptr );
    } );
}

TEST( CryUuidRandom, AFailureOfTheGeneratorGivesTheSameErrorsAndLeavesNothingInStore )
{
    for( bool used : { false, true } )
    {
        Shortcuts now( used );
        onNewThread( [used] {
            Generator failing( fail );
            Sixteen   first = drawn(), second = drawn();
            EXPECT_NE( hexOf( first ), hexOf( second ) );
            EXPECT_EQ( takeErrors().size(), 0u );
            if( used )
            {
                EXPECT_EQ( stored(), std::string( all, '\0' ) );
            }
        } );
    }
}

TEST( CryUuidRandom, TheGeneratorIsUsedAgainAfterAFailure )
{
    Shortcuts on( true );
    onNewThread( [] {
        {
            Generator failing( fail );
            drawn();
        }
        Generator counting( count );
        EXPECT_EQ( hexOf( drawn() ), hex( std::string( one, '\xC5' ) ) );
        EXPECT_EQ( asked, 1 );
    } );
}

TEST( CryUuidRandom, TheEndOfAThreadGivesItsBlockBack )
{
    Shortcuts on( true );
    PB_INT    before = blocks();
    for( int round = 0; round < 100; round++ )
    {
        onNewThread( [before] {
            drawn();
            EXPECT_EQ( blocks(), before + 1 );
        } );
    }
    EXPECT_EQ( blocks(), before );
}

TEST( CryUuidRandom, DestructorsOfOtherKeysMayStillAsk )
{
    Shortcuts            on( true );
    static pthread_key_t late;
    static int           rounds;
    PB_INT               before = blocks();
    rounds                      = 0;
    // The destructor sets its key again, so one of its calls comes after the block is gone. OpenSSL
    // and sanitizers need the last two rounds for their own keys.
    ASSERT_EQ( pthread_key_create( &late,
                   []( void *value ) {
                       EXPECT_NE( hexOf( drawn() ), hexOf( drawn() ) );
                       if( ++rounds < 2 )
                           pthread_setspecific( late, value );
                   } ),
        0 );
    onNewThread( [] {
        pthread_setspecific( late, &late );
        drawn();
    } );
    EXPECT_EQ( rounds, 2 );
    EXPECT_EQ( blocks(), before );
    pthread_key_delete( late );
}

TEST( CryUuidRandom, NoThreadGetsWhatAnotherOneGot )
{
    constexpr size_t threads = 8, draws = 100000;

    // Numbers are sorted faster than arrays.
    using Number = unsigned __int128;

    Shortcuts                on( true );
    std::vector<Number>      seen( threads * draws );
    std::vector<std::thread> running;
    for( size_t thread = 0; thread < threads; thread++ )
    {
        running.emplace_back( [&seen, thread] {
            for( size_t draw = 0; draw < draws; draw++ )
                randomBytes( (PB_BYTE *)&seen[thread * draws + draw] );
        } );
    }
    for( std::thread &each : running )
        each.join();
    std::sort( seen.begin(), seen.end() );
    EXPECT_EQ( std::adjacent_find( seen.begin(), seen.end() ), seen.end() );
}
