// A freed object's pointers are all ones, in every type of the base libraries that has pointers.
#include <bn/bn.h>
#include <pb/pb.h>

#include "support/poison.hpp"
#include "support/sources.hpp"
#include "support/text.hpp"

using namespace support;

TEST( PbPoison, TextAndBytes )
{
    // Content inside the object, and content that is too large for it.
    for( const std::string &content : { std::string( "abc" ), std::string( 10000, 'x' ) } )
    {
        expectPoison( str( content ), "p" );
        expectPoison( buf( content ), "p" );
        pb::Ref<PB_BUFFER> secret = buf( content );
        pbBufferSetSensitive( secret.handle() );
        expectPoison( std::move( secret ), "p" );
    }
}

TEST( PbPoison, Containers )
{
    expectPoison( vec( { "a", "b" } ), "p" );
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    pbDictSetStringKey( dict.handle(), str( "key" ).get(), str( "value" ).obj() );
    expectPoison( std::move( dict ), "p" );
    for( const pb::Ref<PB_STRING> &value : { str( "value" ), pb::Ref<PB_STRING>() } )
    {
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
        if( value )
            pbStoreSetValueCstr( store.handle(), "key", -1, value.get() );
        expectPoison( std::move( store ), "-p" );
    }
}

TEST( PbPoison, Names )
{
    expectPoison( pb::adopt( pbEnumCreate() ), "pp" );
    expectPoison( pb::adopt( pbFlagsetCreate() ), "pp" );
    expectPoison( pb::adopt( pbIdentifierCreate() ), "p" );
}

TEST( PbPoison, Headers )
{
    expectPoison( pb::adopt( pbHeaderInfoGenerate() ), "ppp" );
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    pbStoreHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
    pbStoreHeaderGenerateInfo( header.handle() );
    expectPoison( std::move( header ), "ppp" );
    expectPoison( pb::adopt( pbHeaderCreateCstr( "TYPE", -1 ) ), "ppp" );
}

TEST( PbPoison, Streams )
{
    pb::Ref<PB_BYTE_SOURCE> bytes = pb::adopt( pbBufferByteSourceCreate( buf( "a\nb\n" ).get() ) );
    pb::Ref<PB_CHAR_SOURCE> chars = characters( bytes, PB_CHARSET_UTF8, 0 );
    expectPoison( pb::adopt( pbNlfLineSourceCreate( chars.get(), 100 ) ), "pp" );
    expectPoison( std::move( chars ), "pp" );
    expectPoison( pb::adopt( pbHeaderByteSourceCreate( bytes.get() ) ), "p-pp" );
    expectPoison( std::move( bytes ), "p-pp" );
    expectPoison( pb::adopt( pbBufferByteSinkCreate() ), "p" );
}

TEST( PbPoison, RuntimeOptions )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    expectPoison( std::move( options ), "p" );
}

TEST( PbPoison, BigNumbers ) { expectPoison( pb::adopt( bnIntCreate( 7 ) ), "p" ); }
