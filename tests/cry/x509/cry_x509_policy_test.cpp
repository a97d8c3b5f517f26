#include <cry/cry_x509_policy.h>

#include "cry/x509/names.hpp"
#include "support/certificates.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Policy = pb::Ref<CRY_X509_POLICY>;

pb::Ref<IN_ADDRESS> address( const char *text ) { return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) ); }

Policy full()
{
    Policy pol = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetFlags( pol.handle(), CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS | CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING );
    cryX509PolicySetTime( pol.handle(), support::time( "2026-07-21T13:01:14.250Z" ).get() );
    cryX509PolicySetAcceptableSans( pol.handle(), sansOf( { "host.example", "::1" } ).get() );
    cryX509PolicySetLenientSubjectChecksIpAddress( pol.handle(), address( "192.0.2.1" ).get() );
    return pol;
}

// The values of a policy; "-" for an absent one.
std::string values( const Policy &pol )
{
    pb::Ref<PB_TIME>       time    = pb::adopt( cryX509PolicyTime( pol.get() ) );
    pb::Ref<CRY_X509_SANS> sans    = pb::adopt( cryX509PolicyAcceptableSans( pol.get() ) );
    pb::Ref<IN_ADDRESS>    lenient = pb::adopt( cryX509PolicyLenientSubjectChecksIpAddress( pol.get() ) );
    EXPECT_EQ( (bool)cryX509PolicyHasTime( pol.get() ), (bool)time );
    EXPECT_EQ( (bool)cryX509PolicyHasAcceptableSans( pol.get() ), (bool)sans );
    EXPECT_EQ( (bool)cryX509PolicyHasLenientSubjectChecksIpAddress( pol.get() ), (bool)lenient );
    std::string hosts;
    if( sans )
    {
        for( const std::string &host : hostsOf( sans ) )
            hosts += host + ",";
    }
    return std::to_string( cryX509PolicyFlags( pol.get() ) ) + " " + ( time ? text( pb::adopt( pbTimeToString( time.get() ) ) ) : "-" ) + " " +
        ( sans ? hosts : "-" ) + " " + ( lenient ? text( pb::adopt( inAddressToString( lenient.get() ) ) ) : "-" );
}

const std::string fullValues = "6 2026-07-21T13:01:14.250Z host.example,::1, 192.0.2.1";

struct Edit
{
    void ( *apply )( CRY_X509_POLICY **pol );
    const char *result; // of an edit of full()
};

const Edit edits[] = {
    { []( CRY_X509_POLICY **pol ) { cryX509PolicySetFlags( pol, 1 ); }, "1 2026-07-21T13:01:14.250Z host.example,::1, 192.0.2.1" },
    { []( CRY_X509_POLICY **pol ) { cryX509PolicySetTime( pol, support::time( "2001-01-01T00:00:00Z" ).get() ); },
        "6 2001-01-01T00:00:00Z host.example,::1, 192.0.2.1" },
    { cryX509PolicyDelTime, "6 - host.example,::1, 192.0.2.1" },
    { []( CRY_X509_POLICY **pol ) { cryX509PolicySetAcceptableSans( pol, sansOf( {} ).get() ); }, "6 2026-07-21T13:01:14.250Z  192.0.2.1" },
    { cryX509PolicyDelAcceptableSans, "6 2026-07-21T13:01:14.250Z - 192.0.2.1" },
    { []( CRY_X509_POLICY **pol ) { cryX509PolicySetLenientSubjectChecksIpAddress( pol, address( "::2" ).get() ); },
        "6 2026-07-21T13:01:14.250Z host.example,::1, ::2" },
    { cryX509PolicyDelLenientSubjectChecksIpAddress, "6 2026-07-21T13:01:14.250Z host.example,::1, -" },
};

Policy restored( const pb::Ref<PB_STORE> &store ) { return pb::adopt( cryX509PolicyRestore( store.get() ) ); }

pb::Ref<PB_STORE> storeOf( const Policy &pol ) { return pb::adopt( cryX509PolicyStore( pol.get() ) ); }

}

TEST( CryX509Policy, HasNoFlagsAndValuesAtFirst )
{
    Policy pol = pb::adopt( cryX509PolicyCreate() );
    EXPECT_EQ( values( pol ), "0 - - -" );
    EXPECT_EQ( pbStoreLength( storeOf( pol ).get() ), 0 );
    EXPECT_EQ( values( restored( storeOf( pol ) ) ), "0 - - -" );
}

TEST( CryX509Policy, EditsGiveTheirResultAndOthersDoNotSeeThem )
{
    EXPECT_EQ( values( full() ), fullValues );
    for( const Edit &edit : edits )
    {
        Policy           alone  = full();
        CRY_X509_POLICY *before = alone.get();
        edit.apply( alone.handle() );
        EXPECT_EQ( values( alone ), edit.result );
        EXPECT_EQ( alone.get(), before );

        Policy mine = full(), theirs = mine, copy = pb::adopt( cryX509PolicyCreateFrom( mine.get() ) );
        edit.apply( mine.handle() );
        EXPECT_EQ( values( mine ), edit.result );
        EXPECT_EQ( values( theirs ), fullValues );
        EXPECT_EQ( values( copy ), fullValues );
    }
}

TEST( CryX509Policy, ACopySharesTheValues )
{
    Policy pol = full(), copy = pb::adopt( cryX509PolicyCreateFrom( pol.get() ) );
    EXPECT_EQ( pb::adopt( cryX509PolicyTime( copy.get() ) ).get(), pb::adopt( cryX509PolicyTime( pol.get() ) ).get() );
    EXPECT_EQ( pb::adopt( cryX509PolicyAcceptableSans( copy.get() ) ).get(), pb::adopt( cryX509PolicyAcceptableSans( pol.get() ) ).get() );
    EXPECT_EQ( pb::adopt( cryX509PolicyLenientSubjectChecksIpAddress( copy.get() ) ).get(),
        pb::adopt( cryX509PolicyLenientSubjectChecksIpAddress( pol.get() ) ).get() );
}

TEST( CryX509Policy, DropsUndefinedFlags )
{
    Policy pol = pb::adopt( cryX509PolicyCreate() );
    for( PB_INT flags : { (PB_INT)0, (PB_INT)0xF, (PB_INT)0x10, (PB_INT)-1, PB_INT_MIN, PB_INT_MAX } )
    {
        cryX509PolicySetFlags( pol.handle(), flags );
        EXPECT_EQ( cryX509PolicyFlags( pol.get() ), flags & 0xF );
    }
}

TEST( CryX509Policy, EqualsOnlyItself )
{
    Policy pol = full(), other = full();
    EXPECT_FALSE( cryX509PolicyEquals( pol.get(), other.get() ) );
    EXPECT_TRUE( cryX509PolicyEquals( pol.get(), pol.get() ) );
}

TEST( CryX509Policy, ComesBackFromItsStore )
{
    Policy            pol   = full();
    pb::Ref<PB_STORE> store = storeOf( pol );
    EXPECT_EQ( values( restored( store ) ), fullValues );

    std::vector<std::string> keys;
    for( PB_INT index = 0; index < pbStoreLength( store.get() ); index++ )
        keys.push_back( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ) );
    EXPECT_EQ( keys, ( std::vector<std::string>{ "flags", "time", "acceptableSans", "lenientSubjectChecksIpAddress" } ) );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( store.get(), "flags", -1 ) ) ),
        "CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS|CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( store.get(), "time", -1 ) ) ), "2026-07-21T13:01:14.250Z" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( store.get(), "lenientSubjectChecksIpAddress", -1 ) ) ), "192.0.2.1" );

    for( const Edit &edit : edits )
    {
        Policy part = full();
        edit.apply( part.handle() );
        EXPECT_EQ( values( restored( storeOf( part ) ) ), edit.result );
    }
}

TEST( CryX509Policy, ValuesThatDoNotReadStayAbsent )
{
    pb::Ref<PB_STORE> store = storeOf( full() );
    pbStoreSetValueCstr( store.handle(), "flags", -1, str( "UNKNOWN|CRY_X509_POLICY_FLAG_DISABLE_VALIDATION" ).get() );
    EXPECT_EQ( values( restored( store ) ), "1" + fullValues.substr( 1 ) );
    pbStoreSetValueCstr( store.handle(), "time", -1, str( "2026-07-21" ).get() );
    pbStoreSetValueCstr( store.handle(), "lenientSubjectChecksIpAddress", -1, str( "host.example" ).get() );
    EXPECT_EQ( values( restored( store ) ), "1 - host.example,::1, -" );
    pbStoreSetStoreCstr( store.handle(), "acceptableSans", -1, pb::adopt( pbStoreCreate() ).get() );
    EXPECT_EQ( values( restored( store ) ), "1 -  -" );
    pbStoreSetValueCstr( store.handle(), "acceptableSans", -1, str( "host.example" ).get() );
    pbStoreSetIntValueCstr( store.handle(), "flags", -1, 1 );
    EXPECT_EQ( values( restored( store ) ), "0 - - -" );
}
