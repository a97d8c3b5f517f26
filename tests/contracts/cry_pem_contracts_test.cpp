#include <cry/cry_pem.h>
#include <cry/internal/cry_pem.h>

#include "support/contract.hpp"
#include "support/text.hpp"

#include <pb/pb_boxed_int.h>

using namespace support;

static constexpr char file[]       = "source/cry/base/cry_pem.cpp";
static constexpr char vectorFile[] = "source/cry/base/cry_pem_vector.cpp";
static constexpr char labelFile[]  = "source/cry/base/cry_pem_label.cpp";

namespace
{

// A vector that does not hold only strings, and does not hold only PEM objects.
pb::Ref<PB_VECTOR> numbers()
{
    pb::Ref<PB_VECTOR> vector = vec( { "-----BEGIN A-----", "-----END A-----" } );
    pbVectorAppendObj( vector.handle(), pb::adopt( pbBoxedIntCreate( 1 ) ).obj() );
    return vector;
}

// A BIO that reports more bytes than the call asked for.
int  claimWrite( BIO *, const char *, int count ) { return count + 1; }
long noControl( BIO *, int, long, void * ) { return 0; }

}

TEST( CryPemContracts, StandardFunctions )
{
    pb::Ref<CRY_PEM>   pem    = pb::adopt( cryPemCreate() );
    pb::Ref<PB_STRING> other  = str( "x" );
    constexpr char     sort[] = "!obj || pbObjSort(obj)==&cry___sort_CRY_PEM";
    EXPECT_ABORT_IN( "stdfunc from", file, sort, cryPemFrom( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc retain", file, "obj", cryPemRetain( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc release", file, "obj", cryPemRelease( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", cryPemCompare( nullptr, pem.get() ) );
    EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", cryPemCompare( nullptr, nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare b", file, "objB", cryPemCompare( pem.get(), nullptr ) );
    EXPECT_ABORT_IN( "stdfunc tostring", file, "obj", cryPemToString( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc from", file, sort, cryPemSort()->slots.free( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", file, sort, cryPemSort()->slots.compare( other.obj(), pem.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", file, sort, cryPemSort()->slots.compare( pem.obj(), other.obj() ) );
    EXPECT_ABORT( file, "pem", cryPemSort()->slots.free( nullptr ) );
    EXPECT_ABORT( file, "pemA", cryPemSort()->slots.compare( nullptr, pem.obj() ) );
    EXPECT_ABORT( file, "pemB", cryPemSort()->slots.compare( pem.obj(), nullptr ) );
    EXPECT_EQ( cryPemFrom( nullptr ), nullptr );
}

TEST( CryPemContracts, GettersAndSetters )
{
    pb::Ref<CRY_PEM>   pem   = pb::adopt( cryPemCreate() );
    CRY_PEM           *none  = nullptr;
    pb::Ref<PB_STRING> label = str( "A" );
    pb::Ref<PB_BUFFER> data  = buf( "data" );
    EXPECT_ABORT( file, "source", cryPemCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "pem", cryPemLabel( nullptr ) );
    EXPECT_ABORT( file, "pem", cryPemData( nullptr ) );
    EXPECT_ABORT( file, "pem", cryPemSetLabel( nullptr, label.get() ) );
    EXPECT_ABORT( file, "*pem", cryPemSetLabel( &none, label.get() ) );
    EXPECT_ABORT( file, "pem", cryPemSetData( nullptr, data.get() ) );
    EXPECT_ABORT( file, "*pem", cryPemSetData( &none, data.get() ) );
    EXPECT_ABORT( file, "data", cryPemSetData( pem.handle(), nullptr ) );
    for( const char *bad : { " ", "A ", "-A", "A  B", "A- B", "\xC3\x84", "A\nB" } )
        EXPECT_ABORT( file, "cryPemLabelOk( label )", cryPemSetLabel( pem.handle(), str( bad ).get() ) );
    // The pointer is checked before the value.
    EXPECT_ABORT( file, "*pem", cryPemSetLabel( &none, str( " " ).get() ) );
    EXPECT_ABORT( file, "*pem", cryPemSetData( &none, nullptr ) );
    EXPECT_ABORT( labelFile, "label", cryPemLabelOk( nullptr ) );
    EXPECT_ABORT( labelFile, "label", cryPemSetLabel( pem.handle(), nullptr ) );
}

TEST( CryPemContracts, EncodersAndDecoders )
{
    EXPECT_ABORT( file, "pem", cryPemEncode( nullptr ) );
    EXPECT_ABORT( file, "pem", cryPemEncodeToStringVector( nullptr ) );
    EXPECT_ABORT( file, "buf", cryPemTryDecode( nullptr ) );
    EXPECT_ABORT( file, "vec", cryPemTryDecodeFromStringVector( nullptr ) );
    EXPECT_ABORT( file, "pbVectorContainsOnly( *vec, pbStringSort() )", cryPemTryDecodeFromStringVector( numbers().get() ) );
    EXPECT_ABORT( file, "pem", cryPemStore( nullptr ) );
    EXPECT_ABORT( file, "store", cryPemTryRestore( nullptr ) );
}

TEST( CryPemContracts, BlockReader )
{
    pb::Ref<PB_VECTOR> lines = vec( { "x" } ), wrong = numbers();
    PB_VECTOR         *none = nullptr;
    CRY_PEM           *pem  = nullptr;
    EXPECT_ABORT( file, "vec", cry___PemTryDecodeFromStringVector( nullptr, &pem ) );
    EXPECT_ABORT( file, "pbVectorContainsOnly( *vec, pbStringSort() )", cry___PemTryDecodeFromStringVector( &none, &pem ) );
    EXPECT_ABORT( file, "pbVectorContainsOnly( *vec, pbStringSort() )", cry___PemTryDecodeFromStringVector( wrong.handle(), &pem ) );
    EXPECT_ABORT( file, "pbVectorContainsOnly( *vec, pbStringSort() )", cry___PemTryDecodeFromStringVector( wrong.handle(), nullptr ) );
    EXPECT_ABORT( file, "pem", cry___PemTryDecodeFromStringVector( lines.handle(), nullptr ) );
}

TEST( CryPemContracts, Vectors )
{
    for( const pb::Ref<PB_VECTOR> &wrong : { numbers(), vec( { "text" } ), pb::Ref<PB_VECTOR>() } )
    {
        EXPECT_ABORT( vectorFile, "pbVectorContainsOnly( pv, cryPemSort() )", cryPemVectorEncode( wrong.get() ) );
        EXPECT_ABORT( vectorFile, "pbVectorContainsOnly( pv, cryPemSort() )", cryPemVectorEncodeToStringVector( wrong.get() ) );
    }
    EXPECT_ABORT( vectorFile, "buf", cryPemVectorTryDecode( nullptr ) );
    EXPECT_ABORT( vectorFile, "vec", cryPemVectorTryDecodeFromStringVector( nullptr ) );
    EXPECT_ABORT( vectorFile, "pbVectorContainsOnly( *vec, pbStringSort() )", cryPemVectorTryDecodeFromStringVector( numbers().get() ) );
}

TEST( CryPemContracts, Bios )
{
    pb::Ref<CRY_PEM> pem    = pb::adopt( cryPemCreate() );
    BIO             *memory = BIO_new( BIO_s_mem() );
    EXPECT_ABORT( file, "pem", cry___PemEncodeToBio( nullptr, memory ) );
    EXPECT_ABORT( file, "bio", cry___PemEncodeToBio( pem.get(), nullptr ) );
    EXPECT_ABORT( file, "bio", cry___PemTryDecodeFromBio( nullptr ) );
    BIO_free( memory );

    BIO_METHOD *method = BIO_meth_new( BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "claim" );
    BIO_meth_set_write( method, claimWrite );
    BIO_meth_set_ctrl( method, noControl );
    BIO *claiming = BIO_new( method );
    BIO_set_init( claiming, 1 );
    EXPECT_ABORT( file, "written <= write", cry___PemEncodeToBio( pem.get(), claiming ) );
    BIO_free( claiming );
    BIO_meth_free( method );
}
