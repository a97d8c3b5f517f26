// Stores as JSON: what decodes comes back from its own text, which is the only one that the writer
// gives for it, and the binary form does not depend on the order of the keys.
#include "start.hpp"

using namespace fuzz;

namespace
{

// The same store, built from the last entry to the first.
pb::Ref<PB_STORE> turned( PB_STORE *store )
{
    bool              array = pbStoreIsArray( store );
    pb::Ref<PB_STORE> made  = pb::adopt( array ? pbStoreCreateArray() : pbStoreCreate() );
    for( PB_INT count = pbStoreLength( store ), done = 0; done < count; done++ )
    {
        PB_INT             index = array ? done : count - 1 - done, number;
        PB_BOOL            flag;
        pb::Ref<PB_STRING> key  = pb::adopt( pbStoreKeyAt( store, index ) );
        std::string_view   name = key ? view( key ) : std::string_view();
        PB_INT             size = (PB_INT)name.size();
        if( pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueAt( store, index ) ) )
            array ? pbStoreAppendValue( made.handle(), text.get() ) : pbStoreSetValueCstr( made.handle(), name.data(), size, text.get() );
        else if( pb::Ref<PB_STORE> part = pb::adopt( pbStoreStoreAt( store, index ) ) )
        {
            part = turned( part.get() );
            array ? pbStoreAppendStore( made.handle(), part.get() ) : pbStoreSetStoreCstr( made.handle(), name.data(), size, part.get() );
        }
        else if( pbStoreIntValueAt( store, index, &number ) )
            array ? pbStoreAppendIntValue( made.handle(), number ) : pbStoreSetIntValueCstr( made.handle(), name.data(), size, number );
        else if( pbStoreBoolValueAt( store, index, &flag ) )
            array ? pbStoreAppendBoolValue( made.handle(), flag ) : pbStoreSetBoolValueCstr( made.handle(), name.data(), size, flag );
        else
            array ? pbStoreAppendValueNull( made.handle() ) : pbStoreSetValueNullCstr( made.handle(), name.data(), size );
    }
    return made;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    pb::Ref<PB_BUFFER>       input = buffer( { (const char *)bytes, size } );
    pb::Ref<PB_STORE_HEADER> header, headerBack;
    pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode( input.get(), header.handle() ) );
    FUZZ_CHECK( store || !header );

    // The mark of a sensitive text changes nothing else.
    pb::Ref<PB_BUFFER> secret = buffer( view( input ) );
    pbBufferSetSensitive( secret.handle() );
    FUZZ_CHECK( pbStoreEquals( pb::adopt( pbStoreTryDecode( secret.get(), nullptr ) ).get(), store.get() ) );
    if( !store )
        return 0;

    pb::Ref<PB_BUFFER> text = pb::adopt( pbStoreTryEncode( store.get(), header.get() ) );
    FUZZ_CHECK( text );
    pb::Ref<PB_STORE> back = pb::adopt( pbStoreTryDecode( text.get(), headerBack.handle() ) );
    FUZZ_CHECK( pbStoreEquals( back.get(), store.get() ) );
    FUZZ_CHECK( pbStoreHeaderEquals( headerBack.get(), header.get() ) );
    FUZZ_CHECK( pbBufferEquals( pb::adopt( pbStoreEncode( back.get(), headerBack.get() ) ).get(), text.get() ) );

    pb::Ref<PB_BUFFER> binary = pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) );
    FUZZ_CHECK( pbBufferEquals( pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( turned( store.get() ).get() ) ).get(), binary.get() ) );
    return 0;
}
