// PEM text: the decoder of bytes gives what the line reader gives, every form of the text leads to
// the same blocks, and what was decoded encodes to a text that decodes to itself.
#include <cry/internal/cry_pem.h>

#include "../source/rfc/rfc_base64.hpp"
#include "start.hpp"

using namespace fuzz;

namespace
{

pb::Ref<PB_VECTOR> linesOf( const pb::Ref<PB_BUFFER> &text )
{
    pb::Ref<PB_BYTE_SOURCE> source     = pb::adopt( pbBufferByteSourceCreate( text.get() ) );
    pb::Ref<PB_CHAR_SOURCE> characters = pb::adopt( pbCharsetCreateCharSource( source.get(), PB_CHARSET_LATIN1, PB_CHARSET_FLAG_STRICT ) );
    pb::Ref<PB_LINE_SOURCE> ls         = pb::adopt( pbNlfLineSourceCreate( characters.get(), 255 ) );
    pb::Ref<PB_VECTOR>      lines      = pb::adopt( pbLineSourceReadLines( ls.get(), PB_INT_MAX ) );
    FUZZ_CHECK( !pbLineSourceError( ls.get() ) );
    return lines;
}

void checkBlock( const pb::Ref<CRY_PEM> &pem )
{
    pb::Ref<PB_STRING> label = pb::adopt( cryPemLabel( pem.get() ) );
    pb::Ref<PB_BUFFER> data  = pb::adopt( cryPemData( pem.get() ) );
    FUZZ_CHECK( cryPemLabelOk( label.get() ) );
    FUZZ_CHECK( !view( label ).ends_with( "PRIVATE KEY" ) || pbBufferSensitive( data.get() ) );

    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem.get() ) );
    FUZZ_CHECK( cryPemEquals( pb::adopt( cryPemTryDecode( text.get() ) ).get(), pem.get() ) );
    FUZZ_CHECK( cryPemEquals( pb::adopt( cryPemTryRestore( pb::adopt( cryPemStore( pem.get() ) ).get() ) ).get(), pem.get() ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( cryPemEncodeToStringVector( pem.get() ) );
    FUZZ_CHECK( pbVectorEquals( linesOf( text ).get(), lines.get() ) );
    FUZZ_CHECK( cryPemEquals( pb::adopt( cryPemTryDecodeFromStringVector( lines.get() ) ).get(), pem.get() ) );

    BIO *bio = BIO_new( BIO_s_mem() );
    FUZZ_CHECK( cry___PemEncodeToBio( pem.get(), bio ) );
    FUZZ_CHECK( cryPemEquals( pb::adopt( cry___PemTryDecodeFromBio( bio ) ).get(), pem.get() ) );
    BIO_free( bio );
}

// All blocks by the reader of one block; none when one fails.
pb::Ref<PB_VECTOR> oneByOne( pb::Ref<PB_VECTOR> lines )
{
    pb::Ref<PB_VECTOR> pems = pb::adopt( pbVectorCreate() );
    while( pbVectorLength( lines.get() ) )
    {
        CRY_PEM *block;
        PB_BOOL  ok  = cry___PemTryDecodeFromStringVector( lines.handle(), &block );
        pb::Ref  pem = pb::adopt( block );
        FUZZ_CHECK( ok || !pem );
        if( !ok )
            return {};
        if( pem )
            pbVectorAppendObj( pems.handle(), pem.obj() );
    }
    return pems;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    pb::Ref<PB_BUFFER> text  = buffer( { (const char *)bytes, size } );
    pb::Ref<PB_VECTOR> lines = linesOf( text );
    pb::Ref<PB_VECTOR> pems  = pb::adopt( cryPemVectorTryDecode( text.get() ) );
    FUZZ_CHECK( pbVectorEquals( pems.get(), pb::adopt( cryPemVectorTryDecodeFromStringVector( lines.get() ) ).get() ) );
    FUZZ_CHECK( pbVectorEquals( pems.get(), oneByOne( lines ).get() ) );

    rfc::base64::setVectorsUsed( false );
    FUZZ_CHECK( pbVectorEquals( pems.get(), pb::adopt( cryPemVectorTryDecode( text.get() ) ).get() ) );
    rfc::base64::setVectorsUsed( true );

    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( text.get() ) );
    FUZZ_CHECK( cryPemEquals( pem.get(), pb::adopt( cryPemTryDecodeFromStringVector( lines.get() ) ).get() ) );
    FUZZ_CHECK( (bool)pem == ( pems && pbVectorLength( pems.get() ) == 1 ) );
    if( size )
    {
        BIO *bio = BIO_new_mem_buf( bytes, (int)size );
        FUZZ_CHECK( cryPemEquals( pem.get(), pb::adopt( cry___PemTryDecodeFromBio( bio ) ).get() ) );
        BIO_free( bio );
    }
    if( !pems )
        return 0;
    for( PB_INT index = 0; index < pbVectorLength( pems.get() ); index++ )
        checkBlock( pb::adopt( cryPemFrom( pbVectorObjAt( pems.get(), index ) ) ) );
    pb::Ref<PB_BUFFER> again = pb::adopt( cryPemVectorEncode( pems.get() ) );
    FUZZ_CHECK( pbVectorEquals( pb::adopt( cryPemVectorTryDecode( again.get() ) ).get(), pems.get() ) );
    FUZZ_CHECK( pbVectorEquals( linesOf( again ).get(), pb::adopt( cryPemVectorEncodeToStringVector( pems.get() ) ).get() ) );
    return 0;
}
