#include <cry/cry_aes.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/aes/cry_aes.cpp";

static pb::Ref<CRY_AES> created()
{
    return pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, buf( std::string( 16, 'k' ) ).get() ) );
}

TEST( CryAesContracts, Create )
{
    pb::Ref<PB_BUFFER> key = buf( std::string( 16, 'k' ) );
    for( PB_INT mode : { (PB_INT)-1, (PB_INT)1, PB_INT_MAX } )
        EXPECT_ABORT( file, "CRY_AES_MODE_OK( mode )", cryAesTryCreate( mode, CRY_AES_OPERATION_ENCRYPT, key.get() ) );
    for( PB_INT op : { (PB_INT)-1, (PB_INT)2, PB_INT_MAX } )
        EXPECT_ABORT( file, "CRY_AES_OPERATION_OK( op )", cryAesTryCreate( CRY_AES_MODE_ECB, op, key.get() ) );
    for( size_t bytes : { 0u, 1u, 15u, 17u, 23u, 25u, 31u, 33u, 40u } )
    {
        pb::Ref<PB_BUFFER> odd = buf( std::string( bytes, 'k' ) );
        EXPECT_FALSE( cryAesValidateKey( odd.get() ) ) << bytes;
        EXPECT_ABORT( file, "cryAesValidateKey( key )", cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_DECRYPT, odd.get() ) );
    }
    EXPECT_ABORT( file, "key", cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_DECRYPT, nullptr ) );
    EXPECT_ABORT( file, "key", cryAesValidateKey( nullptr ) );
    // The first broken contract is reported.
    EXPECT_ABORT( file, "CRY_AES_MODE_OK( mode )", cryAesTryCreate( 1, 2, nullptr ) );
    EXPECT_ABORT( file, "CRY_AES_OPERATION_OK( op )", cryAesTryCreate( CRY_AES_MODE_ECB, 2, nullptr ) );
    for( size_t bytes : { 16u, 24u, 32u } )
    {
        EXPECT_TRUE( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_DECRYPT, buf( std::string( bytes, 'k' ) ).get() ) ) );
    }
}

TEST( CryAesContracts, StandardFunctions )
{
    pb::Ref<CRY_AES> aes = created();
    EXPECT_STANDARD_CHECKS( file, cry, Aes, CRY_AES, "aes", aes.get() );
}

TEST( CryAesContracts, Getters )
{
    EXPECT_ABORT( file, "aes", cryAesMode( nullptr ) );
    EXPECT_ABORT( file, "aes", cryAesOperation( nullptr ) );
    EXPECT_ABORT( file, "aes", cryAesKey( nullptr ) );
}

TEST( CryAesContracts, ProcessBlock )
{
    pb::Ref<CRY_AES> aes        = created();
    PB_BYTE          source[16] = {}, dest[16] = {};
    EXPECT_ABORT( file, "aes", cryAesProcessBlock( nullptr, dest, source ) );
    EXPECT_ABORT( file, "dest", cryAesProcessBlock( aes.get(), nullptr, source ) );
    EXPECT_ABORT( file, "source", cryAesProcessBlock( aes.get(), dest, nullptr ) );
    EXPECT_ABORT( file, "dest != source", cryAesProcessBlock( aes.get(), dest, dest ) );
    // The first broken contract is reported.
    EXPECT_ABORT( file, "aes", cryAesProcessBlock( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( file, "dest", cryAesProcessBlock( aes.get(), nullptr, nullptr ) );
    EXPECT_EQ( std::string( (const char *)dest, 16 ), std::string( 16, 0 ) );
    cryAesProcessBlock( aes.get(), dest, source );
    EXPECT_NE( std::string( (const char *)dest, 16 ), std::string( 16, 0 ) );
}
