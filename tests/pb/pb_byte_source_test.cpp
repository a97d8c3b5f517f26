#include <gtest/gtest.h>

#include "support/files.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

struct Reads
{
    std::vector<PB_INT> asked;
    std::vector<PB_INT> answers; // used one after the other; after the last one comes the end
    int                 released = 0;
};

PB_INT answer( void *closure, PB_BYTE *to, PB_INT max )
{
    Reads &reads = *(Reads *)closure;
    size_t turn  = reads.asked.size();
    reads.asked.push_back( max );
    PB_INT count = turn < reads.answers.size() ? reads.answers[turn] : 0;
    for( PB_INT index = 0; index < count; index++ )
        to[index] = (PB_BYTE)( 'a' + turn );
    return count;
}

void countRelease( void *closure ) { ( (Reads *)closure )->released++; }

}

TEST( PbByteSource, ReadsABufferInPieces )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( buf( "abcdefg" ).get() ) );
    pb::Ref<PB_BUFFER>      to     = buf( ">" );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 3 ), 3 );
    EXPECT_EQ( bytes( to ), ">abc" );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 4 ), 4 );
    EXPECT_EQ( bytes( to ), ">abcdefg" );
    // The end is known only after a read has reached it.
    EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 1 ), 0 );
    EXPECT_TRUE( pbByteSourceEnd( source.get() ) );
    EXPECT_FALSE( pbByteSourceError( source.get() ) );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 1 ), 0 );
    EXPECT_EQ( bytes( to ), ">abcdefg" );
}

TEST( PbByteSource, GivesWhatIsLeftWhenMoreIsAskedFor )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( buf( std::string_view( "a\0b", 3 ) ).get() ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), PB_INT_MAX ), 3 );
    EXPECT_EQ( bytes( to ), std::string( "a\0b", 3 ) );
}

TEST( PbByteSource, AskingForNothingIsNotTheEnd )
{
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( buf( "" ).get() ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 0 ), 0 );
    EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 1 ), 0 );
    EXPECT_TRUE( pbByteSourceEnd( source.get() ) );
}

TEST( PbByteSource, HoldsItsBufferAsItWas )
{
    pb::Ref<PB_BUFFER>      data   = buf( "before" );
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( data.get() ) );
    pbBufferClear( data.handle() );
    pbBufferAppendBytes( data.handle(), "after", 5 );
    pb::Ref<PB_BUFFER> to = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 100 ), 6 );
    EXPECT_EQ( bytes( to ), "before" );
    data   = {};
    source = {};
}

TEST( PbByteSource, PassesTheSensitiveMarkOfABufferOn )
{
    pb::Ref<PB_BUFFER> secret = buf( "secret" );
    pbBufferSetSensitive( secret.handle() );
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbBufferByteSourceCreate( secret.get() ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    pbByteSourceRead( source.get(), to.handle(), 1 );
    EXPECT_TRUE( pbBufferSensitive( to.get() ) );
}

TEST( PbByteSource, TakesPiecesOfACallbackAsTheyCome )
{
    Reads reads{ {}, { 1, 3, 2 } };
    {
        pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbCallbackByteSourceCreate( answer, countRelease, &reads ) );
        pb::Ref<PB_BUFFER>      to     = buf( ">" );
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 1 );
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 3 ), 3 );
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 2 );
        EXPECT_EQ( bytes( to ), ">abbbcc" );
        EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 0 );
        EXPECT_TRUE( pbByteSourceEnd( source.get() ) );
        // After the end the callback is not called again.
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 0 );
        EXPECT_EQ( reads.asked, ( std::vector<PB_INT>{ 10, 3, 10, 10 } ) );
        EXPECT_EQ( bytes( to ), ">abbbcc" );
        EXPECT_EQ( reads.released, 0 );
    }
    EXPECT_EQ( reads.released, 1 );
}

TEST( PbByteSource, TakesNoMemoryForWhatIsOnlyAskedFor )
{
    Reads                   reads{ {}, { 5 } };
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbCallbackByteSourceCreate( answer, nullptr, &reads ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), PB_INT_MAX ), 5 );
    ASSERT_EQ( reads.asked.size(), 1u );
    EXPECT_GT( reads.asked[0], 0 );
    EXPECT_LE( reads.asked[0], 1 << 20 );
    EXPECT_EQ( bytes( to ), "aaaaa" );
}

TEST( PbByteSource, StaysFailedAfterAReadError )
{
    Reads                   reads{ {}, { 2, -1, 3 } };
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbCallbackByteSourceCreate( answer, nullptr, &reads ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 2 );
    EXPECT_FALSE( pbByteSourceError( source.get() ) );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 0 );
    EXPECT_TRUE( pbByteSourceError( source.get() ) );
    EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
    EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 0 );
    EXPECT_EQ( reads.asked.size(), 2u );
    EXPECT_EQ( bytes( to ), "aa" );
}

TEST( PbByteSource, IsComparedByIdentity )
{
    pb::Ref<PB_BUFFER>      data = buf( "same" );
    pb::Ref<PB_BYTE_SOURCE> a    = pb::adopt( pbBufferByteSourceCreate( data.get() ) );
    pb::Ref<PB_BYTE_SOURCE> b    = pb::adopt( pbBufferByteSourceCreate( data.get() ) );
    EXPECT_FALSE( pbByteSourceEquals( a.get(), b.get() ) );
    EXPECT_EQ( pbByteSourceCompare( a.get(), b.get() ), -pbByteSourceCompare( b.get(), a.get() ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( pb::adopt( pbByteSourceToString( a.get() ) ).get(), "PB_BYTE_SOURCE(0x", -1 ) );
}

TEST( PbByteSource, ReadsAFile )
{
    TemporaryFolder   folder;
    const std::string content = std::string( 200000, 'x' ) + std::string( "\0\r\n\xFF", 4 );
    write( folder.path / "file", content );
    pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbFileByteSourceTryCreate( str( ( folder.path / "file" ).string() ).get() ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    ASSERT_TRUE( source );
    while( pbByteSourceRead( source.get(), to.handle(), 100000 ) )
        EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
    EXPECT_TRUE( pbByteSourceEnd( source.get() ) );
    EXPECT_FALSE( pbByteSourceError( source.get() ) );
    EXPECT_EQ( bytes( to ), content );
}

TEST( PbByteSource, OpensNoOtherFiles )
{
    TemporaryFolder folder;
    write( folder.path / "file", "x" );
    std::string path = folder.path.string();
    for( const std::string &name : { path, path + "/missing", std::string(), path + "/file" + std::string( "\0", 1 ) } )
        EXPECT_FALSE( pb::adopt( pbFileByteSourceTryCreate( str( name ).get() ) ) ) << name;
}

namespace
{

// The bytes of a stream with a header.
std::string streamBytes( std::string_view body )
{
    pb::Ref<PB_HEADER>    header = pb::adopt( pbHeaderCreateCstr( "TYPE", -1 ) );
    pb::Ref<PB_BYTE_SINK> under  = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<PB_BYTE_SINK> sink   = pb::adopt( pbHeaderByteSinkCreate( under.get(), header.get() ) );
    pbByteSinkWrite( sink.get(), buf( body ).get() );
    return bytes( pb::adopt( pbBufferByteSinkBuffer( under.get() ) ) );
}

pb::Ref<PB_BYTE_SOURCE> sourceOf( std::string_view content ) { return pb::adopt( pbBufferByteSourceCreate( buf( content ).get() ) ); }

pb::Ref<PB_BYTE_SOURCE> behindHeader( const pb::Ref<PB_BYTE_SOURCE> &under ) { return pb::adopt( pbHeaderByteSourceCreate( under.get() ) ); }

bool hasHeader( const pb::Ref<PB_BYTE_SOURCE> &source )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderByteSourceHeader( source.get() ) );
    return header && pbHeaderIsTypeCstr( header.get(), "TYPE", -1 );
}

// A callback source that gives a text byte by byte, and fails instead of the byte at `failAt`.
struct Drops
{
    std::string content;
    size_t      at     = 0;
    size_t      failAt = std::string::npos;
    PB_INT      most   = 0; // the largest number that was asked for
};

PB_INT drop( void *closure, PB_BYTE *to, PB_INT max )
{
    Drops &drops = *(Drops *)closure;
    drops.most   = std::max( drops.most, max );
    if( drops.at == drops.failAt )
        return -1;
    if( drops.at == drops.content.size() )
        return 0;
    *to = (PB_BYTE)drops.content[drops.at++];
    return 1;
}

pb::Ref<PB_BYTE_SOURCE> sourceOf( Drops &drops ) { return pb::adopt( pbCallbackByteSourceCreate( drop, nullptr, &drops ) ); }

}

TEST( PbByteSource, GivesTheHeaderAndThenTheBody )
{
    for( const std::string &body : { std::string(), std::string( "body" ), std::string( 100000, 'b' ) } )
    {
        std::string             content = streamBytes( body );
        Drops                   drops{ content };
        pb::Ref<PB_BYTE_SOURCE> dropping = sourceOf( drops );
        for( const pb::Ref<PB_BYTE_SOURCE> &under : { sourceOf( content ), dropping } )
        {
            pb::Ref<PB_BYTE_SOURCE> source = behindHeader( under );
            EXPECT_TRUE( hasHeader( source ) );
            EXPECT_FALSE( pbByteSourceError( source.get() ) );
            EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
            pb::Ref<PB_BUFFER> to = pb::adopt( pbBufferCreate() );
            while( pbByteSourceRead( source.get(), to.handle(), 1000 ) )
                ;
            EXPECT_EQ( bytes( to ), body );
            EXPECT_TRUE( pbByteSourceEnd( source.get() ) );
            EXPECT_FALSE( pbByteSourceError( source.get() ) );
            EXPECT_TRUE( hasHeader( source ) );
        }
    }
}

TEST( PbByteSource, ReadsNothingOfTheBodyWithTheHeader )
{
    std::string             content = streamBytes( "body" );
    Drops                   drops{ content };
    pb::Ref<PB_BYTE_SOURCE> source = behindHeader( sourceOf( drops ) );
    EXPECT_EQ( drops.at, content.size() - 4 );
}

TEST( PbByteSource, GivesNoHeaderForAnotherStream )
{
    std::string              content = streamBytes( "" );
    std::vector<std::string> broken  = { "", "body", content.substr( 1 ), " " + content };
    for( size_t length = 0; length < content.size(); length++ )
        broken.push_back( content.substr( 0, length ) );
    for( size_t index = 0; index < 11; index++ )
    {
        broken.push_back( content );
        broken.back()[index] ^= 0x40;
    }
    broken.push_back( content );
    broken.back()[12] = '[';
    for( const std::string &each : broken )
    {
        pb::Ref<PB_BYTE_SOURCE> source = behindHeader( sourceOf( each ) );
        pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
        EXPECT_FALSE( pb::adopt( pbHeaderByteSourceHeader( source.get() ) ) ) << hex( each );
        EXPECT_TRUE( pbByteSourceError( source.get() ) );
        EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
        EXPECT_EQ( pbByteSourceRead( source.get(), to.handle(), 10 ), 0 );
    }
}

TEST( PbByteSource, BelievesNoLengthOfAHeader )
{
    const std::string mark = streamBytes( "" ).substr( 0, 8 );
    // 16 MiB is allowed but not there. No memory is taken for what is only claimed.
    Drops                   drops{ mark + std::string( "\x01\0\0\0{", 5 ) };
    pb::Ref<PB_BYTE_SOURCE> source = behindHeader( sourceOf( drops ) );
    EXPECT_TRUE( pbByteSourceError( source.get() ) );
    EXPECT_LE( drops.most, 65536 );
    EXPECT_EQ( drops.at, drops.content.size() );
    // One byte more is not read at all.
    for( const char *length : { "\x01\0\0\x01", "\xFF\xFF\xFF\xFF", "\x80\0\0\0" } )
    {
        Drops more{ mark + std::string( length, 4 ) + "{}" };
        source = behindHeader( sourceOf( more ) );
        EXPECT_TRUE( pbByteSourceError( source.get() ) );
        EXPECT_EQ( more.at, 12u );
    }
}

TEST( PbByteSource, FailsWithTheSourceUnderIt )
{
    std::string content = streamBytes( "body" );
    for( size_t failAt = 0; failAt <= content.size(); failAt++ )
    {
        Drops                   drops{ content, 0, failAt };
        pb::Ref<PB_BYTE_SOURCE> source = behindHeader( sourceOf( drops ) );
        EXPECT_EQ( hasHeader( source ), failAt >= content.size() - 4 );
        pb::Ref<PB_BUFFER> to = pb::adopt( pbBufferCreate() );
        while( pbByteSourceRead( source.get(), to.handle(), 10 ) )
            ;
        EXPECT_TRUE( pbByteSourceError( source.get() ) );
        EXPECT_FALSE( pbByteSourceEnd( source.get() ) );
        EXPECT_EQ( bytes( to ), failAt < content.size() - 4 ? "" : content.substr( content.size() - 4, failAt - ( content.size() - 4 ) ) );
    }
}

TEST( PbByteSource, PassesTheSensitiveMarkThroughAHeader )
{
    pb::Ref<PB_BUFFER> secret = buf( streamBytes( "body" ) );
    pbBufferSetSensitive( secret.handle() );
    pb::Ref<PB_BYTE_SOURCE> source = behindHeader( pb::adopt( pbBufferByteSourceCreate( secret.get() ) ) );
    pb::Ref<PB_BUFFER>      to     = pb::adopt( pbBufferCreate() );
    pbByteSourceRead( source.get(), to.handle(), 1 );
    EXPECT_TRUE( pbBufferSensitive( to.get() ) );
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderByteSourceHeader( source.get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbHeaderType( header.get() ) ).get() ) );
}
