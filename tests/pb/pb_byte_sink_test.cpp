#include <gtest/gtest.h>

#include "support/files.hpp"
#include "support/text.hpp"

#include <sys/stat.h>
#include <unistd.h>

using namespace support;

namespace
{

// What a callback sink was asked to do.
struct Writes
{
    std::string written = {};
    int         calls = 0, flushes = 0, released = 0;
    int         failAt    = -1; // the call, counted from 0, that fails
    bool        failFlush = false;
};

PB_BOOL take( void *closure, PB_BUFFER *buf )
{
    Writes &writes = *(Writes *)closure;
    writes.written += bytes( buf );
    return writes.calls++ != writes.failAt;
}

PB_BOOL flush( void *closure )
{
    Writes &writes = *(Writes *)closure;
    writes.flushes++;
    return !writes.failFlush;
}

void countRelease( void *closure ) { ( (Writes *)closure )->released++; }

pb::Ref<PB_BYTE_SINK> sinkOf( Writes &writes ) { return pb::adopt( pbCallbackByteSinkCreate( take, flush, countRelease, &writes ) ); }

std::string collected( const pb::Ref<PB_BYTE_SINK> &sink ) { return bytes( pb::adopt( pbBufferByteSinkBuffer( sink.get() ) ) ); }

void write( const pb::Ref<PB_BYTE_SINK> &sink, std::string_view content ) { pbByteSinkWrite( sink.get(), buf( content ).get() ); }

pb::Ref<PB_HEADER> sampleHeader()
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    pbHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
    return header;
}

const std::string sampleText  = "{\n  \"type\": \"T\",\n  \"moduleVersion\": \"0.2\",\n  \"store\": {}\n}\n";
const std::string sampleBytes = std::string( "\x89PBHD1\r\n\0\0\0", 11 ) + (char)sampleText.size() + sampleText;

}

TEST( PbByteSink, CollectsInABuffer )
{
    pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbBufferByteSinkCreate() );
    EXPECT_EQ( collected( sink ), "" );
    write( sink, "ab" );
    pb::Ref<PB_BUFFER> early = pb::adopt( pbBufferByteSinkBuffer( sink.get() ) );
    write( sink, "" );
    write( sink, std::string_view( "\0c", 2 ) );
    pbByteSinkFlush( sink.get() );
    EXPECT_EQ( collected( sink ), std::string( "ab\0c", 4 ) );
    EXPECT_EQ( bytes( early ), "ab" );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
    // What the holder of the buffer does is not seen by the sink.
    pbBufferClear( early.handle() );
    EXPECT_EQ( collected( sink ), std::string( "ab\0c", 4 ) );
}

TEST( PbByteSink, TakesOverTheSensitiveMark )
{
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_BUFFER>    secret = buf( "secret" );
    pbBufferSetSensitive( secret.handle() );
    EXPECT_FALSE( pbBufferSensitive( pb::adopt( pbBufferByteSinkBuffer( sink.get() ) ).get() ) );
    pbByteSinkWrite( sink.get(), secret.get() );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbBufferByteSinkBuffer( sink.get() ) ).get() ) );
}

TEST( PbByteSink, PassesEverythingToTheCallbacks )
{
    Writes writes;
    {
        pb::Ref<PB_BYTE_SINK> sink = sinkOf( writes );
        write( sink, "ab" );
        write( sink, "c" );
        EXPECT_EQ( writes.flushes, 0 );
        pbByteSinkFlush( sink.get() );
        EXPECT_EQ( writes.flushes, 1 );
        EXPECT_EQ( writes.written, "abc" );
        EXPECT_FALSE( pbByteSinkError( sink.get() ) );
        EXPECT_EQ( writes.released, 0 );
    }
    EXPECT_EQ( writes.released, 1 );
    // Without these two callbacks.
    pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbCallbackByteSinkCreate( take, nullptr, nullptr, &writes ) );
    pbByteSinkFlush( sink.get() );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
}

TEST( PbByteSink, StaysFailedAfterAnError )
{
    Writes                writes{ .failAt = 1 };
    Writes                other{ .failFlush = true };
    pb::Ref<PB_BYTE_SINK> sink = sinkOf( writes );
    write( sink, "a" );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
    write( sink, "b" );
    EXPECT_TRUE( pbByteSinkError( sink.get() ) );
    write( sink, "c" );
    pbByteSinkFlush( sink.get() );
    EXPECT_TRUE( pbByteSinkError( sink.get() ) );
    EXPECT_EQ( writes.calls, 2 );
    EXPECT_EQ( writes.flushes, 0 );

    sink = sinkOf( other );
    pbByteSinkFlush( sink.get() );
    EXPECT_TRUE( pbByteSinkError( sink.get() ) );
    write( sink, "c" );
    EXPECT_EQ( other.calls, 0 );
}

TEST( PbByteSink, WritesAFileForItsOwnerOnly )
{
    TemporaryFolder    folder;
    pb::Ref<PB_STRING> path = str( ( folder.path / "file" ).string() );
    mode_t             mask = umask( 0 );
    for( const std::string &content : { std::string( 300000, 'x' ), std::string( "short" ), std::string() } )
    {
        pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbFileByteSinkTryCreate( path.get() ) );
        ASSERT_TRUE( sink );
        write( sink, content );
        write( sink, "end" );
        pbByteSinkFlush( sink.get() );
        EXPECT_FALSE( pbByteSinkError( sink.get() ) );
        EXPECT_EQ( read( folder.path / "file" ), content + "end" );
        struct stat status;
        ASSERT_EQ( stat( ( folder.path / "file" ).c_str(), &status ), 0 );
        EXPECT_EQ( status.st_mode & 07777u, 0600u );
        ASSERT_EQ( chmod( ( folder.path / "file" ).c_str(), 0666 ), 0 );
    }
    umask( mask );
}

TEST( PbByteSink, WritesIntoDevicesAndNoticesThatTheyAreFull )
{
    pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbFileByteSinkTryCreate( str( "/dev/null" ).get() ) );
    ASSERT_TRUE( sink );
    write( sink, "x" );
    pbByteSinkFlush( sink.get() );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
    sink = pb::adopt( pbFileByteSinkTryCreate( str( "/dev/full" ).get() ) );
    ASSERT_TRUE( sink );
    write( sink, "x" );
    EXPECT_TRUE( pbByteSinkError( sink.get() ) );
}

TEST( PbByteSink, OpensNoOtherFiles )
{
    TemporaryFolder folder;
    std::string     path = folder.path.string();
    for( const std::string &name : { path, path + "/missing/file", std::string(), path + "/file" + std::string( "\0x", 2 ) } )
        EXPECT_FALSE( pb::adopt( pbFileByteSinkTryCreate( str( name ).get() ) ) ) << name;
    EXPECT_TRUE( std::filesystem::is_empty( folder.path ) );
}

TEST( PbByteSink, WritesTheHeaderBeforeTheBody )
{
    pb::Ref<PB_BYTE_SINK> under = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), sampleHeader().get() ) );
    EXPECT_EQ( collected( under ), "" );
    write( sink, "body" );
    EXPECT_EQ( collected( under ), sampleBytes + "body" );
    write( sink, " goes on" );
    pbByteSinkFlush( sink.get() );
    EXPECT_EQ( collected( under ), sampleBytes + "body goes on" );
    EXPECT_FALSE( pbByteSinkError( sink.get() ) );
}

TEST( PbByteSink, WritesAHeaderWithoutABody )
{
    Writes                writes;
    pb::Ref<PB_BYTE_SINK> under = sinkOf( writes );
    pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), sampleHeader().get() ) );
    pbByteSinkFlush( sink.get() );
    EXPECT_EQ( writes.written, sampleBytes );
    EXPECT_EQ( writes.flushes, 1 );
    pbByteSinkFlush( sink.get() );
    write( sink, "" );
    EXPECT_EQ( writes.written, sampleBytes );
    // The sink holds the other one.
    under = {};
    EXPECT_EQ( writes.released, 0 );
    sink = {};
    EXPECT_EQ( writes.released, 1 );
}

TEST( PbByteSink, FailsWithTheSinkUnderIt )
{
    for( int failAt : { 0, 1, 2 } )
    {
        Writes                writes{ .failAt = failAt };
        pb::Ref<PB_BYTE_SINK> under = sinkOf( writes );
        pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), sampleHeader().get() ) );
        write( sink, "a" );
        EXPECT_EQ( (bool)pbByteSinkError( sink.get() ), failAt < 2 );
        write( sink, "b" );
        EXPECT_TRUE( pbByteSinkError( sink.get() ) );
        EXPECT_EQ( writes.calls, failAt + 1 );
    }
    Writes                writes{ .failFlush = true };
    pb::Ref<PB_BYTE_SINK> under = sinkOf( writes );
    pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), sampleHeader().get() ) );
    pbByteSinkFlush( sink.get() );
    EXPECT_TRUE( pbByteSinkError( sink.get() ) );
}

TEST( PbByteSink, FailsIfTheHeaderIsTooLong )
{
    // The rest of the text is what stands around an empty string.
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreate( str( "" ).get() ) );
    PB_INT             rest   = pbBufferLength( pb::adopt( pb___HeaderTryEncode( header.get() ) ).get() ) - 12;
    for( PB_INT extra : { 0, 1 } )
    {
        header                      = pb::adopt( pbHeaderCreate( str( std::string( (size_t)( PB_HEADER_BYTES_MAX - rest + extra ), 'x' ) ).get() ) );
        pb::Ref<PB_BYTE_SINK> under = pb::adopt( pbBufferByteSinkCreate() );
        pb::Ref<PB_BYTE_SINK> sink  = pb::adopt( pbHeaderByteSinkCreate( under.get(), header.get() ) );
        write( sink, "body" );
        EXPECT_EQ( pbByteSinkError( sink.get() ), extra );
        EXPECT_FALSE( pbByteSinkError( under.get() ) );
        EXPECT_EQ( (PB_INT)collected( under ).size(), extra ? 0 : 12 + PB_HEADER_BYTES_MAX + 4 );
    }
}

TEST( PbByteSink, WritesTheHeaderAsItWasGiven )
{
    pb::Ref<PB_HEADER>    header = sampleHeader();
    pb::Ref<PB_BYTE_SINK> under  = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbHeaderByteSinkCreate( under.get(), header.get() ) );
    pbHeaderSetModuleVersion( header.handle(), str( "9" ).get() );
    pbByteSinkFlush( sink.get() );
    EXPECT_EQ( collected( under ), sampleBytes );
}

TEST( PbByteSink, IsComparedByIdentity )
{
    pb::Ref<PB_BYTE_SINK> a = pb::adopt( pbBufferByteSinkCreate() ), b = pb::adopt( pbBufferByteSinkCreate() );
    EXPECT_FALSE( pbByteSinkEquals( a.get(), b.get() ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( pb::adopt( pbByteSinkToString( a.get() ) ).get(), "PB_BYTE_SINK(0x", -1 ) );
}
