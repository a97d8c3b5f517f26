#include <gtest/gtest.h>

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
