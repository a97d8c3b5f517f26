#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/internal/cry_pkey.h>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <openssl/ec.h>
#include <openssl/objects.h>

using namespace support;

namespace
{

constexpr PB_INT curves = CRY_PKEY_EC_NAMED_CURVE_SM2 + 1;

// Names and numbers by value; they must never change.
const struct
{
    const char *sn;
    int         nid;
} table[curves] = { { "secp112r1", 704 }, { "secp112r2", 705 }, { "secp128r1", 706 }, { "secp128r2", 707 }, { "secp160k1", 708 },
    { "secp160r1", 709 }, { "secp160r2", 710 }, { "secp192k1", 711 }, { "secp224k1", 712 }, { "secp224r1", 713 }, { "secp256k1", 714 },
    { "secp384r1", 715 }, { "secp521r1", 716 }, { "prime192v1", 409 }, { "prime192v2", 410 }, { "prime192v3", 411 }, { "prime239v1", 412 },
    { "prime239v2", 413 }, { "prime239v3", 414 }, { "prime256v1", 415 }, { "sect113r1", 717 }, { "sect113r2", 718 }, { "sect131r1", 719 },
    { "sect131r2", 720 }, { "sect163k1", 721 }, { "sect163r1", 722 }, { "sect163r2", 723 }, { "sect193r1", 724 }, { "sect193r2", 725 },
    { "sect233k1", 726 }, { "sect233r1", 727 }, { "sect239k1", 728 }, { "sect283k1", 729 }, { "sect283r1", 730 }, { "sect409k1", 731 },
    { "sect409r1", 732 }, { "sect571k1", 733 }, { "sect571r1", 734 }, { "c2pnb163v1", 684 }, { "c2pnb163v2", 685 }, { "c2pnb163v3", 686 },
    { "c2pnb176v1", 687 }, { "c2tnb191v1", 688 }, { "c2tnb191v2", 689 }, { "c2tnb191v3", 690 }, { "c2pnb208w1", 693 }, { "c2tnb239v1", 694 },
    { "c2tnb239v2", 695 }, { "c2tnb239v3", 696 }, { "c2pnb272w1", 699 }, { "c2pnb304w1", 700 }, { "c2tnb359v1", 701 }, { "c2pnb368w1", 702 },
    { "c2tnb431r1", 703 }, { "wap-wsg-idm-ecid-wtls1", 735 }, { "wap-wsg-idm-ecid-wtls3", 736 }, { "wap-wsg-idm-ecid-wtls4", 737 },
    { "wap-wsg-idm-ecid-wtls5", 738 }, { "wap-wsg-idm-ecid-wtls6", 739 }, { "wap-wsg-idm-ecid-wtls7", 740 }, { "wap-wsg-idm-ecid-wtls8", 741 },
    { "wap-wsg-idm-ecid-wtls9", 742 }, { "wap-wsg-idm-ecid-wtls10", 743 }, { "wap-wsg-idm-ecid-wtls11", 744 }, { "wap-wsg-idm-ecid-wtls12", 745 },
    { "Oakley-EC2N-3", 749 }, { "Oakley-EC2N-4", 750 }, { "brainpoolP160r1", 921 }, { "brainpoolP160t1", 922 }, { "brainpoolP192r1", 923 },
    { "brainpoolP192t1", 924 }, { "brainpoolP224r1", 925 }, { "brainpoolP224t1", 926 }, { "brainpoolP256r1", 927 }, { "brainpoolP256t1", 928 },
    { "brainpoolP320r1", 929 }, { "brainpoolP320t1", 930 }, { "brainpoolP384r1", 931 }, { "brainpoolP384t1", 932 }, { "brainpoolP512r1", 933 },
    { "brainpoolP512t1", 934 }, { "SM2", 1172 } };

std::string nameOf( PB_INT curve ) { return text( pb::adopt( cryPkeyEcNamedCurveToString( curve ) ) ); }
std::string snOf( PB_INT curve ) { return text( pb::adopt( cry___PkeyEcNamedCurveToOpensslSn( curve ) ) ); }
std::string displayNameOf( PB_INT curve ) { return text( pb::adopt( cryPkeyEcNamedCurveDisplayName( curve ) ) ); }
PB_INT      fromSn( std::string_view sn ) { return cry___PkeyEcNamedCurveFromOpensslSn( str( sn ).get() ); }

// The short name in capitals. Hyphens become "_", and a "_" comes before brainpool's P.
std::string expectedName( std::string sn )
{
    if( sn.starts_with( "brainpoolP" ) )
        sn.insert( 9, "_" );
    for( char &c : sn )
        c = c == '-' ? '_' : (char)toupper( c );
    return "CRY_PKEY_EC_NAMED_CURVE_" + sn;
}

// Some of OpenSSL's descriptions have remarks on further lines. This joins the lines.
std::string oneLine( const std::string &comment )
{
    std::string line;
    for( char c : comment )
    {
        bool blank = c == '\n' || c == '\t' || c == ' ';
        if( !blank )
            line += c;
        else if( !line.empty() && line.back() != ' ' )
            line += ' ';
    }
    return line;
}

}

TEST( CryPkeyEcNamedCurve, EveryValueHasItsNumberAndNames )
{
    for( PB_INT curve = 0; curve < curves; curve++ )
    {
        EXPECT_EQ( cry___PkeyEcNamedCurveToOpensslNid( curve ), table[curve].nid ) << curve;
        EXPECT_EQ( snOf( curve ), table[curve].sn ) << curve;
        EXPECT_EQ( nameOf( curve ), expectedName( table[curve].sn ) ) << curve;
    }
    EXPECT_EQ( curves, 82 );
}

TEST( CryPkeyEcNamedCurve, EveryWayBackFindsTheValue )
{
    for( PB_INT curve = 0; curve < curves; curve++ )
    {
        EXPECT_EQ( cry___PkeyEcNamedCurveFromOpensslNid( table[curve].nid ), curve );
        EXPECT_EQ( fromSn( table[curve].sn ), curve );
        EXPECT_EQ( cryPkeyEcNamedCurveFromString( str( expectedName( table[curve].sn ) ).get() ), curve );
    }
}

TEST( CryPkeyEcNamedCurve, NumbersAndNamesAreOpenssls )
{
    for( PB_INT curve = 0; curve < curves; curve++ )
    {
        EXPECT_STREQ( OBJ_nid2sn( table[curve].nid ), snOf( curve ).c_str() );
        EXPECT_EQ( OBJ_sn2nid( snOf( curve ).c_str() ), table[curve].nid );
    }
}

TEST( CryPkeyEcNamedCurve, CoversEveryBuiltInCurveWithItsDescription )
{
    std::vector<EC_builtin_curve> builtIn( EC_get_builtin_curves( nullptr, 0 ) );
    EC_get_builtin_curves( builtIn.data(), builtIn.size() );
    ASSERT_GT( builtIn.size(), 70u );
    for( const EC_builtin_curve &each : builtIn )
    {
        PB_INT curve = cry___PkeyEcNamedCurveFromOpensslNid( each.nid );
        ASSERT_GE( curve, 0 ) << OBJ_nid2sn( each.nid );
        EXPECT_TRUE( oneLine( each.comment ).starts_with( displayNameOf( curve ) ) ) << each.comment << " / " << displayNameOf( curve );
    }
    // libcrypto may have been built without some curves. The table has all curves that libcrypto
    // has.
    EXPECT_LE( builtIn.size(), (size_t)curves );
}

TEST( CryPkeyEcNamedCurve, DescriptionsAreNotUnique )
{
    EXPECT_EQ( displayNameOf( 2 ), "SECG curve over a 128 bit prime field" );
    EXPECT_EQ( displayNameOf( 3 ), displayNameOf( 2 ) );
    EXPECT_EQ( displayNameOf( 0 ), "SECG/WTLS curve over a 112 bit prime field" );
    EXPECT_EQ( displayNameOf( 81 ), "SM2 curve over a 256 bit prime field" );
}

TEST( CryPkeyEcNamedCurve, OnlyTheOakleyDescriptionsEndWithAFullStop )
{
    for( PB_INT curve = 0; curve < curves; curve++ )
        EXPECT_EQ( displayNameOf( curve ).ends_with( "." ),
            curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 || curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4 );
}

TEST( CryPkeyEcNamedCurve, UnknownNumbersAndNamesGiveMinusOne )
{
    for( int nid : { 0, -1, 6, 408, 691, 692, 697, 698, 746, 747, 748, 912, 1087, 1173, INT32_MAX, INT32_MIN } )
        EXPECT_EQ( cry___PkeyEcNamedCurveFromOpensslNid( nid ), -1 ) << nid;
    for( const char *sn : { "", "P-256", "P-384", "sm2", "PRIME256V1", "prime256v1 ", " prime256v1", "brainpoolp256r1", "secp256r1", "prime256v" } )
        EXPECT_EQ( fromSn( sn ), -1 ) << sn;
    for( const char *name :
        { "", "prime256v1", "CRY_PKEY_EC_NAMED_CURVE_", "CRY_PKEY_EC_NAMED_CURVE_BRAINPOOLP256R1", "cry_pkey_ec_named_curve_sm2" } )
        EXPECT_EQ( cryPkeyEcNamedCurveFromString( str( name ).get() ), -1 ) << name;
}

TEST( CryPkeyEcNamedCurve, HandsOutReferencesToTheSameText )
{
    pb::Ref<PB_STRING> first = pb::adopt( cry___PkeyEcNamedCurveToOpensslSn( 11 ) ), second = pb::adopt( cry___PkeyEcNamedCurveToOpensslSn( 11 ) );
    EXPECT_EQ( text( first ), "secp384r1" );
    pbStringAppendCstr( first.handle(), "!", 1 );
    EXPECT_EQ( text( second ), "secp384r1" );
    EXPECT_EQ( snOf( 11 ), "secp384r1" );
}
