#include <pb/pb.h>

#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[]       = "source/pb/stores/pb_store.cpp";
static constexpr char codecFile[]  = "source/pb/stores/pb_store_codec.cpp";
static constexpr char binaryFile[] = "source/pb/stores/pb_store_legacy_binary.cpp";
static constexpr char headerFile[] = "source/pb/stores/pb_store_header.cpp";
static constexpr char infoFile[]   = "source/pb/stores/pb_header_info.cpp";
static constexpr char array[]      = "pbStoreIsArray( *store )";
static constexpr char notArray[]   = "!pbStoreIsArray( *store )";

TEST( PbStoresContracts, StandardFunctions )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    EXPECT_STANDARD_CHECKS( file, pb, Store, PB_STORE, "store", store.get() );
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    pb::Ref<PB_HEADER_INFO>  info   = pb::adopt( pbHeaderInfoGenerate() );
    EXPECT_STANDARD_CHECKS( headerFile, pb, StoreHeader, PB_STORE_HEADER, "header", header.get() );
    EXPECT_STANDARD_CHECKS( infoFile, pb, HeaderInfo, PB_HEADER_INFO, "info", info.get() );
}

TEST( PbStoresContracts, Codecs )
{
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    EXPECT_ABORT( codecFile, "store", pbStoreEncode( nullptr, header.get() ) );
    EXPECT_ABORT( codecFile, "store", pbStoreTryEncode( nullptr, nullptr ) );
    EXPECT_ABORT( codecFile, "buffer", pbStoreTryDecode( nullptr, header.handle() ) );
    EXPECT_ABORT( binaryFile, "store", pbStoreLegacyBinaryEncodeToBuffer( nullptr ) );
    EXPECT_ABORT( infoFile, "info", pbHeaderInfoStore( nullptr ) );
}

TEST( PbStoresContracts, Headers )
{
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    pb::Ref<PB_STORE>        store  = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING>       text   = str( "x" );
    PB_STORE_HEADER         *none   = nullptr;
    EXPECT_ABORT( headerFile, "type", pbStoreHeaderCreate( nullptr ) );
    EXPECT_ABORT( headerFile, "type", pbStoreHeaderCreateCstr( nullptr, 0 ) );
    EXPECT_ABORT( headerFile, "length >= -1", pbStoreHeaderCreateCstr( "T", -2 ) );
    EXPECT_ABORT( headerFile, "source", pbStoreHeaderCreateFrom( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderType( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderIsType( nullptr, text.get() ) );
    EXPECT_ABORT( headerFile, "type", pbStoreHeaderIsType( header.get(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderIsTypeCstr( nullptr, "T", -1 ) );
    EXPECT_ABORT( headerFile, "type", pbStoreHeaderIsTypeCstr( header.get(), nullptr, 0 ) );
    EXPECT_ABORT( headerFile, "length >= -1", pbStoreHeaderIsTypeCstr( header.get(), "T", -2 ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderModuleVersion( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderInfo( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderSetModuleVersion( nullptr, text.get() ) );
    EXPECT_ABORT( headerFile, "*header", pbStoreHeaderSetModuleVersion( &none, text.get() ) );
    EXPECT_ABORT( headerFile, "version", pbStoreHeaderSetModuleVersion( header.handle(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderSetInfo( nullptr, store.get() ) );
    EXPECT_ABORT( headerFile, "*header", pbStoreHeaderSetInfo( &none, store.get() ) );
    EXPECT_ABORT( headerFile, "info", pbStoreHeaderSetInfo( header.handle(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderGenerateInfo( nullptr ) );
    EXPECT_ABORT( headerFile, "*header", pbStoreHeaderGenerateInfo( &none ) );
    EXPECT_ABORT( headerFile, "header", pbStoreHeaderStore( nullptr ) );
    EXPECT_ABORT( headerFile, "store", pbStoreHeaderTryRestore( nullptr ) );
}

TEST( PbStoresContracts, ReadersByIndex )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetIntValueCstr( store.handle(), "a", -1, 1 );
    PB_INT  number;
    PB_BOOL flag;
    EXPECT_ABORT( file, "source", pbStoreCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "store", pbStoreIsArray( nullptr ) );
    EXPECT_ABORT( file, "store", pbStoreLength( nullptr ) );
    for( auto read :
        std::initializer_list<std::function<void( PB_STORE *, PB_INT )>>{ []( PB_STORE *from, PB_INT index ) { pbStoreKeyAt( from, index ); },
            []( PB_STORE *from, PB_INT index ) { pbStoreValueAt( from, index ); },
            []( PB_STORE *from, PB_INT index ) { pbStoreStoreAt( from, index ); },
            [&]( PB_STORE *from, PB_INT index ) { pbStoreIntValueAt( from, index, &number ); },
            [&]( PB_STORE *from, PB_INT index ) { pbStoreBoolValueAt( from, index, &flag ); },
            []( PB_STORE *from, PB_INT index ) { pbStoreIsNullAt( from, index ); } } )
    {
        EXPECT_ABORT( file, "store", read( nullptr, 0 ) );
        EXPECT_ABORT( file, "index >= 0", read( store.get(), -1 ) );
        EXPECT_ABORT( file, "index < pbStoreLength( store )", read( store.get(), 1 ) );
    }
    EXPECT_ABORT( file, "value", pbStoreIntValueAt( store.get(), 0, nullptr ) );
    EXPECT_ABORT( file, "value", pbStoreBoolValueAt( store.get(), 0, nullptr ) );
}

TEST( PbStoresContracts, ReadersByKey )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    PB_INT            number;
    PB_BOOL           flag;
    for( auto read : std::initializer_list<std::function<void( PB_STORE *, const char *, PB_INT )>>{
             []( PB_STORE *from, const char *key, PB_INT length ) { pbStoreIndexCstr( from, key, length ); },
             []( PB_STORE *from, const char *key, PB_INT length ) { pbStoreValueCstr( from, key, length ); },
             []( PB_STORE *from, const char *key, PB_INT length ) { pbStoreStoreCstr( from, key, length ); },
             [&]( PB_STORE *from, const char *key, PB_INT length ) { pbStoreIntValueCstr( from, key, length, &number ); },
             [&]( PB_STORE *from, const char *key, PB_INT length ) { pbStoreBoolValueCstr( from, key, length, &flag ); } } )
    {
        EXPECT_ABORT( file, "store", read( nullptr, "a", -1 ) );
        EXPECT_ABORT( file, "key", read( store.get(), nullptr, 0 ) );
        EXPECT_ABORT( file, "length >= -1", read( store.get(), "a", -2 ) );
    }
    EXPECT_ABORT( file, "value", pbStoreIntValueCstr( store.get(), "a", -1, nullptr ) );
    EXPECT_ABORT( file, "value", pbStoreBoolValueCstr( store.get(), "a", -1, nullptr ) );
}

TEST( PbStoresContracts, ArrayEditors )
{
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_STORE>  keyed = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING> text  = str( "x" );
    PB_STORE          *none  = nullptr;
    for( auto append : std::initializer_list<std::function<void( PB_STORE ** )>>{ [&]( PB_STORE **to ) { pbStoreAppendValue( to, text.get() ); },
             [&]( PB_STORE **to ) { pbStoreAppendStore( to, keyed.get() ); }, []( PB_STORE **to ) { pbStoreAppendIntValue( to, 1 ); },
             []( PB_STORE **to ) { pbStoreAppendBoolValue( to, PB_TRUE ); }, []( PB_STORE **to ) { pbStoreAppendValueNull( to ); } } )
    {
        EXPECT_ABORT( file, "store", append( nullptr ) );
        EXPECT_ABORT( file, "*store", append( &none ) );
        EXPECT_ABORT( file, array, append( keyed.handle() ) );
    }
    EXPECT_ABORT( file, "value", pbStoreAppendValue( store.handle(), nullptr ) );
    EXPECT_ABORT( file, "value", pbStoreAppendStore( store.handle(), nullptr ) );
    // The kind of the store is checked before the value.
    EXPECT_ABORT( file, array, pbStoreAppendValue( keyed.handle(), nullptr ) );
    EXPECT_EQ( pbStoreLength( keyed.get() ), 0 );
}

TEST( PbStoresContracts, KeyedEditors )
{
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STORE>  list  = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_STRING> text  = str( "x" );
    PB_STORE          *none  = nullptr;
    for( auto set : std::initializer_list<std::function<void( PB_STORE **, const char *, PB_INT )>>{
             [&]( PB_STORE **to, const char *key, PB_INT length ) { pbStoreSetValueCstr( to, key, length, text.get() ); },
             [&]( PB_STORE **to, const char *key, PB_INT length ) { pbStoreSetStoreCstr( to, key, length, list.get() ); },
             []( PB_STORE **to, const char *key, PB_INT length ) { pbStoreSetIntValueCstr( to, key, length, 1 ); },
             []( PB_STORE **to, const char *key, PB_INT length ) { pbStoreSetBoolValueCstr( to, key, length, PB_TRUE ); },
             []( PB_STORE **to, const char *key, PB_INT length ) { pbStoreSetValueNullCstr( to, key, length ); } } )
    {
        EXPECT_ABORT( file, "store", set( nullptr, "a", -1 ) );
        EXPECT_ABORT( file, "*store", set( &none, "a", -1 ) );
        EXPECT_ABORT( file, notArray, set( list.handle(), "a", -1 ) );
        EXPECT_ABORT( file, "key", set( store.handle(), nullptr, 0 ) );
        EXPECT_ABORT( file, "length >= -1", set( store.handle(), "a", -2 ) );
    }
    EXPECT_ABORT( file, "value", pbStoreSetValueCstr( store.handle(), "a", -1, nullptr ) );
    EXPECT_ABORT( file, "value", pbStoreSetStoreCstr( store.handle(), "a", -1, nullptr ) );

    EXPECT_ABORT( file, "store", pbStoreDelCstr( nullptr, "a", -1 ) );
    EXPECT_ABORT( file, "*store", pbStoreDelCstr( &none, "a", -1 ) );
    EXPECT_ABORT( file, "key", pbStoreDelCstr( store.handle(), nullptr, 0 ) );
    EXPECT_ABORT( file, "length >= -1", pbStoreDelCstr( store.handle(), "a", -2 ) );
    EXPECT_EQ( pbStoreLength( store.get() ), 0 );
}

TEST( PbStoresContracts, ExhaustedMemory )
{
    // An array needs the object, its content, and the list that grows.
    EXPECT_GE( expectAbortWhereverMemoryEnds( [] {
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
        for( PB_INT number = 0; number < 100; number++ )
            pbStoreAppendIntValue( store.handle(), number );
    } ),
        4u );
    // A keyed store needs a key and its place for each entry.
    EXPECT_GE( expectAbortWhereverMemoryEnds( [] {
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
        for( PB_INT number = 0; number < 40; number++ )
            pbStoreSetIntValueCstr( store.handle(), std::to_string( number ).c_str(), -1, number );
        pb::Ref<PB_STORE> copy = pb::adopt( pbStoreCreateFrom( store.get() ) );
        for( PB_INT number = 0; number < 40; number++ )
            pbStoreDelCstr( copy.handle(), std::to_string( number ).c_str(), -1 );
    } ),
        120u );
    // A text needs memory for each store, key and string, and a buffer.
    pb::Ref<PB_BUFFER> text = buf( "{\"header\":{\"type\":\"T\"},\"store\":{\"a\":[\"text\",\"esc\\u0061ped\"],\"b\":1}}" );
    EXPECT_GE( expectAbortWhereverMemoryEnds( [&] {
        pb::Ref<PB_STORE_HEADER> header;
        pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode( text.get(), header.handle() ) );
        pb::adopt( pbStoreEncode( store.get(), header.get() ) );
        pb::adopt( pbStoreLegacyBinaryEncodeToBuffer( store.get() ) );
    } ),
        20u );
}
