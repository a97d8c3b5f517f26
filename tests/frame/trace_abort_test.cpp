#include <pb/pb.h>
#include <pb/runtime.hpp>
#include <tr/tr.h>

#include "support/text.hpp"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

// The process really ends in these tests. Each starts the libraries in the process that ends.

namespace
{

namespace fs = std::filesystem;

const fs::path folder = fs::temp_directory_path() / ( "trace_abort_test." + std::to_string( getpid() ) );

class TraceAbortDeathTest : public testing::Test
{
protected:
    void SetUp() override { fs::create_directory( folder ); }
    void TearDown() override { fs::remove_all( folder ); }
};

std::string content( const fs::path &path )
{
    std::ostringstream out;
    out << std::ifstream( path ).rdbuf();
    return out.str();
}

size_t count( const std::string &text, const std::string &part )
{
    size_t found = 0;
    for( size_t at = 0; ( at = text.find( part, at ) ) != text.npos; at += part.size() )
        found++;
    return found;
}

pb::Ref<TR_STREAM> stream() { return pb::adopt( trStreamCreateCstr( "A_NAME", -1 ) ); }

// Occupies the thread that writes, so that nothing is written before the process ends.
void waitForEver( PB_OBJ * )
{
    for( ;; )
        pause();
}

void occupyBackground()
{
    pb::Ref<PB_PROCESS> process = pb::adopt( pbProcessCreateCstr( waitForEver, nullptr, "waits", -1, PB_PROCESS_CLASS_BACKGROUND ) );
    pbProcessSchedule( process.get() );
}

}

TEST_F( TraceAbortDeathTest, TheLastLinesAreWritten )
{
    fs::path path = folder / "traces.jsonl";
    EXPECT_EXIT(
        {
            pb::Runtime runtime{ "tr" };
            occupyBackground();
            pb::Ref<TR_SINK> sink = pb::adopt( trSinkTryCreateJsonLines( support::str( path.string() ).get() ) );
            pb::Ref<TR_SINK> ring = pb::adopt( trSinkCreateRing( 1 ) );
            trSinkAttach( ring.get() );
            trSinkAttach( sink.get() );
            pb::Ref<TR_STREAM> source = stream();
            for( int line = 0; line < 1000; line++ )
                trStreamTextFormatCstr( source.get(), "line %i", -1, PB_INT{ line } );
            trStreamTextCstr( source.get(), nullptr, 0 );
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/tr/tr_stream.cpp:[0-9]+: text\n$" );
    std::string text = content( path );
    EXPECT_EQ( count( text, "\n" ), 1000u );
    EXPECT_EQ( count( text, "\"text\": \"line " ), 1000u );
    EXPECT_LT( text.find( "\"line 998\"" ), text.find( "\"line 999\"" ) );
}

TEST_F( TraceAbortDeathTest, TheWriterOfTheHostIsCalledOnceMore )
{
    EXPECT_EXIT(
        {
            pb::Runtime runtime{ "tr" };
            occupyBackground();
            auto write = []( void *, const char *text, PB_INT length ) -> PB_BOOL {
                return ::write( STDERR_FILENO, text, (size_t)length ) == length;
            };
            pb::Ref<TR_SINK> sink = pb::adopt( trSinkCreateJsonLinesWriter( write, nullptr ) );
            trSinkAttach( sink.get() );
            trStreamTextCstr( stream().get(), "the last line", -1 );
            pbObjRetain( nullptr );
        },
        testing::KilledBySignal( SIGABRT ), "obj\n\\{\"time\": .*\"the last line\"\\}\n$" );
}

TEST_F( TraceAbortDeathTest, AWriterThatBreaksAContractIsNotCalledAgain )
{
    EXPECT_EXIT(
        {
            pb::Runtime runtime{ "tr" };
            auto        write = []( void *context, const char *, PB_INT ) -> PB_BOOL {
                // More waits to be written.
                trStreamTextCstr( static_cast<TR_STREAM *>( context ), "again", -1 );
                (void)!::write( STDERR_FILENO, "call\n", 5 );
                pbObjRetain( nullptr );
                return PB_TRUE;
            };
            pb::Ref<TR_STREAM> source = stream();
            pb::Ref<TR_SINK>   sink   = pb::adopt( trSinkCreateJsonLinesWriter( write, source.get() ) );
            trSinkAttach( sink.get() );
            trStreamTextCstr( source.get(), "text", -1 );
            trSinkFlush( sink.get() );
        },
        testing::KilledBySignal( SIGABRT ), "^call\nabort: [^\n]*: obj\n$" );
}

namespace
{

size_t left;

void *takeOne( void *memory, size_t size ) { return left && left-- ? std::realloc( memory, size ) : nullptr; }

constexpr PB_MEM_ALLOCATOR scarce = { []( size_t size ) { return takeOne( nullptr, size ); }, takeOne, std::free };

void traceUntilMemoryEnds( size_t pieces )
{
    pb::Runtime      runtime{ "tr" };
    pb::Ref<TR_SINK> sink = pb::adopt( trSinkCreateMemory() );
    trSinkAttach( sink.get() );
    pb::Ref<TR_STREAM> source = stream();
    left                      = pieces;
    pbMemSetAllocator( &scarce );
    for( ;; )
        trStreamTextCstr( source.get(), "a text that is longer than any that is kept without memory", -1 );
}

}

TEST_F( TraceAbortDeathTest, EndsIfATraceFindsNoMemory )
{
    for( size_t pieces = 0; pieces < 60; pieces++ )
        EXPECT_EXIT( traceUntilMemoryEnds( pieces ), testing::KilledBySignal( SIGABRT ), "^abort: source/pb/base/pb_mem.cpp:[0-9]+: memory\n$" );
}
