#include <pb/pb_string.h>
#include <pb/pb_time.h>
#include <pb/sort.hpp>

#include <chrono>

#include "base/pb_clock.hpp"

struct PB_TIME : PB_OBJ
{
    PB_INT year;
    PB_INT month;
    PB_INT day;
    PB_INT hour;
    PB_INT minute;
    PB_INT second;
    PB_INT millisecond;
};

static constexpr auto timeFields =
    pb::fields<&PB_TIME::year, &PB_TIME::month, &PB_TIME::day, &PB_TIME::hour, &PB_TIME::minute, &PB_TIME::second, &PB_TIME::millisecond>;

static PB_INT compareTime( PB_TIME *tmA, PB_TIME *tmB )
{
    PB_CHECK( tmA );
    PB_CHECK( tmB );
    return timeFields.compare( tmA, tmB );
}

static PB_STRING *timeToString( PB_TIME *tm )
{
    PB_CHECK( tm );
    PB_STRING *text = pbStringCreateFromFormatCstr(
        "%04i-%02i-%02iT%02i:%02i:%02i", -1, tm->year, tm->month, tm->day, tm->hour, tm->minute, tm->second );
    if( tm->millisecond )
        pbStringAppendFormatCstr( &text, ".%03i", -1, tm->millisecond );
    pbStringAppendCstr( &text, "Z", 1 );
    return text;
}

PB_SORT_DEFINE( pb, Time, PB_TIME, .compare = pb::slot<compareTime>, .toString = pb::slot<timeToString> )

static constexpr PB_INT secondsPerDay = 86400;

PB_BOOL pbTimeFieldsOk( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second, PB_INT millisecond )
{
    auto within = []( PB_INT value, PB_INT least, PB_INT most ) { return value >= least && value <= most; };
    return within( year, 0, 9999 ) && within( month, 1, 12 ) && within( day, 1, 31 ) && within( hour, 0, 23 ) && within( minute, 0, 59 ) &&
        within( second, 0, 61 ) && within( millisecond, 0, 999 );
}

PB_TIME *pbTimeCreate( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second, PB_INT millisecond )
{
    PB_CHECK( pbTimeFieldsOk( year, month, day, hour, minute, second, millisecond ) );
    PB_TIME *tm     = pb::create<PB_TIME>();
    tm->year        = year;
    tm->month       = month;
    tm->day         = day;
    tm->hour        = hour;
    tm->minute      = minute;
    tm->second      = second;
    tm->millisecond = millisecond;
    return tm;
}

static PB_TIME *tryCreateFromSeconds( PB_INT seconds, PB_INT millisecond )
{
    PB_INT days = seconds / secondsPerDay - ( seconds % secondsPerDay < 0 );
    // The years 0 to 9999 lie inside this range. The arithmetic below would overflow outside it.
    if( days < -800000 || days > 3000000 )
        return nullptr;
    PB_INT                      secondsIn = seconds - days * secondsPerDay;
    std::chrono::year_month_day date{ std::chrono::sys_days{ std::chrono::days{ days } } };
    if( (int)date.year() < 0 || (int)date.year() > 9999 )
        return nullptr;
    return pbTimeCreate(
        (int)date.year(), (unsigned)date.month(), (unsigned)date.day(), secondsIn / 3600, secondsIn / 60 % 60, secondsIn % 60, millisecond );
}

PB_TIME *pbTimeNow()
{
    PB_INT   milliseconds = pb::clock::time() / 1000000;
    PB_TIME *tm           = tryCreateFromSeconds( milliseconds / 1000, milliseconds % 1000 );
    PB_CHECK( tm );
    return tm;
}

PB_TIME *pbTimeTryCreateFromTimeT( time_t seconds ) { return tryCreateFromSeconds( seconds, 0 ); }

PB_TIME *pbTimeTryCreateFromString( PB_STRING *text )
{
    PB_CHECK( text );
    PB_INT      length;
    const char *at = pbStringPeekUtf8( text, &length );
    if( length != 20 && length != 24 )
        return nullptr;
    static constexpr char pattern[] = "0000-00-00T00:00:00Z";
    static constexpr char longer[]  = "0000-00-00T00:00:00.000Z";
    const char           *form      = length == 20 ? pattern : longer;
    for( PB_INT index = 0; index < length; index++ )
    {
        bool digit = at[index] >= '0' && at[index] <= '9';
        if( form[index] == '0' ? !digit : at[index] != form[index] )
            return nullptr;
    }
    auto number = [at]( PB_INT from, PB_INT count ) {
        PB_INT value = 0;
        for( PB_INT index = from; index < from + count; index++ )
            value = value * 10 + ( at[index] - '0' );
        return value;
    };
    PB_INT year = number( 0, 4 ), month = number( 5, 2 ), day = number( 8, 2 ), hour = number( 11, 2 ), minute = number( 14, 2 ),
           second      = number( 17, 2 );
    PB_INT millisecond = length == 24 ? number( 20, 3 ) : 0;
    // ToString does not write a fraction of zero.
    if( ( length == 24 && !millisecond ) || !pbTimeFieldsOk( year, month, day, hour, minute, second, millisecond ) )
        return nullptr;
    return pbTimeCreate( year, month, day, hour, minute, second, millisecond );
}

PB_BOOL pbTimeTryConvertToTimeT( PB_TIME *tm, time_t *seconds )
{
    PB_CHECK( tm );
    PB_CHECK( seconds );
    std::chrono::year_month_day date{ std::chrono::year{ (int)tm->year }, std::chrono::month{ (unsigned)tm->month },
        std::chrono::day{ (unsigned)tm->day } };
    if( !date.ok() )
        return PB_FALSE;
    PB_INT days = std::chrono::sys_days{ date }.time_since_epoch().count();
    // The extra second fits into time_t, which has 64 bits here.
    *seconds = days * secondsPerDay + tm->hour * 3600 + tm->minute * 60 + tm->second;
    return PB_TRUE;
}

PB_TIME *pbTimeShiftDays( PB_TIME *tm, PB_INT days )
{
    PB_CHECK( tm );
    time_t seconds;
    if( days < -4000000 || days > 4000000 || !pbTimeTryConvertToTimeT( tm, &seconds ) )
        return nullptr;
    return tryCreateFromSeconds( seconds + days * secondsPerDay, tm->millisecond );
}

PB_INT pbTimeYear( PB_TIME *tm ) { return PB_CHECK( tm ), tm->year; }

PB_INT pbTimeMonth( PB_TIME *tm ) { return PB_CHECK( tm ), tm->month; }

PB_INT pbTimeDay( PB_TIME *tm ) { return PB_CHECK( tm ), tm->day; }

PB_INT pbTimeHour( PB_TIME *tm ) { return PB_CHECK( tm ), tm->hour; }

PB_INT pbTimeMinute( PB_TIME *tm ) { return PB_CHECK( tm ), tm->minute; }

PB_INT pbTimeSecond( PB_TIME *tm ) { return PB_CHECK( tm ), tm->second; }

PB_INT pbTimeMillisecond( PB_TIME *tm ) { return PB_CHECK( tm ), tm->millisecond; }
