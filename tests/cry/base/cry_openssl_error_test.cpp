#include <cry/internal/cry_module.h>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

using namespace support;

static std::string errorText( unsigned long code ) { return text( pb::adopt( cry___OpensslErrorString( code ) ) ); }

TEST( CryOpensslError, NamesLibraryAndReason )
{
    EXPECT_EQ( errorText( ERR_PACK( ERR_LIB_PEM, 0, PEM_R_NO_START_LINE ) ), "0480006c:PEM routines::no start line" );
    EXPECT_EQ( errorText( ERR_PACK( ERR_LIB_X509, 0, X509_R_KEY_VALUES_MISMATCH ) ), "05800074:x509 certificate routines::key values mismatch" );
}

TEST( CryOpensslError, AlwaysWritesEightDigits )
{
    EXPECT_EQ( errorText( 0 ).substr( 0, 9 ), "00000000:" );
    EXPECT_EQ( errorText( 1 ).substr( 0, 9 ), "00000001:" );
    EXPECT_EQ( errorText( 0xABCDE ).substr( 0, 9 ), "000abcde:" );
    EXPECT_EQ( errorText( ERR_PACK( ERR_LIB_ASN1, 0, 1 ) ).substr( 0, 9 ), "06800001:" );
    EXPECT_EQ( errorText( 0xFFFFFFFF ).substr( 0, 9 ), "ffffffff:" );
}

TEST( CryOpensslError, LooksAtTheLowThirtyTwoBitsOnly )
{
    EXPECT_EQ( errorText( 0x1200000480006CUL & 0xFFFFFFFFFFFFFFUL ), errorText( 0x0480006CUL ) );
    EXPECT_EQ( errorText( 0xFFFFFFFF00000000UL ), errorText( 0 ) );
}

TEST( CryOpensslError, LeavesEmptyWhatOpensslHasNoTextFor )
{
    // No library has the number 63.
    unsigned long code = ERR_PACK( 63, 0, 999 );
    ASSERT_EQ( ERR_lib_error_string( code ), nullptr );
    ASSERT_EQ( ERR_reason_error_string( code ), nullptr );
    EXPECT_EQ( errorText( code ), "1f8003e7:::" );
    unsigned long noReason = ERR_PACK( ERR_LIB_PEM, 0, 999 );
    ASSERT_EQ( ERR_reason_error_string( noReason ), nullptr );
    EXPECT_EQ( errorText( noReason ), "048003e7:PEM routines::" );
}

TEST( CryOpensslError, SystemErrorsAreWrittenWithTheirFlagBit )
{
    unsigned long code = ERR_SYSTEM_FLAG | 2u;
    EXPECT_EQ( errorText( code ),
        std::string( "80000002:" ) + ERR_lib_error_string( code ) +
            "::" + ( ERR_reason_error_string( code ) ? ERR_reason_error_string( code ) : "" ) );
}
