// Streams with a header: what is read is the same byte by byte, and comes back from what is written
// from it.
#include "start.hpp"

using namespace fuzz;

namespace
{

PB_INT readOne( void *closure, PB_BYTE *to, PB_INT )
{
    std::string_view &rest = *(std::string_view *)closure;
    if( rest.empty() )
        return 0;
    *to = takeByte( rest );
    return 1;
}

// The header, and the body in `body`.
pb::Ref<PB_HEADER> read( PB_BYTE_SOURCE *under, pb::Ref<PB_BUFFER> &body )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbHeaderByteSourceCreate( under ) );
    pb::Ref<PB_HEADER>      header = pb::adopt( pbHeaderByteSourceHeader( source.get() ) );
    FUZZ_CHECK( (bool)header == !pbByteSourceError( source.get() ) );
    body = pb::adopt( pbBufferCreate() );
    while( pbByteSourceRead( source.get(), body.handle(), 1000 ) )
        ;
    FUZZ_CHECK( (bool)header == (bool)pbByteSourceEnd( source.get() ) );
    return header;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view   input( (const char *)bytes, size ), rest = input;
    pb::Ref<PB_BUFFER> body, sameBody, bodyBack;
    pb::Ref<PB_HEADER> header = read( pb::adopt( pbBufferByteSourceCreate( buffer( input ).get() ) ).get(), body );
    pb::Ref<PB_HEADER> same   = read( pb::adopt( pbCallbackByteSourceCreate( readOne, nullptr, &rest ) ).get(), sameBody );
    FUZZ_CHECK( pbHeaderEquals( same.get(), header.get() ) && pbBufferEquals( sameBody.get(), body.get() ) );
    if( !header )
        return 0;

    pb::Ref<PB_BYTE_SINK> under = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), header.get() ) );
    pbByteSinkWrite( sink.get(), body.get() );
    FUZZ_CHECK( !pbByteSinkError( sink.get() ) );
    pb::Ref<PB_BUFFER> written = pb::adopt( pbBufferByteSinkBuffer( under.get() ) );
    pb::Ref<PB_HEADER> back    = read( pb::adopt( pbBufferByteSourceCreate( written.get() ) ).get(), bodyBack );
    FUZZ_CHECK( pbHeaderEquals( back.get(), header.get() ) && pbBufferEquals( bodyBack.get(), body.get() ) );
    return 0;
}
