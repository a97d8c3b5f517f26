#include <cry/cry_pem.h>

#include "base/cry_pem_lines.hpp"

PB_BUFFER *cryPemVectorEncode( PB_VECTOR *pv )
{
    PB_CHECK( pbVectorContainsOnly( pv, cryPemSort() ) );
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    for( PB_INT index = 0; index < pbVectorLength( pv ); index++ )
    {
        pb::Ref<PB_BUFFER> block = pb::adopt( cryPemEncode( cryPemFrom( pb___VectorPeekObjAt( pv, index ) ) ) );
        pbBufferAppend( text.handle(), block.get() );
    }
    return text.take();
}

PB_VECTOR *cryPemVectorEncodeToStringVector( PB_VECTOR *pv )
{
    PB_CHECK( pbVectorContainsOnly( pv, cryPemSort() ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbVectorCreate() );
    for( PB_INT index = 0; index < pbVectorLength( pv ); index++ )
    {
        pb::Ref<PB_VECTOR> block = pb::adopt( cryPemEncodeToStringVector( cryPemFrom( pb___VectorPeekObjAt( pv, index ) ) ) );
        pbVectorInsert( lines.handle(), pbVectorLength( lines.get() ), block.get() );
    }
    return lines.take();
}

PB_VECTOR *cryPemVectorTryDecode( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    return cry::pem::tryReadAll( cry::pem::TextLines( buf ) );
}

PB_VECTOR *cryPemVectorTryDecodeFromStringVector( PB_VECTOR *vec )
{
    PB_CHECK( vec );
    cry::pem::checkLines( &vec );
    return cry::pem::tryReadAll( cry::pem::StringLines( vec ) );
}
