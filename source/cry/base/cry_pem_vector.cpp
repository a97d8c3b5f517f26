#include <cry/cry_pem.h>

#include "base/cry_pem_lines.hpp"

#include <pb/each.hpp>

PB_BUFFER *cryPemVectorEncode( PB_VECTOR *pv )
{
    PB_CHECK( pbVectorContainsOnly( pv, cryPemSort() ) );
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    for( CRY_PEM *pem : pb::each<CRY_PEM>( pv ) )
    {
        pb::Ref<PB_BUFFER> block = pb::adopt( cryPemEncode( pem ) );
        pbBufferAppend( text.handle(), block.get() );
    }
    return text.take();
}

PB_VECTOR *cryPemVectorEncodeToStringVector( PB_VECTOR *pv )
{
    PB_CHECK( pbVectorContainsOnly( pv, cryPemSort() ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbVectorCreate() );
    for( CRY_PEM *pem : pb::each<CRY_PEM>( pv ) )
    {
        pb::Ref<PB_VECTOR> block = pb::adopt( cryPemEncodeToStringVector( pem ) );
        pbVectorInsert( lines.handle(), pbVectorLength( lines.get() ), block.get() );
    }
    return lines.take();
}

PB_VECTOR *cryPemVectorTryDecode( PB_BUFFER *buf ) { return PB_CHECK( buf ), cry::pem::tryReadAll( cry::pem::textLines( buf ) ); }

PB_VECTOR *cryPemVectorTryDecodeFromStringVector( PB_VECTOR *vec )
{
    PB_CHECK( vec );
    cry::pem::checkLines( &vec );
    return cry::pem::tryReadAll( cry::pem::StringLines( vec ) );
}
