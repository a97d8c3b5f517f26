#include <cry/cry_pkey_type.h>
#include <cry/internal/cry_pkey.h>

#include <gtest/gtest.h>
#include <openssl/evp.h>

TEST( CryPkeyType, HasOpensslsNumbersOfPlainRsaAndEcKeys )
{
    EXPECT_EQ( cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE_RSA ), 6 );
    EXPECT_EQ( cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE_EC ), 408 );
    EXPECT_EQ( cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE_RSA ), EVP_PKEY_RSA );
    EXPECT_EQ( cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE_EC ), EVP_PKEY_EC );
    EXPECT_EQ( cry___PkeyTypeFromOpensslNid( 6 ), CRY_PKEY_TYPE_RSA );
    EXPECT_EQ( cry___PkeyTypeFromOpensslNid( 408 ), CRY_PKEY_TYPE_EC );
}

TEST( CryPkeyType, OtherKindsOfKeyAreNotClassified )
{
    for( int nid : { EVP_PKEY_RSA_PSS, EVP_PKEY_ED25519, EVP_PKEY_ED448, EVP_PKEY_X25519, EVP_PKEY_DSA, EVP_PKEY_DH, EVP_PKEY_SM2, EVP_PKEY_RSA2, 0,
             -1, -6, INT32_MAX, INT32_MIN } )
        EXPECT_EQ( cry___PkeyTypeFromOpensslNid( nid ), -1 ) << nid;
}
