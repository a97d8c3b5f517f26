#include <pb/pb.h>
#include <pb/pb_line_source.h>
#include <pb/pb_path_file.h>

#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char byteFile[]    = "source/pb/streams/pb_byte_source.cpp";
static constexpr char charsetFile[] = "source/pb/streams/pb_charset.cpp";
static constexpr char lineFile[]    = "source/pb/streams/pb_line_source.cpp";
static constexpr char pathFile[]    = "source/pb/files/pb_path_file.cpp";

TEST( PbStreamsContracts, StandardFunctions )
{
    pb::Ref<PB_BYTE_SOURCE> bytes      = pb::adopt( pbBufferByteSourceCreate( buf( "a" ).get() ) );
    pb::Ref<PB_CHAR_SOURCE> characters = pb::adopt( pbCharsetCreateCharSource( bytes.get(), PB_CHARSET_UTF8, 0 ) );
    pb::Ref<PB_LINE_SOURCE> lines      = pb::adopt( pbNlfLineSourceCreate( characters.get(), 1 ) );
    EXPECT_STANDARD_CHECKS( byteFile, pb, ByteSource, PB_BYTE_SOURCE, "source", bytes.get() );
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
    // The refused calls read nothing.
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 3 );
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
