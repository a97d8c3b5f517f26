#include <cry/internal/cry_x509_basic_constraints.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Constraints = pb::Ref<CRY_X509_BASIC_CONSTRAINTS>;

Constraints constraints( PB_BOOL ca, PB_INT pathlen = -1 )
{
    Constraints bc = pb::adopt( cryX509BasicConstraintsCreate() );
    cryX509BasicConstraintsSetCA( bc.handle(), ca );
    if( pathlen >= 0 )
        cryX509BasicConstraintsSetPathlen( bc.handle(), pathlen );
    return bc;
}

// For example "ca 2"; "-" if it is absent.
std::string described( CRY_X509_BASIC_CONSTRAINTS *bc )
{
    EXPECT_EQ( cryX509BasicConstraintsHasPathlen( bc ), cryX509BasicConstraintsPathlen( bc ) != -1 );
    std::string pathlen = cryX509BasicConstraintsHasPathlen( bc ) ? std::to_string( cryX509BasicConstraintsPathlen( bc ) ) : "-";
    return ( cryX509BasicConstraintsCA( bc ) ? "ca " : "end " ) + pathlen;
}
std::string described( const Constraints &bc ) { return described( bc.get() ); }

pb::Ref<PB_STORE> stored( const Constraints &bc ) { return pb::adopt( cryX509BasicConstraintsStore( bc.get() ) ); }

Constraints restored( const pb::Ref<PB_STORE> &store ) { return pb::adopt( cryX509BasicConstraintsRestore( store.get() ) ); }

// The description of what is made from OpenSSL's object with this path length.
std::string fromOpenssl( int ca, const char *pathlen )
{
    BASIC_CONSTRAINTS *bcons = BASIC_CONSTRAINTS_new();
    bcons->ca                = ca;
    if( pathlen )
        bcons->pathlen = s2i_ASN1_INTEGER( nullptr, pathlen );
    takeErrors();
    raiseError();
    std::string out = described( pb::adopt( cry___X509BasicConstraintsCreateFromOpensslBasicConstraints( bcons ) ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    BASIC_CONSTRAINTS_free( bcons );
    return out;
}

}

TEST( CryX509BasicConstraints, AreNoAuthorityWithoutPathLengthAtFirst )
{
    EXPECT_EQ( described( pb::adopt( cryX509BasicConstraintsCreate() ) ), "end -" );
}

TEST( CryX509BasicConstraints, AnyOtherNumberIsTrue )
{
    for( PB_BOOL ca : { 1, 2, -1, 256, 65536 } )
        EXPECT_EQ( cryX509BasicConstraintsCA( constraints( ca ).get() ), PB_TRUE ) << ca;
    EXPECT_EQ( cryX509BasicConstraintsCA( constraints( 0 ).get() ), PB_FALSE );
}

TEST( CryX509BasicConstraints, PathLengthIsSetAndDeleted )
{
    Constraints bc = constraints( PB_TRUE );
    for( PB_INT pathlen : { (PB_INT)0, (PB_INT)3, PB_INT_MAX } )
    {
        cryX509BasicConstraintsSetPathlen( bc.handle(), pathlen );
        EXPECT_EQ( described( bc ), "ca " + std::to_string( pathlen ) );
    }
    cryX509BasicConstraintsDelPathlen( bc.handle() );
    EXPECT_EQ( described( bc ), "ca -" );
}

TEST( CryX509BasicConstraints, SettersCopyAnObjectThatOthersHold )
{
    struct Edit
    {
        void ( *apply )( CRY_X509_BASIC_CONSTRAINTS **bc );
        const char *result; // of an edit of "ca 2"
    };
    const Edit edits[] = {
        { []( CRY_X509_BASIC_CONSTRAINTS **bc ) { cryX509BasicConstraintsSetCA( bc, PB_FALSE ); }, "end 2" },
        { []( CRY_X509_BASIC_CONSTRAINTS **bc ) { cryX509BasicConstraintsSetPathlen( bc, 7 ); }, "ca 7" },
        { []( CRY_X509_BASIC_CONSTRAINTS **bc ) { cryX509BasicConstraintsDelPathlen( bc ); }, "ca -" },
    };
    for( const Edit &edit : edits )
    {
        Constraints mine = constraints( PB_TRUE, 2 ), theirs = mine;
        edit.apply( mine.handle() );
        EXPECT_EQ( described( mine ), edit.result );
        EXPECT_EQ( described( theirs ), "ca 2" );
        EXPECT_FALSE( pbObjIsShared( mine.obj() ) );
        CRY_X509_BASIC_CONSTRAINTS *before = mine.get();
        edit.apply( mine.handle() );
        EXPECT_EQ( mine.get(), before );
    }
    Constraints source = constraints( PB_TRUE, 2 ), copy = pb::adopt( cryX509BasicConstraintsCreateFrom( source.get() ) );
    EXPECT_NE( copy.get(), source.get() );
    EXPECT_EQ( described( copy ), "ca 2" );
    EXPECT_FALSE( cryX509BasicConstraintsEquals( copy.get(), source.get() ) );
}

TEST( CryX509BasicConstraints, ComeBackFromTheirStore )
{
    for( PB_BOOL ca : { PB_FALSE, PB_TRUE } )
    {
        for( PB_INT pathlen : { (PB_INT)-1, (PB_INT)0, (PB_INT)2, PB_INT_MAX } )
        {
            Constraints bc = constraints( ca, pathlen );
            EXPECT_EQ( described( restored( stored( bc ) ) ), described( bc ) );
        }
    }
}

TEST( CryX509BasicConstraints, AnAbsentPathLengthHasNoKey )
{
    pb::Ref<PB_STORE> store = stored( constraints( PB_FALSE ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 1 );
    PB_BOOL ca = PB_TRUE;
    EXPECT_TRUE( pbStoreBoolValueCstr( store.get(), "ca", -1, &ca ) );
    EXPECT_FALSE( ca );

    store = stored( constraints( PB_TRUE, 0 ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 2 );
    EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), 0 ) ) ), "ca" );
    EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), 1 ) ) ), "pathlen" );
    PB_INT pathlen = -1;
    EXPECT_TRUE( pbStoreIntValueCstr( store.get(), "pathlen", -1, &pathlen ) );
    EXPECT_EQ( pathlen, 0 );
}

TEST( CryX509BasicConstraints, EntriesThatDoNotReadLeaveTheDefault )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    EXPECT_EQ( described( restored( store ) ), "end -" );
    for( PB_INT negative : { (PB_INT)-1, (PB_INT)-5, PB_INT_MIN } )
    {
        pbStoreSetBoolValueCstr( store.handle(), "ca", -1, PB_TRUE );
        pbStoreSetIntValueCstr( store.handle(), "pathlen", -1, negative );
        EXPECT_EQ( described( restored( store ) ), "ca -" ) << negative;
    }
    pbStoreSetIntValueCstr( store.handle(), "ca", -1, 1 );
    pbStoreSetValueCstr( store.handle(), "pathlen", -1, str( "3" ).get() );
    EXPECT_EQ( described( restored( store ) ), "end -" );
    EXPECT_EQ( described( restored( pb::adopt( pbStoreCreateArray() ) ) ), "end -" );
}

TEST( CryX509BasicConstraints, TakesTheValuesOfOpensslObjects )
{
    EXPECT_EQ( fromOpenssl( 0, nullptr ), "end -" );
    EXPECT_EQ( fromOpenssl( 255, nullptr ), "ca -" );
    EXPECT_EQ( fromOpenssl( 1, "0" ), "ca 0" );
    EXPECT_EQ( fromOpenssl( 0, "3" ), "end 3" );
    EXPECT_EQ( fromOpenssl( 255, "9223372036854775807" ), "ca 9223372036854775807" );
}

TEST( CryX509BasicConstraints, OpensslPathLengthsThatAreNegativeOrTooLargeAreDropped )
{
    for( const char *pathlen :
        { "-1", "-9223372036854775808", "9223372036854775808", "18446744073709551615", "18446744073709551616", "-18446744073709551617" } )
        EXPECT_EQ( fromOpenssl( 1, pathlen ), "ca -" ) << pathlen;
}
