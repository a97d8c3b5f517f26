#include <cry/cry_hash.h>
#include <cry/internal/cry_hash.h>

#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[]          = "source/cry/hash/cry_hash.cpp";
static constexpr char algorithmFile[] = "source/cry/hash/cry_hash_algorithm.cpp";

TEST( CryHashContracts, Algorithm )
{
    EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryHashTryCreate( 10 ) );
    EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryHashTryCreate( -1 ) );
    EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryHashTryCompute( 10, nullptr ) );
    EXPECT_ABORT( algorithmFile, "CRY_HASH_ALGORITHM_OK( alg )", cryHashAlgorithmToString( 10 ) );
    EXPECT_ABORT( algorithmFile, "CRY_HASH_ALGORITHM_OK( alg )", cryHashAlgorithmBlockSizeBits( 10 ) );
    EXPECT_ABORT( algorithmFile, "CRY_HASH_ALGORITHM_OK( alg )", cryHashAlgorithmDigestSizeBits( -1 ) );
    EXPECT_ABORT( algorithmFile, "CRY_HASH_ALGORITHM_OK( alg )", cry___HashAlgorithmOpensslDigestName( 10 ) );
    EXPECT_ABORT( algorithmFile, "pbs", cryHashAlgorithmFromString( nullptr ) );
}

TEST( CryHashContracts, StandardFunctions )
{
    pb::Ref<CRY_HASH>  hash  = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA2_256 ) );
    pb::Ref<PB_STRING> other = str( "x" );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_HASH", cryHashFrom( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc retain", file, "obj", cryHashRetain( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc release", file, "obj", cryHashRelease( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", cryHashCompare( nullptr, hash.get() ) );
    EXPECT_ABORT_IN( "stdfunc compare b", file, "objB", cryHashCompare( hash.get(), nullptr ) );
    EXPECT_ABORT_IN( "stdfunc tostring", file, "obj", cryHashToString( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_HASH", cryHashSort()->slots.free( other.obj() ) );
    EXPECT_ABORT( file, "hash", cryHashSort()->slots.free( nullptr ) );
    EXPECT_EQ( cryHashFrom( nullptr ), nullptr );
}

TEST( CryHashContracts, Updates )
{
    pb::Ref<CRY_HASH>  hash = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA2_256 ) );
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( file, "hash", cryHashUpdate( nullptr, data.get() ) );
    EXPECT_ABORT( file, "data", cryHashUpdate( hash.get(), nullptr ) );
    EXPECT_ABORT( file, "data", cryHashTryCompute( 3, nullptr ) );
    EXPECT_ABORT( file, "hash", cryHashUpdateBytes( nullptr, nullptr, 0 ) );
    EXPECT_ABORT( file, "data || !byteCount", cryHashUpdateBytes( hash.get(), nullptr, 1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", cryHashUpdateBytes( hash.get(), (const PB_BYTE *)"x", -1 ) );
    using Ranged = void ( * )( CRY_HASH *, PB_BUFFER *, PB_INT, PB_INT );
    for( Ranged update : { &cryHashUpdateInner, &cryHashUpdateOuter } )
    {
        EXPECT_ABORT( file, "data", update( hash.get(), nullptr, 0, 0 ) );
        EXPECT_ABORT( file, "byteOffset >= 0", update( hash.get(), data.get(), -1, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( hash.get(), data.get(), 0, -1 ) );
        EXPECT_ABORT( file, "PB_INT_ADD_OK( byteOffset, byteCount )", update( hash.get(), data.get(), 1, PB_INT_MAX ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteOffset + byteCount", update( hash.get(), data.get(), 2, 2 ) );
    }
    using Counted = void ( * )( CRY_HASH *, PB_BUFFER *, PB_INT );
    for( Counted update : { &cryHashUpdateLeading, &cryHashUpdateTrailing } )
    {
        EXPECT_ABORT( file, "data", update( hash.get(), nullptr, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( hash.get(), data.get(), -1 ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteCount", update( hash.get(), data.get(), 4 ) );
    }
}

TEST( CryHashContracts, Final )
{
    pb::Ref<CRY_HASH> hash = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA2_256 ) );
    EXPECT_ABORT( file, "hash", cryHashFinal( nullptr ) );
    EXPECT_ABORT( file, "hash", cry___HashIsFinal( nullptr ) );
    EXPECT_FALSE( cry___HashIsFinal( hash.get() ) );
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashFinal( hash.get() ) );
    EXPECT_TRUE( cry___HashIsFinal( hash.get() ) );
    EXPECT_ABORT( file, "!hash->final", cryHashFinal( hash.get() ) );
    EXPECT_ABORT( file, "!hash->final", cryHashUpdateByte( hash.get(), 0 ) );
    EXPECT_ABORT( file, "!hash->final", cryHashUpdateBytes( hash.get(), nullptr, 0 ) );
}
