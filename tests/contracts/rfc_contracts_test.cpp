#include <rfc/rfc.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

#include <pb/pb_mem.h>

using namespace support;

static constexpr char file[]              = "source/rfc/rfc_base.cpp";
static constexpr char optionsFile[]       = "source/rfc/rfc_base_options.cpp";
static constexpr char encapsulationFile[] = "source/rfc/rfc_encapsulation.cpp";
static constexpr char kindCheck[]         = "RFC_BASE_OK( kind )";

static constexpr PB_INT wrongKinds[] = { 0, 5, -1, PB_INT_MAX, PB_INT_MIN };

TEST( RfcContracts, Base )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    pb::Ref<PB_BUFFER>        data    = buf( "AAAA" );
    EXPECT_ABORT( file, "data", rfcBaseEncode( nullptr, RFC_BASE_64 ) );
    EXPECT_ABORT( file, "data", rfcBaseEncodeWithOptions( nullptr, RFC_BASE_64, options.get() ) );
    EXPECT_ABORT( file, "options", rfcBaseEncodeWithOptions( data.get(), RFC_BASE_64, nullptr ) );
    EXPECT_ABORT( file, "text", rfcBaseTryDecode( nullptr, RFC_BASE_64 ) );
    for( PB_INT kind : wrongKinds )
    {
        EXPECT_ABORT( file, kindCheck, rfcBaseEncode( data.get(), kind ) );
        EXPECT_ABORT( file, kindCheck, rfcBaseEncodeWithOptions( data.get(), kind, options.get() ) );
        EXPECT_ABORT( file, kindCheck, rfcBaseTryDecode( data.get(), kind ) );
    }
}

TEST( RfcContracts, BaseBytes )
{
    PB_BYTE bytes[8] = {};
    char    text[16] = {};
    for( PB_INT kind : wrongKinds )
    {
        EXPECT_ABORT( file, kindCheck, rfc___BaseEncodedLength( 1, kind ) );
        EXPECT_ABORT( file, kindCheck, rfc___BaseEncodeBytes( bytes, 1, kind, text ) );
        EXPECT_ABORT( file, kindCheck, rfc___BaseTryDecodeBytes( text, 4, kind, bytes ) );
    }
    EXPECT_ABORT( file, "byteCount >= 0", rfc___BaseEncodedLength( -1, RFC_BASE_64 ) );
    EXPECT_ABORT( file, "byteCount >= 0", rfc___BaseEncodeBytes( bytes, -1, RFC_BASE_64, text ) );
    EXPECT_ABORT( file, "bytes || !byteCount", rfc___BaseEncodeBytes( nullptr, 1, RFC_BASE_64, text ) );
    EXPECT_ABORT( file, "text || !length", rfc___BaseTryDecodeBytes( nullptr, 4, RFC_BASE_64, bytes ) );
    EXPECT_ABORT( file, "length >= 0", rfc___BaseTryDecodeBytes( text, -4, RFC_BASE_64, bytes ) );
    EXPECT_ABORT( file, "bytes || !length", rfc___BaseTryDecodeBytes( text, 4, RFC_BASE_64, nullptr ) );
    EXPECT_ABORT( file, "byteCount >= 0", rfc___BaseEncodeLines( bytes, -1, text ) );
    EXPECT_ABORT( file, "bytes || !byteCount", rfc___BaseEncodeLines( nullptr, 1, text ) );
    EXPECT_ABORT( file, "text || !length", rfc___BaseTryDecodeLines( nullptr, 65, PB_FALSE, bytes ) );
    EXPECT_ABORT( file, "length >= 0", rfc___BaseTryDecodeLines( text, -65, PB_FALSE, bytes ) );
    EXPECT_ABORT( file, "bytes || !length", rfc___BaseTryDecodeLines( text, 65, PB_FALSE, nullptr ) );
}

TEST( RfcContracts, TextThatIsLongerThanACountCanSay )
{
    static constexpr char tooLong[] = "groups <= PB_INT_MAX / encoding.group";
    for( PB_INT kind : { RFC_BASE_16, RFC_BASE_32, RFC_BASE_64, RFC_BASE_64_URL } )
        EXPECT_ABORT( file, tooLong, rfc___BaseEncodedLength( PB_INT_MAX, kind ) );
    EXPECT_ABORT( file, tooLong, rfc___BaseEncodedLength( PB_INT_MAX / 2 + 1, RFC_BASE_16 ) );
    EXPECT_EQ( rfc___BaseEncodedLength( PB_INT_MAX / 2, RFC_BASE_16 ), PB_INT_MAX - 1 );
    // The bytes are not read before the length is checked.
    pb::Ref<PB_BUFFER> data = pb::adopt( pbBufferCreateFromBytesUse( pbMemAlloc( 1 ), PB_INT_MAX ) );
    EXPECT_ABORT( file, tooLong, rfcBaseEncode( data.get(), RFC_BASE_64 ) );
}

TEST( RfcContracts, BaseOptions )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    RFC_BASE_OPTIONS         *none    = nullptr;
    EXPECT_STANDARD_CHECKS( optionsFile, rfc, BaseOptions, RFC_BASE_OPTIONS, "options", options.get() );
    EXPECT_ABORT( optionsFile, "source", rfcBaseOptionsCreateFrom( nullptr ) );
    EXPECT_ABORT( optionsFile, "options", rfcBaseOptionsFlags( nullptr ) );
    EXPECT_ABORT( optionsFile, "options", rfcBaseOptionsOutputLineLength( nullptr ) );
    EXPECT_ABORT( optionsFile, "options", rfcBaseOptionsOutputNlf( nullptr ) );
    for( auto set : { rfcBaseOptionsSetFlags, rfcBaseOptionsSetOutputLineLength, rfcBaseOptionsSetOutputNlf } )
    {
        EXPECT_ABORT( optionsFile, "options", set( nullptr, 1 ) );
        EXPECT_ABORT( optionsFile, "*options", set( &none, 1 ) );
    }
    EXPECT_ABORT( optionsFile, "lineLength >= 0", rfcBaseOptionsSetOutputLineLength( options.handle(), -1 ) );
    for( PB_INT nlf : { (PB_INT)-1, (PB_INT)5, PB_INT_MAX } )
        EXPECT_ABORT( optionsFile, "RFC_BASE_NLF_OK( nlf )", rfcBaseOptionsSetOutputNlf( options.handle(), nlf ) );
    // The pointer is checked before the value.
    EXPECT_ABORT( optionsFile, "*options", rfcBaseOptionsSetOutputLineLength( &none, -1 ) );
}

TEST( RfcContracts, Encapsulation )
{
    const PB_BYTE     text[] = { 'x' };
    RFC_ENCAPSULATION found;
    EXPECT_ABORT( encapsulationFile, "text || !length", rfcEncapsulationFindNext( nullptr, 1, 0, 1, &found ) );
    EXPECT_ABORT( encapsulationFile, "length >= 0", rfcEncapsulationFindNext( text, -1, 0, 1, &found ) );
    EXPECT_ABORT( encapsulationFile, "offset >= 0", rfcEncapsulationFindNext( text, 1, -1, 1, &found ) );
    EXPECT_ABORT( encapsulationFile, "offset <= length", rfcEncapsulationFindNext( text, 1, 2, 1, &found ) );
    EXPECT_ABORT( encapsulationFile, "found", rfcEncapsulationFindNext( text, 1, 0, 1, nullptr ) );
}
