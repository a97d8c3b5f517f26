#include "pb/watching_allocator.hpp"

#include "support/text.hpp"

#include <functional>
#include <random>

using namespace support;

namespace
{

constexpr std::string_view secret = "kQ7#vmZ2-pW9xR4t+Lb8!cYn5*Hd3@Fs6";

pb::Ref<PB_BUFFER> secretBuffer( std::string_view bytes = secret )
{
    pb::Ref<PB_BUFFER> buffer = buf( bytes );
    pbBufferSetSensitive( buffer.handle() );
    return buffer;
}

using PbBufferWatched = WatchedMemory;

}

TEST( PbBuffer, StartsEmpty )
{
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( pbBufferLength( buffer.get() ), 0 );
    EXPECT_EQ( pbBufferBitLength( buffer.get() ), 0 );
    EXPECT_EQ( pbBufferSpace( buffer.get() ), PB_INT_MAX );
    EXPECT_NE( pbBufferBytes( buffer.get() ), nullptr );
    EXPECT_FALSE( pbBufferSensitive( buffer.get() ) );
}

TEST( PbBuffer, HoldsAnyBytes )
{
    std::string all;
    for( int byte = 0; byte < 256; byte++ )
        all += (char)byte;
    pb::Ref<PB_BUFFER> buffer = buf( all );
    EXPECT_EQ( pbBufferLength( buffer.get() ), 256 );
    EXPECT_EQ( pbBufferBitLength( buffer.get() ), 2048 );
    EXPECT_EQ( pbBufferSpace( buffer.get() ), PB_INT_MAX - 256 );
    EXPECT_EQ( bytes( buffer ), all );
    EXPECT_EQ( pbBufferByteAt( buffer.get(), 0 ), 0 );
    EXPECT_EQ( pbBufferByteAt( buffer.get(), 255 ), 255 );
}

TEST( PbBuffer, IsMadeFromNothing )
{
    EXPECT_EQ( bytes( pb::adopt( pbBufferCreateFromBytes( nullptr, 0 ) ) ), "" );
    pb::Ref<PB_BUFFER> buffer = buf( "a" );
    pbBufferAppendBytes( buffer.handle(), nullptr, 0 );
    EXPECT_EQ( bytes( buffer ), "a" );
}

TEST( PbBuffer, TakesOverMemory )
{
    char *memory = (char *)pbMemAlloc( 3 );
    std::memcpy( memory, "abc", 3 );
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreateFromBytesUse( memory, 3 ) );
    EXPECT_EQ( (const char *)pbBufferBytes( buffer.get() ), memory );
    EXPECT_EQ( bytes( buffer ), "abc" );
    pbBufferAppendBytes( buffer.handle(), "defghijklmnopqrstuvwxyz", 23 );
    EXPECT_EQ( bytes( buffer ), "abcdefghijklmnopqrstuvwxyz" );
}

TEST( PbBuffer, CopiesRanges )
{
    pb::Ref<PB_BUFFER> source = buf( "0123456789" );
    EXPECT_EQ( bytes( pb::adopt( pbBufferCreateFromInner( source.get(), 2, 3 ) ) ), "234" );
    EXPECT_EQ( bytes( pb::adopt( pbBufferCreateFromInner( source.get(), 0, 10 ) ) ), "0123456789" );
    EXPECT_EQ( bytes( pb::adopt( pbBufferCreateFromInner( source.get(), 10, 0 ) ) ), "" );
}

TEST( PbBuffer, GrowsByteByByteToAnyLength )
{
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreate() );
    std::string        wanted;
    for( int index = 0; index < 100000; index++ )
    {
        pbBufferAppendByte( buffer.handle(), (PB_BYTE)( index * 7 ) );
        wanted += (char)( index * 7 );
    }
    EXPECT_EQ( bytes( buffer ), wanted );
}

TEST( PbBuffer, AppendsAllOfAnotherOrARange )
{
    pb::Ref<PB_BUFFER> buffer = buf( "ab" );
    pb::Ref<PB_BUFFER> other  = buf( "0123456789" );
    pbBufferAppend( buffer.handle(), other.get() );
    EXPECT_EQ( bytes( buffer ), "ab0123456789" );
    pbBufferAppendInner( buffer.handle(), other.get(), 8, 2 );
    EXPECT_EQ( bytes( buffer ), "ab012345678989" );
    pbBufferAppendInner( buffer.handle(), other.get(), 10, 0 );
    EXPECT_EQ( bytes( buffer ), "ab012345678989" );
    EXPECT_EQ( bytes( other ), "0123456789" );
}

TEST( PbBuffer, AppendsToItself )
{
    pb::Ref<PB_BUFFER> buffer = buf( "abc" );
    std::string        wanted = "abc";
    for( int time = 0; time < 12; time++ )
    {
        pbBufferAppend( buffer.handle(), buffer.get() );
        wanted += std::string( wanted );
        ASSERT_EQ( bytes( buffer ), wanted );
    }
    pb::Ref<PB_BUFFER> ranged = buf( "0123456789" );
    pbBufferAppendInner( ranged.handle(), ranged.get(), 3, 4 );
    EXPECT_EQ( bytes( ranged ), "01234567893456" );
}

TEST( PbBuffer, AppendsToItselfWhileShared )
{
    pb::Ref<PB_BUFFER> buffer = buf( "abc" );
    pb::Ref<PB_BUFFER> other  = buffer;
    pbBufferAppend( buffer.handle(), other.get() );
    EXPECT_EQ( bytes( buffer ), "abcabc" );
    EXPECT_EQ( bytes( other ), "abc" );
}

TEST( PbBuffer, AppendsBytesThatLieInItself )
{
    std::string content = "0123456789abcdefghijklmnopqrstuvwxyz";
    for( bool sensitive : { false, true } )
    {
        pb::Ref<PB_BUFFER> buffer = buf( content );
        if( sensitive )
            pbBufferSetSensitive( buffer.handle() );
        std::string model = content;
        // It becomes too large for its memory several times, and at the end it is shared at every
        // append.
        for( int time = 0; time < 12; time++ )
        {
            pb::Ref<PB_BUFFER> other = time < 10 ? pb::Ref<PB_BUFFER>() : buffer;
            size_t             from  = (size_t)time;
            pbBufferAppendBytes( buffer.handle(), pbBufferBytes( buffer.get() ) + from, (PB_INT)( model.size() - from ) );
            std::string was = model;
            model += model.substr( from );
            ASSERT_EQ( bytes( buffer ), model ) << time;
            if( other )
                ASSERT_EQ( bytes( other ), was );
            EXPECT_EQ( pbBufferSensitive( buffer.get() ), (PB_BOOL)sensitive );
        }
    }
}

TEST( PbBuffer, RemovesRanges )
{
    pb::Ref<PB_BUFFER> buffer = buf( "0123456789" );
    pbBufferDelInner( buffer.handle(), 2, 3 );
    EXPECT_EQ( bytes( buffer ), "0156789" );
    pbBufferDelInner( buffer.handle(), 0, 1 );
    EXPECT_EQ( bytes( buffer ), "156789" );
    pbBufferDelInner( buffer.handle(), 4, 2 );
    EXPECT_EQ( bytes( buffer ), "1567" );
    pbBufferDelInner( buffer.handle(), 4, 0 );
    EXPECT_EQ( bytes( buffer ), "1567" );
    pbBufferClear( buffer.handle() );
    EXPECT_EQ( bytes( buffer ), "" );
    pbBufferAppendByte( buffer.handle(), 'x' );
    EXPECT_EQ( bytes( buffer ), "x" );
}

TEST( PbBuffer, GivesRoomToWriteInto )
{
    pb::Ref<PB_BUFFER> buffer = buf( "ab" );
    std::memcpy( pb___BufferExtend( buffer.handle(), 4 ), "cdef", 4 );
    EXPECT_EQ( bytes( buffer ), "abcdef" );
    PB_BYTE           *room;
    pb::Ref<PB_BUFFER> made = pb::adopt( pb___BufferCreateLength( 3, &room ) );
    std::memcpy( room, "xyz", 3 );
    EXPECT_EQ( bytes( made ), "xyz" );
}

TEST( PbBuffer, EditsOfASharedBufferLeaveTheOtherHolderAlone )
{
    pb::Ref<PB_BUFFER> more = buf( "more" );
    struct
    {
        const char                         *name;
        std::function<void( PB_BUFFER ** )> edit;
        std::string                         wanted;
    } edits[] = {
        { "append", [&]( PB_BUFFER **buffer ) { pbBufferAppend( buffer, more.get() ); }, "contentmore" },
        { "append bytes", []( PB_BUFFER **buffer ) { pbBufferAppendBytes( buffer, "xy", 2 ); }, "contentxy" },
        { "append byte", []( PB_BUFFER **buffer ) { pbBufferAppendByte( buffer, 'x' ); }, "contentx" },
        { "append inner", [&]( PB_BUFFER **buffer ) { pbBufferAppendInner( buffer, more.get(), 1, 2 ); }, "contentor" },
        { "del inner", []( PB_BUFFER **buffer ) { pbBufferDelInner( buffer, 1, 5 ); }, "ct" },
        { "clear", []( PB_BUFFER **buffer ) { pbBufferClear( buffer ); }, "" },
        { "extend", []( PB_BUFFER **buffer ) { *pb___BufferExtend( buffer, 1 ) = 'e'; }, "contente" },
        { "set sensitive", []( PB_BUFFER **buffer ) { pbBufferSetSensitive( buffer ); }, "content" },
    };
    for( const auto &[name, edit, wanted] : edits )
    {
        SCOPED_TRACE( name );
        pb::Ref<PB_BUFFER> buffer = buf( "content" );
        pb::Ref<PB_BUFFER> other  = buffer;
        edit( buffer.handle() );
        EXPECT_EQ( bytes( buffer ), wanted );
        EXPECT_EQ( bytes( other ), "content" );
        EXPECT_FALSE( pbBufferSensitive( other.get() ) );
        EXPECT_NE( buffer.get(), other.get() );
        // Each holder has the only reference to its object now.
        EXPECT_FALSE( pbObjIsShared( buffer.obj() ) );
        EXPECT_FALSE( pbObjIsShared( other.obj() ) );
        // So edits are made in place now.
        PB_BUFFER *same = buffer.get();
        pbBufferAppendByte( buffer.handle(), 'x' );
        EXPECT_EQ( buffer.get(), same );
    }
}

TEST( PbBuffer, OrdersByBytesThenLength )
{
    const std::string inOrder[] = { "", std::string( 1, 0 ), std::string( 2, 0 ), "a", "a" + std::string( 1, 0 ), "aa", "b", "\x7F", "\x80", "\xFF" };
    for( size_t a = 0; a < std::size( inOrder ); a++ )
    {
        for( size_t b = 0; b < std::size( inOrder ); b++ )
        {
            pb::Ref<PB_BUFFER> bufferA = buf( inOrder[a] );
            pb::Ref<PB_BUFFER> bufferB = buf( inOrder[b] );
            PB_INT             order   = pbBufferCompare( bufferA.get(), bufferB.get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
            EXPECT_EQ( pbBufferEquals( bufferA.get(), bufferB.get() ), a == b );
        }
    }
}

TEST( PbBuffer, TextFormIsHexadecimal )
{
    EXPECT_EQ( text( pb::adopt( pbBufferToString( buf( std::string( "\x00\x0F\xA5\xFF", 4 ) ).get() ) ) ), "000fa5ff" );
    EXPECT_EQ( text( pb::adopt( pbBufferToString( buf( "" ).get() ) ) ), "" );
}

TEST( PbBuffer, TextFormOfASensitiveBufferTellsItsLengthOnly )
{
    EXPECT_EQ( text( pb::adopt( pbBufferToString( secretBuffer( "abc" ).get() ) ) ), "(3 sensitive bytes)" );
}

TEST( PbBuffer, TheSensitiveMarkGoesAlongAndStays )
{
    pb::Ref<PB_BUFFER> marked = secretBuffer( "secret" );
    EXPECT_TRUE( pbBufferSensitive( marked.get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbBufferCreateFrom( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbBufferCreateFromInner( marked.get(), 1, 2 ) ).get() ) );

    pb::Ref<PB_BUFFER> taker = buf( "plain" );
    pbBufferAppend( taker.handle(), marked.get() );
    EXPECT_TRUE( pbBufferSensitive( taker.get() ) );
    taker = buf( "plain" );
    pbBufferAppendInner( taker.handle(), marked.get(), 0, 1 );
    EXPECT_TRUE( pbBufferSensitive( taker.get() ) );

    // A buffer without the mark does not remove the mark.
    pbBufferAppend( taker.handle(), buf( "plain" ).get() );
    EXPECT_TRUE( pbBufferSensitive( taker.get() ) );
    pbBufferDelInner( taker.handle(), 0, 2 );
    EXPECT_TRUE( pbBufferSensitive( taker.get() ) );
    pbBufferClear( taker.handle() );
    EXPECT_TRUE( pbBufferSensitive( taker.get() ) );

    pb::Ref<PB_BUFFER> copied = marked;
    pbBufferAppendByte( copied.handle(), '!' );
    EXPECT_TRUE( pbBufferSensitive( copied.get() ) );
    EXPECT_FALSE( pbBufferSensitive( buf( "plain" ).get() ) );
}

TEST( PbBuffer, RandomEditsGiveWhatAStandardStringGives )
{
    std::mt19937                    random( 20260721 );
    std::vector<pb::Ref<PB_BUFFER>> buffers( 4, pb::adopt( pbBufferCreate() ) );
    std::vector<std::string>        models( 4 );
    auto                            below = [&]( size_t limit ) { return (size_t)random() % limit; };
    for( int step = 0; step < 20000; step++ )
    {
        size_t       to     = below( 4 );
        size_t       from   = below( 4 );
        std::string &model  = models[to];
        size_t       offset = below( models[from].size() + 1 );
        size_t       count  = below( models[from].size() - offset + 1 );
        switch( below( 6 ) )
        {
        case 0:
            pbBufferAppendByte( buffers[to].handle(), (PB_BYTE)step );
            model += (char)step;
            break;
        case 1:
            pbBufferAppendInner( buffers[to].handle(), buffers[from].get(), (PB_INT)offset, (PB_INT)count );
            model += models[from].substr( offset, count );
            break;
        case 2:
            offset = below( model.size() + 1 );
            count  = below( model.size() - offset + 1 );
            pbBufferDelInner( buffers[to].handle(), (PB_INT)offset, (PB_INT)count );
            model.erase( offset, count );
            break;
        case 3:
            buffers[to] = buffers[from];
            model       = std::string( models[from] );
            break;
        case 4:
            pbBufferSetSensitive( buffers[to].handle() );
            break;
        case 5:
            if( model.size() < 2000 )
            {
                pbBufferAppend( buffers[to].handle(), buffers[from].get() );
                model += std::string( models[from] );
            }
            break;
        }
        for( size_t index = 0; index < 4; index++ )
            ASSERT_EQ( bytes( buffers[index] ), models[index] ) << "step " << step;
        if( model.size() > 4000 )
        {
            pbBufferClear( buffers[to].handle() );
            model.clear();
        }
    }
}

// The watch finds the content that a buffer without the mark leaves in freed memory.
TEST_F( PbBufferWatched, APlainBufferIsFreedAsItIs )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    buf( secret );
    EXPECT_EQ( leaks(), 1 );
}

TEST_F( PbBufferWatched, ASensitiveBufferIsCleansedWhenFreed )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    secretBuffer();
    EXPECT_EQ( leaks(), 0 );

    void *memory = pbMemAlloc( secret.size() );
    std::memcpy( memory, secret.data(), secret.size() );
    pb::Ref<PB_BUFFER> used = pb::adopt( pbBufferCreateFromBytesUse( memory, (PB_INT)secret.size() ) );
    pbBufferSetSensitive( used.handle() );
    used = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbBufferWatched, ASensitiveBufferIsCleansedWhenItGrows )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    // The content moves out of the object, then from one piece of memory to the next.
    pb::Ref<PB_BUFFER> buffer = secretBuffer();
    for( int time = 0; time < 500; time++ )
        pbBufferAppendBytes( buffer.handle(), ".....", 5 );
    EXPECT_EQ( bytes( buffer ).substr( 0, secret.size() ), secret );
    EXPECT_EQ( leaks(), 0 );

    pb::Ref<PB_BUFFER> grown = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( grown.handle() );
    for( char byte : secret )
        pbBufferAppendByte( grown.handle(), (PB_BYTE)byte );
    for( int time = 0; time < 5; time++ )
        pbBufferAppend( grown.handle(), grown.get() );
    EXPECT_EQ( pbBufferLength( grown.get() ), (PB_INT)secret.size() * 32 );
    EXPECT_EQ( leaks(), 0 );
    grown  = {};
    buffer = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbBufferWatched, ASensitiveBufferIsCleansedWhenItIsAppendedToItself )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    pb::Ref<PB_BUFFER> buffer = secretBuffer();
    for( int time = 0; time < 8; time++ )
        pbBufferAppendBytes( buffer.handle(), pbBufferBytes( buffer.get() ), pbBufferLength( buffer.get() ) );
    EXPECT_EQ( leaks(), 0 );
    buffer = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbBufferWatched, ASensitiveBufferIsCleansedWhereItShrank )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    for( bool outgrown : { false, true } )
    {
        SCOPED_TRACE( outgrown );
        pb::Ref<PB_BUFFER> start = secretBuffer();
        if( outgrown )
            pbBufferAppendBytes( start.handle(), secret.data(), (PB_INT)secret.size() );
        PB_INT length = pbBufferLength( start.get() );

        pb::Ref<PB_BUFFER> cleared = pb::adopt( pbBufferCreateFrom( start.get() ) );
        pbBufferClear( cleared.handle() );
        cleared = {};
        EXPECT_EQ( leaks(), 0 );

        pb::Ref<PB_BUFFER> front = pb::adopt( pbBufferCreateFrom( start.get() ) );
        pbBufferDelInner( front.handle(), 0, length - 3 );
        front = {};
        EXPECT_EQ( leaks(), 0 );

        pb::Ref<PB_BUFFER> end = pb::adopt( pbBufferCreateFrom( start.get() ) );
        pbBufferDelInner( end.handle(), 3, length - 3 );
        // The removed bytes must also not move with the rest.
        pbBufferAppendBytes( end.handle(), std::string( 1000, '.' ).data(), 1000 );
        end = {};
        EXPECT_EQ( leaks(), 0 );

        pb::Ref<PB_BUFFER> middle = pb::adopt( pbBufferCreateFrom( start.get() ) );
        pbBufferDelInner( middle.handle(), 8, 8 );
        middle = {};
        EXPECT_EQ( leaks(), 0 );
    }
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbBufferWatched, WhatIsMadeFromASensitiveBufferIsCleansed )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    pb::Ref<PB_BUFFER> start = secretBuffer();
    pb::adopt( pbBufferCreateFrom( start.get() ) );
    pb::adopt( pbBufferCreateFromInner( start.get(), 3, 20 ) );
    EXPECT_EQ( leaks(), 0 );

    pb::Ref<PB_BUFFER> taker = buf( "plain" );
    pbBufferAppend( taker.handle(), start.get() );
    pbBufferAppendInner( taker.handle(), start.get(), 10, 10 );
    taker = {};
    EXPECT_EQ( leaks(), 0 );

    // A shared buffer is copied before the edit.
    pb::Ref<PB_BUFFER> copied = start;
    pbBufferAppendByte( copied.handle(), '!' );
    EXPECT_NE( copied.get(), start.get() );
    copied = {};
    start  = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbBufferWatched, TheTextFormOfASensitiveBufferShowsNothing )
{
    pb::Ref<PB_BUFFER> start = secretBuffer();
    WatchingAllocator::watchFor( { std::string( secret ), hex( secret ) } );
    pb::adopt( pbBufferToString( start.get() ) );
    start = {};
    EXPECT_EQ( leaks(), 0 );
}
