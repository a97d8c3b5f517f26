#include <cry/cry_uuid.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[]       = "source/cry/uuid/cry_uuid.cpp";
static constexpr char stringFile[] = "source/pb/values/pb_string.cpp";

TEST( CryUuidContracts, StandardFunctions )
{
    pb::Ref<CRY_UUID> uuid = pb::adopt( cryUuidNamespaceDns() );
    EXPECT_STANDARD_CHECKS( file, cry, Uuid, CRY_UUID, "uuid", uuid.get() );
}

TEST( CryUuidContracts, Creation )
{
    pb::Ref<CRY_UUID>  ns   = pb::adopt( cryUuidNamespaceUrl() );
    pb::Ref<PB_BUFFER> name = buf( "name" );
    EXPECT_ABORT( file, "src", cryUuidCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "ns", cryUuidTryCreateNameBased( nullptr, name.get() ) );
    EXPECT_ABORT( file, "name", cryUuidTryCreateNameBased( ns.get(), nullptr ) );
    EXPECT_ABORT( file, "ns", cryUuidTryCreateNameBasedStringName( nullptr, str( "name" ).get() ) );
    EXPECT_ABORT( file, "name", cryUuidTryCreateNameBasedStringName( ns.get(), nullptr ) );
    // The first broken contract is reported.
    EXPECT_ABORT( file, "ns", cryUuidTryCreateNameBased( nullptr, nullptr ) );
    EXPECT_ABORT( file, "ns", cryUuidTryCreateNameBasedStringName( nullptr, nullptr ) );
    EXPECT_TRUE( pb::adopt( cryUuidTryCreateNameBased( ns.get(), buf( "" ).get() ) ) );
    EXPECT_TRUE( pb::adopt( cryUuidTryCreateNameBasedStringName( ns.get(), str( "" ).get() ) ) );
}

TEST( CryUuidContracts, FromBinary )
{
    EXPECT_ABORT( file, "binary", cryUuidTryCreateFromBinary( nullptr ) );
    for( PB_INT length : { (PB_INT)1, (PB_INT)16, (PB_INT)-1, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( file, "binary || !binaryLength", cryUuidTryCreateFromBinaryBytes( nullptr, length ) );
    // Data of another length does not break a contract.
    EXPECT_FALSE( pb::adopt( cryUuidTryCreateFromBinaryBytes( nullptr, 0 ) ) );
    EXPECT_FALSE( pb::adopt( cryUuidTryCreateFromBinaryBytes( (const PB_BYTE *)"x", -1 ) ) );
    EXPECT_FALSE( pb::adopt( cryUuidTryCreateFromBinary( buf( "" ).get() ) ) );
}

TEST( CryUuidContracts, FromText )
{
    EXPECT_ABORT( file, "source", cryUuidTryCreateFromString( nullptr ) );
    EXPECT_ABORT( stringFile, "text || !length", cryUuidTryCreateFromStringCstr( nullptr, -1 ) );
    EXPECT_ABORT( stringFile, "length >= -1", cryUuidTryCreateFromStringCstr( "x", -2 ) );
    EXPECT_ABORT( stringFile, "text || !length", cryUuidTryCreateFromStringWcstr( nullptr, 36 ) );
    EXPECT_ABORT( stringFile, "length >= -1", cryUuidTryCreateFromStringWcstr( L"x", -2 ) );
    EXPECT_FALSE( pb::adopt( cryUuidTryCreateFromStringCstr( nullptr, 0 ) ) );
    EXPECT_FALSE( pb::adopt( cryUuidTryCreateFromStringWcstr( nullptr, 0 ) ) );
}

TEST( CryUuidContracts, Reading )
{
    EXPECT_ABORT( file, "uuid", cryUuidToBinary( nullptr ) );
    EXPECT_ABORT( file, "uuid", cryUuidToStringWithFlags( nullptr, 0 ) );
    EXPECT_ABORT( file, "uuid", cryUuidVariant( nullptr ) );
    EXPECT_ABORT( file, "uuid", cryUuidVersion( nullptr ) );
    // Undefined flags do not break a contract.
    pb::Ref<CRY_UUID> nil = pb::adopt( cryUuidCreateNil() );
    EXPECT_EQ( text( pb::adopt( cryUuidToStringWithFlags( nil.get(), 0x20 ) ) ), "00000000-0000-0000-0000-000000000000" );
    EXPECT_EQ( text( pb::adopt( cryUuidToStringWithFlags( nil.get(), PB_INT_MIN ) ) ), "00000000-0000-0000-0000-000000000000" );
}
