#include <cry/cry_pem.h>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

static bool ok( std::string_view label ) { return cryPemLabelOk( str( label ).get() ); }

TEST( CryPemLabel, EmptyIsALabel ) { EXPECT_TRUE( ok( "" ) ); }

TEST( CryPemLabel, WordsAreJoinedBySingleBlanksOrHyphens )
{
    for( const char *label : { "A", "CERTIFICATE", "RSA PRIVATE KEY", "X509-CRL", "a b-c d", "!", "~", "X.509 #1 (new)" } )
        EXPECT_TRUE( ok( label ) ) << label;
}

TEST( CryPemLabel, SeparatorsMayNotStandAtTheEndsNorBesideEachOther )
{
    for( const char *label : { " ", "-", " A", "A ", "-A", "A-", "A  B", "A--B", "A -B", "A- B", "--", "A - B" } )
        EXPECT_FALSE( ok( label ) ) << label;
}

TEST( CryPemLabel, EveryPrintableCharacterIsAllowedAndNoOther )
{
    for( int byte = 0; byte < 0x80; byte++ )
    {
        char        character = (char)byte;
        std::string between   = std::string( "A" ) + character + "B";
        EXPECT_EQ( ok( between ), byte >= 0x20 && byte <= 0x7E ) << byte;
        EXPECT_EQ( ok( { &character, 1 } ), byte > 0x20 && byte <= 0x7E && byte != '-' ) << byte;
    }
    for( const char *label : { "\xC2\x85",
             "A\xC2\xA0"
             "B",
             "\xC3\x84", "\xE2\x80\x90", "A\xF0\x9F\x94\x91" } )
        EXPECT_FALSE( ok( label ) );
}
