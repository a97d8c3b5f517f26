#include "support/text.hpp"

#include <gtest/gtest.h>
#include <optional>
#include <random>

using namespace support;

namespace
{

pb::Ref<PB_TIME> at( PB_INT year, PB_INT month, PB_INT day, PB_INT hour = 0, PB_INT minute = 0, PB_INT second = 0, PB_INT millisecond = 0 )
{
    return pb::adopt( pbTimeCreate( year, month, day, hour, minute, second, millisecond ) );
}

pb::Ref<PB_TIME> parsed( std::string_view line ) { return pb::adopt( pbTimeTryCreateFromString( str( line ).get() ) ); }

std::string written( const pb::Ref<PB_TIME> &tm ) { return tm ? text( pb::adopt( pbTimeToString( tm.get() ) ) ) : "none"; }

std::optional<time_t> seconds( const pb::Ref<PB_TIME> &tm )
{
    time_t value;
    return pbTimeTryConvertToTimeT( tm.get(), &value ) ? std::optional( value ) : std::nullopt;
}

pb::Ref<PB_TIME> shifted( const pb::Ref<PB_TIME> &tm, PB_INT days ) { return pb::adopt( pbTimeShiftDays( tm.get(), days ) ); }

// The first and the last second of the years 0 to 9999.
constexpr time_t firstSecond = -62167219200;
constexpr time_t lastSecond  = 253402300799;

}

TEST( PbTime, KeepsItsFields )
{
    pb::Ref<PB_TIME> tm = at( 2026, 7, 21, 13, 1, 14, 250 );
    EXPECT_EQ( pbTimeYear( tm.get() ), 2026 );
    EXPECT_EQ( pbTimeMonth( tm.get() ), 7 );
    EXPECT_EQ( pbTimeDay( tm.get() ), 21 );
    EXPECT_EQ( pbTimeHour( tm.get() ), 13 );
    EXPECT_EQ( pbTimeMinute( tm.get() ), 1 );
    EXPECT_EQ( pbTimeSecond( tm.get() ), 14 );
    EXPECT_EQ( pbTimeMillisecond( tm.get() ), 250 );
}

TEST( PbTime, KnowsTheRangeOfEveryField )
{
    const PB_INT low[]  = { 0, 1, 1, 0, 0, 0, 0 };
    const PB_INT high[] = { 9999, 12, 31, 23, 59, 61, 999 };
    auto         ok     = []( const PB_INT( &f )[7] ) { return pbTimeFieldsOk( f[0], f[1], f[2], f[3], f[4], f[5], f[6] ); };
    EXPECT_TRUE( ok( low ) );
    EXPECT_TRUE( ok( high ) );
    for( int field = 0; field < 7; field++ )
    {
        for( PB_INT value : { low[field] - 1, high[field] + 1, PB_INT_MIN, PB_INT_MAX } )
        {
            PB_INT fields[7];
            std::copy( std::begin( low ), std::end( low ), fields );
            fields[field] = value;
            EXPECT_FALSE( ok( fields ) ) << "field " << field << " " << value;
        }
    }
    // Every month accepts a day up to 31.
    EXPECT_TRUE( pbTimeFieldsOk( 2026, 2, 31, 0, 0, 0, 0 ) );
}

TEST( PbTime, ConvertsFromSecondsAtTheEdges )
{
    auto from = []( time_t value ) { return written( pb::adopt( pbTimeTryCreateFromTimeT( value ) ) ); };
    EXPECT_EQ( from( 0 ), "1970-01-01T00:00:00Z" );
    EXPECT_EQ( from( -1 ), "1969-12-31T23:59:59Z" );
    EXPECT_EQ( from( 86399 ), "1970-01-01T23:59:59Z" );
    EXPECT_EQ( from( -86400 ), "1969-12-31T00:00:00Z" );
    EXPECT_EQ( from( -86401 ), "1969-12-30T23:59:59Z" );
    EXPECT_EQ( from( 2147483648 ), "2038-01-19T03:14:08Z" );
    EXPECT_EQ( from( firstSecond ), "0000-01-01T00:00:00Z" );
    EXPECT_EQ( from( lastSecond ), "9999-12-31T23:59:59Z" );
    for( time_t value : { firstSecond - 1, lastSecond + 1, (time_t)INT64_MIN, (time_t)INT64_MIN + 1, (time_t)INT64_MAX } )
        EXPECT_EQ( from( value ), "none" ) << value;
}

TEST( PbTime, ConvertsToSecondsAtTheEdges )
{
    EXPECT_EQ( seconds( at( 1970, 1, 1 ) ), 0 );
    EXPECT_EQ( seconds( at( 0, 1, 1 ) ), firstSecond );
    EXPECT_EQ( seconds( at( 9999, 12, 31, 23, 59, 59, 999 ) ), lastSecond );
    EXPECT_EQ( seconds( at( 0, 2, 29 ) ), firstSecond + 59 * 86400 );
}

TEST( PbTime, EverySecondMapsAsTheCLibraryHasIt )
{
    std::mt19937_64                       random( 20260721 );
    std::uniform_int_distribution<time_t> anywhere( firstSecond, lastSecond );
    for( int round = 0; round < 100000; round++ )
    {
        time_t   value = anywhere( random );
        std::tm  wanted;
        PB_TIME *made = pbTimeTryCreateFromTimeT( value );
        ASSERT_NE( made, nullptr ) << value;
        pb::Ref<PB_TIME> tm = pb::adopt( made );
        gmtime_r( &value, &wanted );
        ASSERT_EQ( pbTimeYear( made ), wanted.tm_year + 1900 ) << value;
        ASSERT_EQ( pbTimeMonth( made ), wanted.tm_mon + 1 ) << value;
        ASSERT_EQ( pbTimeDay( made ), wanted.tm_mday ) << value;
        ASSERT_EQ( pbTimeHour( made ), wanted.tm_hour ) << value;
        ASSERT_EQ( pbTimeMinute( made ), wanted.tm_min ) << value;
        ASSERT_EQ( pbTimeSecond( made ), wanted.tm_sec ) << value;
        ASSERT_EQ( pbTimeMillisecond( made ), 0 );
        ASSERT_EQ( timegm( &wanted ), value );
        ASSERT_EQ( seconds( tm ), value );
    }
}

TEST( PbTime, MonthsHaveTheirDays )
{
    const int days[]     = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    const int leapDays[] = { 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    for( auto [year, leap] : { std::pair( 0, true ), { 4, true }, { 100, false }, { 400, true }, { 1900, false }, { 2000, true }, { 2023, false },
             { 2024, true }, { 2100, false }, { 9996, true }, { 9999, false } } )
    {
        for( int month = 1; month <= 12; month++ )
        {
            int last = ( leap ? leapDays : days )[month - 1];
            for( int day = 28; day <= 31; day++ )
            {
                EXPECT_EQ( seconds( at( year, month, day ) ).has_value(), day <= last ) << year << "-" << month << "-" << day;
                EXPECT_EQ( (bool)shifted( at( year, month, day ), 0 ), day <= last ) << year << "-" << month << "-" << day;
            }
        }
    }
}

TEST( PbTime, LeapSecondsCarryOver )
{
    time_t midnight = *seconds( at( 2017, 1, 1 ) );
    EXPECT_EQ( seconds( at( 2016, 12, 31, 23, 59, 60 ) ), midnight );
    EXPECT_EQ( seconds( at( 2016, 12, 31, 23, 59, 61 ) ), midnight + 1 );
    EXPECT_EQ( seconds( at( 2016, 12, 31, 12, 29, 60 ) ), seconds( at( 2016, 12, 31, 12, 30, 0 ) ) );
    // Also after the last year, although no time has such a year.
    EXPECT_EQ( seconds( at( 9999, 12, 31, 23, 59, 61 ) ), lastSecond + 2 );
    EXPECT_EQ( written( shifted( at( 2016, 12, 31, 23, 59, 60, 5 ), 0 ) ), "2017-01-01T00:00:00.005Z" );
    EXPECT_FALSE( shifted( at( 9999, 12, 31, 23, 59, 60 ), 0 ) );
    EXPECT_EQ( written( shifted( at( 9999, 12, 31, 23, 59, 60 ), -1 ) ), "9999-12-31T00:00:00Z" );
}

TEST( PbTime, MillisecondsAreCutTowardThePast )
{
    EXPECT_EQ( seconds( at( 1970, 1, 1, 0, 0, 0, 999 ) ), 0 );
    EXPECT_EQ( seconds( at( 1969, 12, 31, 23, 59, 59, 999 ) ), -1 );
    EXPECT_EQ( seconds( at( 1969, 12, 31, 23, 59, 59, 1 ) ), -1 );
    EXPECT_EQ( seconds( at( 2026, 7, 21, 13, 1, 14, 999 ) ), seconds( at( 2026, 7, 21, 13, 1, 14 ) ) );
}

TEST( PbTime, ShiftsByDays )
{
    pb::Ref<PB_TIME> tm = at( 2024, 2, 28, 13, 1, 14, 250 );
    EXPECT_EQ( written( shifted( tm, 0 ) ), "2024-02-28T13:01:14.250Z" );
    EXPECT_EQ( written( shifted( tm, 1 ) ), "2024-02-29T13:01:14.250Z" );
    EXPECT_EQ( written( shifted( tm, 2 ) ), "2024-03-01T13:01:14.250Z" );
    EXPECT_EQ( written( shifted( tm, -59 ) ), "2023-12-31T13:01:14.250Z" );
    EXPECT_EQ( written( shifted( tm, 366 ) ), "2025-02-28T13:01:14.250Z" );
    EXPECT_EQ( written( shifted( tm, 146097 ) ), "2424-02-28T13:01:14.250Z" );
    // The original does not change.
    EXPECT_EQ( written( tm ), "2024-02-28T13:01:14.250Z" );
}

TEST( PbTime, DoesNotShiftOutOfTheYears )
{
    EXPECT_EQ( written( shifted( at( 0, 1, 1 ), 3652424 ) ), "9999-12-31T00:00:00Z" );
    EXPECT_FALSE( shifted( at( 0, 1, 1 ), 3652425 ) );
    EXPECT_EQ( written( shifted( at( 9999, 12, 31, 23, 59, 59 ), -3652424 ) ), "0000-01-01T23:59:59Z" );
    EXPECT_FALSE( shifted( at( 9999, 12, 31, 23, 59, 59 ), -3652425 ) );
    EXPECT_FALSE( shifted( at( 0, 1, 1 ), -1 ) );
    EXPECT_FALSE( shifted( at( 2026, 1, 1 ), PB_INT_MAX ) );
    EXPECT_FALSE( shifted( at( 2026, 1, 1 ), PB_INT_MIN ) );
    EXPECT_FALSE( shifted( at( 2026, 2, 30 ), 1 ) );
}

TEST( PbTime, ShiftsThereAndBack )
{
    std::mt19937_64 random( 5 );
    for( int round = 0; round < 20000; round++ )
    {
        time_t           value = (time_t)( random() % 4000000000u );
        PB_INT           days  = (PB_INT)( random() % 400000 ) - 200000;
        pb::Ref<PB_TIME> tm    = pb::adopt( pbTimeTryCreateFromTimeT( value ) );
        pb::Ref<PB_TIME> moved = shifted( tm, days );
        ASSERT_EQ( seconds( moved ), value + days * 86400 );
        ASSERT_TRUE( pbTimeEquals( shifted( moved, -days ).get(), tm.get() ) );
    }
}

TEST( PbTime, ReadsItsTextForm )
{
    EXPECT_TRUE( pbTimeEquals( parsed( "2026-07-21T13:01:14Z" ).get(), at( 2026, 7, 21, 13, 1, 14 ).get() ) );
    EXPECT_TRUE( pbTimeEquals( parsed( "2026-07-21T13:01:14.250Z" ).get(), at( 2026, 7, 21, 13, 1, 14, 250 ).get() ) );
    EXPECT_TRUE( pbTimeEquals( parsed( "0000-01-01T00:00:00Z" ).get(), at( 0, 1, 1 ).get() ) );
    EXPECT_TRUE( pbTimeEquals( parsed( "9999-12-31T23:59:61.999Z" ).get(), at( 9999, 12, 31, 23, 59, 61, 999 ).get() ) );
    EXPECT_TRUE( pbTimeEquals( parsed( "2026-02-31T00:00:00.001Z" ).get(), at( 2026, 2, 31, 0, 0, 0, 1 ).get() ) );
}

TEST( PbTime, ReadsNothingElse )
{
    for( const char *line : { "", "2026-07-21", "2026-07-21T13:01:14", "2026-07-21t13:01:14Z", "2026-07-21T13:01:14z", "2026-07-21 13:01:14Z",
             "2026-07-21T13:01:14+00:00", "2026-07-21T13:01Z", "2026-07-21T13:01:14.Z", "2026-07-21T13:01:14.2Z", "2026-07-21T13:01:14.25Z",
             "2026-07-21T13:01:14.2500Z", "2026-07-21T13:01:14,250Z", " 2026-07-21T13:01:14Z", "2026-07-21T13:01:14Z ", "2026-07-21T13:01:14ZZ",
             "26-07-21T13:01:14Z", "02026-07-21T13:01:14Z", "-026-07-21T13:01:14Z", "+026-07-21T13:01:14Z", "2026-7-21T13:01:14Z",
             "2026-00-21T13:01:14Z", "2026-13-21T13:01:14Z", "2026-07-00T13:01:14Z", "2026-07-32T13:01:14Z", "2026-07-21T24:01:14Z",
             "2026-07-21T13:60:14Z", "2026-07-21T13:01:62Z", "2026-07-21T13:01: 4Z", "2026-07-21T13:01:14.-50Z", "2026/07/21T13:01:14Z",
             "2026-07-21T13.01.14Z", "20260721T130114Z", "2026-07-21T13:01:\xD9\xA1Z" } )
        EXPECT_FALSE( parsed( line ) ) << line;
    EXPECT_FALSE( parsed( std::string_view( "2026-07-21T13:01:14Z\0", 21 ) ) );
    EXPECT_FALSE( parsed( std::string_view( "2026-07-21T13:01:1\0Z", 20 ) ) );
}

TEST( PbTime, EveryTimeComesBackFromItsText )
{
    std::mt19937 random( 77 );
    auto         below = [&]( PB_INT limit ) { return (PB_INT)( random() % (unsigned)limit ); };
    for( int round = 0; round < 20000; round++ )
    {
        pb::Ref<PB_TIME> tm = at(
            below( 10000 ), 1 + below( 12 ), 1 + below( 31 ), below( 24 ), below( 60 ), below( 62 ), below( 4 ) ? below( 1000 ) : 0 );
        pb::Ref<PB_TIME> back = parsed( written( tm ) );
        ASSERT_TRUE( back ) << written( tm );
        ASSERT_TRUE( pbTimeEquals( tm.get(), back.get() ) ) << written( tm );
        ASSERT_EQ( written( tm ).size(), pbTimeMillisecond( tm.get() ) ? 24u : 20u );
    }
}

TEST( PbTime, OrdersFieldByField )
{
    const pb::Ref<PB_TIME> inOrder[] = { at( 0, 1, 1 ), at( 0, 1, 1, 0, 0, 0, 1 ), at( 0, 1, 1, 0, 0, 1 ), at( 0, 1, 1, 0, 1 ), at( 0, 1, 1, 1 ),
        at( 0, 1, 2 ), at( 0, 2, 1 ), at( 1, 1, 1 ), at( 1969, 12, 31, 23, 59, 59, 999 ), at( 1970, 1, 1 ), at( 2026, 2, 28, 23, 59, 61, 999 ),
        at( 2026, 2, 31 ), at( 2026, 3, 1 ), at( 9999, 12, 31, 23, 59, 61, 999 ) };
    for( size_t a = 0; a < std::size( inOrder ); a++ )
    {
        for( size_t b = 0; b < std::size( inOrder ); b++ )
        {
            PB_INT order = pbTimeCompare( inOrder[a].get(), inOrder[b].get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
        }
    }
    EXPECT_TRUE( pbTimeEquals( at( 2026, 7, 21 ).get(), at( 2026, 7, 21 ).get() ) );
}

TEST( PbTime, NowIsTheSystemClocks )
{
    timespec before, after;
    clock_gettime( CLOCK_REALTIME, &before );
    pb::Ref<PB_TIME> now = pb::adopt( pbTimeNow() );
    clock_gettime( CLOCK_REALTIME, &after );
    PB_INT milliseconds = *seconds( now ) * 1000 + pbTimeMillisecond( now.get() );
    EXPECT_GE( milliseconds, before.tv_sec * 1000 + before.tv_nsec / 1000000 );
    EXPECT_LE( milliseconds, after.tv_sec * 1000 + after.tv_nsec / 1000000 );
}
