// Trust bundles: those are read that have a header with a token, however the bytes arrive; the data
// is what stands behind the header; and what was read comes back from what is written from it.
#include "openssl.hpp"

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

PB_BOOL countWrites( void *closure, PB_BUFFER * )
{
    ++*(int *)closure;
    return PB_TRUE;
}

// Whether the header is that of a bundle with a token.
bool hasToken( PB_BYTE_SOURCE *under )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbHeaderByteSourceCreate( under ) );
    pb::Ref<PB_HEADER>      header = pb::adopt( pbHeaderByteSourceHeader( source.get() ) );
    if( !header || view( pb::adopt( pbHeaderType( header.get() ) ) ) != "CRY_TRUST_BUNDLE" )
        return false;
    pb::Ref<PB_STORE> store = pb::adopt( pbHeaderStore( header.get() ) );
    return (bool)pb::adopt( pbStoreStoreCstr( store.get(), "token", -1 ) );
}

bool equal( const pb::Ref<CRY_TRUST_TOKEN> &a, const pb::Ref<CRY_TRUST_TOKEN> &b )
{
    return a && b && pbStoreEquals( pb::adopt( cryTrustTokenStore( a.get() ) ).get(), pb::adopt( cryTrustTokenStore( b.get() ) ).get() );
}

pb::Ref<CRY_TRUST_TOKEN> unpack( const pb::Ref<PB_BUFFER> &bundle, pb::Ref<PB_BUFFER> &data )
{
    data = pb::adopt( pbBufferCreate() );
    return pb::adopt( cryTrustBundleTryUnpackWithBuffer( bundle.get(), data.handle() ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors              clean;
    std::string_view         input( (const char *)bytes, size ), rest = input;
    pb::Ref<PB_BUFFER>       bundle = buffer( input ), data, dataBack;
    pb::Ref<CRY_TRUST_TOKEN> tok    = unpack( bundle, data );
    FUZZ_CHECK( (bool)tok == hasToken( pb::adopt( pbBufferByteSourceCreate( bundle.get() ) ).get() ) );
    if( !tok )
    {
        int                   writes = 0;
        pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbCallbackByteSinkCreate( countWrites, nullptr, nullptr, &writes ) );
        FUZZ_CHECK( !pb::adopt( cryTrustBundleTryUnpack( pb::adopt( pbBufferByteSourceCreate( bundle.get() ) ).get(), sink.get() ) ) );
        FUZZ_CHECK( writes == 0 && pbBufferLength( data.get() ) == 0 );
        return 0;
    }
    FUZZ_CHECK( input.ends_with( view( data ) ) );

    pb::Ref<PB_BYTE_SINK>    sink = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<CRY_TRUST_TOKEN> same = pb::adopt(
        cryTrustBundleTryUnpack( pb::adopt( pbCallbackByteSourceCreate( readOne, nullptr, &rest ) ).get(), sink.get() ) );
    FUZZ_CHECK( equal( same, tok ) && view( pb::adopt( pbBufferByteSinkBuffer( sink.get() ) ) ) == view( data ) );

    // No input is signed under the root.
    FUZZ_CHECK( !cryTrustTokenTryVerifyWithBuffer( tok.get(), data.get() ) );

    pb::Ref<PB_BUFFER> written = pb::adopt( pbBufferCreate() );
    FUZZ_CHECK( cryTrustBundleTryPackWithBuffer( tok.get(), data.get(), written.handle() ) );
    pb::Ref<CRY_TRUST_TOKEN> back = unpack( written, dataBack );
    FUZZ_CHECK( equal( back, tok ) && view( dataBack ) == view( data ) );
    return 0;
}
