#include <cry/cry_random.h>
#include <cstring>
#include <gtest/gtest.h>
#include <pb/pb_random.h>

#include <openssl/rand.h>

#include "support/text.hpp"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;

namespace
{

// A generator in the place of OpenSSL's. It gives 'r', and fails in the calls that are marked with
// '-'. After the last mark every call fails.
std::string_view calls;

int give( unsigned char *to, int count )
{
    bool fails = calls.empty() || calls[0] == '-';
    calls.remove_prefix( !calls.empty() );
    if( fails )
        return 0;
    std::memset( to, 'r', (size_t)count );
    return 1;
}

class Generator
{
public:
    explicit Generator( std::string_view marks )
    {
        calls = marks;
        RAND_set_rand_method( &method );
    }
    ~Generator() { RAND_set_rand_method( nullptr ); }

private:
    RAND_METHOD method{ nullptr, give, nullptr, nullptr, give, nullptr };
};

}

TEST( CryRandom, FillsMemoryAndNothingBeyond )
{
    std::string bytes( 300, 'x' );
    cryRandomBytes( (PB_BYTE *)bytes.data() + 1, 298 );
    EXPECT_EQ( bytes.front(), 'x' );
    EXPECT_EQ( bytes.back(), 'x' );
    // A run of 20 equal bytes is not random.
    EXPECT_EQ( bytes.find( std::string( 20, 'x' ) ), bytes.npos );
}

TEST( CryRandom, DoesNothingForACountOfZero )
{
    cryRandomBytes( nullptr, 0 );
    PB_BUFFER *none = nullptr;
    cryRandom( &none, 0 );
    EXPECT_EQ( none, nullptr );
}

TEST( CryRandom, AppendsWhatWasAskedForAndLeavesOtherHoldersAlone )
{
    for( PB_INT count : { 1, 127, 128, 129, 300 } )
    {
        pb::Ref<PB_BUFFER> mine = buf( "begin" ), theirs = mine;
        cryRandom( mine.handle(), count );
        EXPECT_EQ( pbBufferLength( mine.get() ), 5 + count );
        EXPECT_EQ( bytes( mine ).substr( 0, 5 ), "begin" );
        EXPECT_EQ( bytes( theirs ), "begin" );
    }
}

TEST( CryRandom, MakesFreshBuffersThatDiffer )
{
    pb::Ref<PB_BUFFER> a = pb::adopt( cryTryRandomData( 32, PB_TRUE ) ), b = pb::adopt( cryTryRandomData( 32, PB_FALSE ) );
    EXPECT_EQ( pbBufferLength( a.get() ), 32 );
    EXPECT_NE( bytes( a ), bytes( b ) );
}

TEST( CryRandom, FallsBackToTheSystemWhenOpensslFails )
{
    Generator   failing( "" );
    std::string bytes( 64, 'x' );
    cryRandomBytes( (PB_BYTE *)bytes.data(), 64 );
    EXPECT_EQ( bytes.find( std::string( 20, 'x' ) ), bytes.npos );
    pb::Ref<PB_BUFFER> appended = pb::adopt( pbBufferCreate() );
    cryRandom( appended.handle(), 200 );
    EXPECT_EQ( pbBufferLength( appended.get() ), 200 );
}

TEST( CryRandom, StrictDataFailsWithOpenssl )
{
    {
        Generator failing( "" );
        EXPECT_FALSE( pb::adopt( cryTryRandomData( 8, PB_TRUE ) ) );
    }
    Generator working( "+" );
    EXPECT_EQ( bytes( pb::adopt( cryTryRandomData( 8, PB_TRUE ) ) ), "rrrrrrrr" );
}

TEST( CryRandom, StrictDataFailsWithTheFirstCallThatFails )
{
    // Only the first call fails; every later call would succeed.
    Generator recovering( "-++++++++" );
    EXPECT_FALSE( pb::adopt( cryTryRandomData( 8, PB_TRUE ) ) );
    EXPECT_EQ( calls.size(), 8u );
}

TEST( CryRandom, LaxDataIsMadeByteByByteAfterAFailure )
{
    Generator recovering( "--++" );
    EXPECT_EQ( bytes( pb::adopt( cryTryRandomData( 4, PB_FALSE ) ) ), std::string( 1, 0 ) + "rrr" );
}

TEST( CryRandom, LaxDataRepeatsTheByteBeforeAFailure )
{
    Generator failing( "" );
    EXPECT_EQ( bytes( pb::adopt( cryTryRandomData( 4, PB_FALSE ) ) ), std::string( 4, 0 ) );
}

TEST( PbRandom, FillsFromTheKernel )
{
    std::string a( 600, 'x' ), b( 600, 'x' );
    pbRandomBytes( (PB_BYTE *)a.data(), 600 );
    pbRandomBytes( (PB_BYTE *)b.data(), 600 );
    EXPECT_NE( a, b );
    pbRandomBytes( nullptr, 0 );
}
