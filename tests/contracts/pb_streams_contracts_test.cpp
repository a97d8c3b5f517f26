#include <pb/pb.h>
#include <pb/pb_line_source.h>
#include <pb/pb_path_file.h>

#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char byteFile[]    = "source/pb/streams/pb_byte_source.cpp";
static constexpr char sinkFile[]    = "source/pb/streams/pb_byte_sink.cpp";
static constexpr char headerFile[]  = "source/pb/streams/pb_header.cpp";
static constexpr char charsetFile[] = "source/pb/streams/pb_charset.cpp";
static constexpr char lineFile[]    = "source/pb/streams/pb_line_source.cpp";
static constexpr char pathFile[]    = "source/pb/files/pb_path_file.cpp";

TEST( PbStreamsContracts, StandardFunctions )
{
    pb::Ref<PB_BYTE_SOURCE> bytes      = pb::adopt( pbBufferByteSourceCreate( buf( "a" ).get() ) );
    pb::Ref<PB_CHAR_SOURCE> characters = pb::adopt( pbCharsetCreateCharSource( bytes.get(), PB_CHARSET_UTF8, 0 ) );
    pb::Ref<PB_LINE_SOURCE> lines      = pb::adopt( pbNlfLineSourceCreate( characters.get(), 1 ) );
    EXPECT_STANDARD_CHECKS( byteFile, pb, ByteSource, PB_BYTE_SOURCE, "source", bytes.get() );
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_HEADER>    header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    EXPECT_STANDARD_CHECKS( sinkFile, pb, ByteSink, PB_BYTE_SINK, "sink", sink.get() );
    EXPECT_STANDARD_CHECKS( headerFile, pb, Header, PB_HEADER, "header", header.get() );
    EXPECT_STANDARD_CHECKS( charsetFile, pb, CharSource, PB_CHAR_SOURCE, "source", characters.get() );
    EXPECT_STANDARD_CHECKS( lineFile, pb, LineSource, PB_LINE_SOURCE, "ls", lines.get() );
}

TEST( PbStreamsContracts, ByteSources )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( buf( "abc" ).get() ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    PB_BUFFER              *none   = nullptr;
    EXPECT_ABORT( byteFile, "buf", pbBufferByteSourceCreate( nullptr ) );
    EXPECT_ABORT( byteFile, "read", pbCallbackByteSourceCreate( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( byteFile, "source", pbByteSourceRead( nullptr, to.handle(), 1 ) );
    EXPECT_ABORT( byteFile, "buf", pbByteSourceRead( source.get(), nullptr, 1 ) );
    EXPECT_ABORT( byteFile, "*buf", pbByteSourceRead( source.get(), &none, 1 ) );
    EXPECT_ABORT( byteFile, "max >= 0", pbByteSourceRead( source.get(), to.handle(), -1 ) );
    EXPECT_ABORT( byteFile, "source", pbByteSourceEnd( nullptr ) );
    EXPECT_ABORT( byteFile, "source", pbByteSourceError( nullptr ) );
    EXPECT_ABORT( byteFile, "path", pbFileByteSourceTryCreate( nullptr ) );
    EXPECT_ABORT( byteFile, "source", pbHeaderByteSourceCreate( nullptr ) );
    EXPECT_ABORT( byteFile, "source", pbHeaderByteSourceHeader( nullptr ) );
    EXPECT_ABORT( byteFile, "source->under", pbHeaderByteSourceHeader( source.get() ) );
    // The refused calls read nothing.
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 3 );
}

TEST( PbStreamsContracts, ByteSinks )
{
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_HEADER>    header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    pb::Ref<PB_BYTE_SINK> other  = pb::adopt( pbHeaderByteSinkCreate( sink.get(), header.get() ) );
    EXPECT_ABORT( sinkFile, "sink", pbBufferByteSinkBuffer( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink->buffer", pbBufferByteSinkBuffer( other.get() ) );
    EXPECT_ABORT( sinkFile, "write", pbCallbackByteSinkCreate( nullptr, nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( sinkFile, "path", pbFileByteSinkTryCreate( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", pbHeaderByteSinkCreate( nullptr, header.get() ) );
    EXPECT_ABORT( sinkFile, "header", pbHeaderByteSinkCreate( sink.get(), nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", pbByteSinkWrite( nullptr, buf( "" ).get() ) );
    EXPECT_ABORT( sinkFile, "buf", pbByteSinkWrite( sink.get(), nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", pbByteSinkFlush( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", pbByteSinkError( nullptr ) );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
}

TEST( PbStreamsContracts, Headers )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    pb::Ref<PB_STORE>  store  = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING> text   = str( "x" );
    PB_HEADER         *none   = nullptr;
    EXPECT_ABORT( headerFile, "type", pbHeaderCreate( nullptr ) );
    EXPECT_ABORT( headerFile, "type", pbHeaderCreateCstr( nullptr, 0 ) );
    EXPECT_ABORT( headerFile, "length >= -1", pbHeaderCreateCstr( "T", -2 ) );
    EXPECT_ABORT( headerFile, "source", pbHeaderCreateFrom( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderType( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderIsType( nullptr, text.get() ) );
    EXPECT_ABORT( headerFile, "type", pbHeaderIsType( header.get(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderIsTypeCstr( nullptr, "T", -1 ) );
    EXPECT_ABORT( headerFile, "type", pbHeaderIsTypeCstr( header.get(), nullptr, 0 ) );
    EXPECT_ABORT( headerFile, "length >= -1", pbHeaderIsTypeCstr( header.get(), "T", -2 ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderModuleVersion( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderStore( nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderSetModuleVersion( nullptr, text.get() ) );
    EXPECT_ABORT( headerFile, "*header", pbHeaderSetModuleVersion( &none, text.get() ) );
    EXPECT_ABORT( headerFile, "version", pbHeaderSetModuleVersion( header.handle(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pbHeaderSetStore( nullptr, store.get() ) );
    EXPECT_ABORT( headerFile, "*header", pbHeaderSetStore( &none, store.get() ) );
    EXPECT_ABORT( headerFile, "store", pbHeaderSetStore( header.handle(), nullptr ) );
    EXPECT_ABORT( headerFile, "header", pb___HeaderTryEncode( nullptr ) );
    EXPECT_ABORT( headerFile, "text", pb___HeaderTryDecode( nullptr ) );
}

TEST( PbStreamsContracts, CallbacksThatClaimWhatCannotBe )
{
    for( auto read : std::initializer_list<PB_BYTE_SOURCE_READ>{
             []( void *, PB_BYTE *, PB_INT max ) -> PB_INT { return max + 1; }, []( void *, PB_BYTE *, PB_INT ) -> PB_INT { return -2; } } )
    {
        pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbCallbackByteSourceCreate( read, nullptr, nullptr ) );
        pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
        EXPECT_ABORT( byteFile, "count >= -1 && count <= piece", pbByteSourceRead( source.get(), to.handle(), 16 ) );
    }
}

TEST( PbStreamsContracts, CharSources )
{
    pb::Ref<PB_BYTE_SOURCE> bytes  = pb::adopt( pbBufferByteSourceCreate( buf( "abc" ).get() ) );
    pb::Ref<PB_CHAR_SOURCE> source = pb::adopt( pbCharsetCreateCharSource( bytes.get(), PB_CHARSET_UTF8, 0 ) );
    pb::Ref<PB_STRING>      to     = pb::adopt( pbStringCreate() );
    PB_STRING              *none   = nullptr;
    EXPECT_ABORT( charsetFile, "buf", pbCharsetTryConvertBufferToStringWithFlags( nullptr, PB_CHARSET_UTF8, 0 ) );
    EXPECT_ABORT( charsetFile, "source", pbCharsetCreateCharSource( nullptr, PB_CHARSET_UTF8, 0 ) );
    for( PB_INT charset : { (PB_INT)-1, (PB_INT)1, (PB_INT)43, (PB_INT)45, PB_INT_MAX } )
    {
        EXPECT_ABORT( charsetFile, "PB_CHARSET_OK( charset )",
            pbCharsetTryConvertBufferToStringWithFlags( buf( "a" ).get(), charset, PB_CHARSET_FLAG_STRICT ) );
        EXPECT_ABORT( charsetFile, "PB_CHARSET_OK( charset )", pbCharsetCreateCharSource( bytes.get(), charset, 0 ) );
    }
    EXPECT_ABORT( charsetFile, "source", pbCharSourceRead( nullptr, to.handle(), 1 ) );
    EXPECT_ABORT( charsetFile, "str", pbCharSourceRead( source.get(), nullptr, 1 ) );
    EXPECT_ABORT( charsetFile, "*str", pbCharSourceRead( source.get(), &none, 1 ) );
    EXPECT_ABORT( charsetFile, "max >= 0", pbCharSourceRead( source.get(), to.handle(), -1 ) );
    EXPECT_ABORT( charsetFile, "source", pbCharSourceEnd( nullptr ) );
    EXPECT_ABORT( charsetFile, "source", pbCharSourceError( nullptr ) );
    EXPECT_EQ( pbCharSourceRead( source.get(), to.handle(), 10 ), 3 );
}

TEST( PbStreamsContracts, LineSources )
{
    pb::Ref<PB_BYTE_SOURCE> bytes      = pb::adopt( pbBufferByteSourceCreate( buf( "abc" ).get() ) );
    pb::Ref<PB_CHAR_SOURCE> characters = pb::adopt( pbCharsetCreateCharSource( bytes.get(), PB_CHARSET_UTF8, 0 ) );
    pb::Ref<PB_LINE_SOURCE> lines      = pb::adopt( pbNlfLineSourceCreate( characters.get(), 1 ) );
    EXPECT_ABORT( lineFile, "characters", pbNlfLineSourceCreate( nullptr, 255 ) );
    EXPECT_ABORT( lineFile, "limit >= 1", pbNlfLineSourceCreate( characters.get(), 0 ) );
    EXPECT_ABORT( lineFile, "limit >= 1", pbNlfLineSourceCreate( characters.get(), -1 ) );
    EXPECT_ABORT( lineFile, "ls", pbLineSourceTryReadLine( nullptr ) );
    EXPECT_ABORT( lineFile, "ls", pbLineSourceReadLines( nullptr, 1 ) );
    EXPECT_ABORT( lineFile, "max >= 0", pbLineSourceReadLines( lines.get(), -1 ) );
    EXPECT_ABORT( lineFile, "ls", pbLineSourceError( nullptr ) );
    EXPECT_EQ( text( pb::adopt( pbLineSourceTryReadLine( lines.get() ) ) ), "abc" );
}

TEST( PbStreamsContracts, PathFiles )
{
    EXPECT_ABORT( pathFile, "path", pbPathFileTryReadBuffer( nullptr, 1 ) );
    EXPECT_ABORT( pathFile, "maxLength >= 0", pbPathFileTryReadBuffer( str( "/dev/null" ).get(), -1 ) );
    EXPECT_ABORT( pathFile, "path", pbPathFileWriteBuffer( nullptr, buf( "" ).get() ) );
    EXPECT_ABORT( pathFile, "content", pbPathFileWriteBuffer( str( "/dev/null" ).get(), nullptr ) );
    EXPECT_ABORT( pathFile, "path", pbPathFileReadStore( nullptr, nullptr ) );
    EXPECT_ABORT( pathFile, "path", pbPathFileWriteStore( nullptr, pb::adopt( pbStoreCreate() ).get(), nullptr ) );
    EXPECT_ABORT( pathFile, "store", pbPathFileWriteStore( str( "/dev/null" ).get(), nullptr, nullptr ) );
    EXPECT_ABORT( pathFile, "path", pbPathFileExists( nullptr ) );
    EXPECT_ABORT( pathFile, "path", pbPathFileDelete( nullptr ) );
    EXPECT_ABORT( pathFile, "path", pbPathDirectoryCreate( nullptr ) );
    EXPECT_ABORT( pathFile, "path", pb___PathFileWrite( nullptr, buf( "" ).get(), 0600, PB_TRUE ) );
    EXPECT_ABORT( pathFile, "content", pb___PathFileWrite( "/dev/null", nullptr, 0600, PB_TRUE ) );
}

TEST( PbStreamsContracts, ExhaustedMemory )
{
    pb::Ref<PB_BUFFER> content = buf( "content" );
    EXPECT_GE(
        expectAbortWhereverMemoryEnds( [&] { pb___PathFileWrite( "/no-folder-of-this-long-name/file", content.get(), 0600, PB_TRUE ); } ), 2u );
}
