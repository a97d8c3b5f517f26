#include "commands/verify_batch.hpp"

#include "commands/batch_judge.hpp"
#include "input/descriptor.hpp"
#include "input/file.hpp"
#include "output/error.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"

#include <pb/pb_boxed_int.h>
#include <pb/pb_process.h>

#include <array>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <mutex>
#include <sys/eventfd.h>
#include <thread>

namespace
{

// Lines go through the workers in groups: one thread fills them in turn, a process for each group
// makes the validators of its lines and collects the verdicts, and the main thread prints the
// answers in turn. So a thread is woken once for a group.
constexpr size_t groupCount = 32, mostLines = 8;
// A group of this many bytes is full.
constexpr size_t groupBytes = 64 << 10;
// The lines that are in the groups together have this many bytes, or are one line.
constexpr size_t mostBytes = 16 << 20;
// A longer line is a bad one.
constexpr size_t longestLine = 16 << 20;

struct Line
{
    size_t from, length;
    bool   tooLong;
};

enum class State
{
    free,    // the reader's
    working, // the process's
    done,    // the writer's
};

class Batch;

struct Group
{
    Batch                       *batch = nullptr;
    pb::Ref<PB_PROCESS>          process;
    pb::Ref<PB_SIGNALABLE>       wake; // schedules the process
    State                        state = State::free;
    std::string                  text;
    std::vector<Line>            lines;
    PB_INT                       firstLine = 1;
    std::vector<tool::BatchCase> cases;
    size_t                       ended = 0; // of the cases, the first ones
    std::string                  answers;
    std::array<size_t, 3>        counts{}; // by verdict
    PB_INT                       firstBad = 0;
};

// Ends the thread that reads.
struct Stop
{
};

class Batch
{
public:
    explicit Batch( tool::BatchJudge &with ) : judge( with ), stopping( eventfd( 0, EFD_CLOEXEC ) )
    {
        for( Group &group : groups )
        {
            group.batch = this;
            // The object that a process has is the address of its group, which outlives it.
            group.process = pb::adopt( pbProcessCreateCstr(
                runProcess, pb::adopt( pbBoxedIntCreate( (PB_INT)&group ) ).obj(), "cry verify --batch", -1, PB_PROCESS_CLASS_ORDINARY ) );
            group.wake    = pb::adopt( pbSignalableCreateProcess( group.process.get() ) );
        }
    }

    ~Batch()
    {
        {
            std::lock_guard lock( mutex );
            stop = true;
        }
        isFree.notify_one();
        eventfd_write( stopping.number, 1 );
        if( reader.joinable() )
            reader.join();
        for( Group &group : groups )
        {
            pbProcessHalt( group.process.get() );
            pb___ProcessEndWait( group.process.get() );
        }
    }

    Batch( const Batch & )            = delete;
    Batch &operator=( const Batch & ) = delete;

    void run( const std::string &path )
    {
        reader = std::thread( [this, path] { read( path ); } );
        while( Group *group = nextDone() )
        {
            tool::print( group->answers );
            for( size_t verdict = 0; verdict < counts.size(); verdict++ )
                counts[verdict] += group->counts[verdict];
            if( !firstBad )
                firstBad = group->firstBad;
            clear( *group );
        }
        if( readProblem )
            std::rethrow_exception( readProblem );
    }

    size_t count( tool::BatchVerdict verdict ) const { return counts[(size_t)verdict]; }
    PB_INT firstBadLine() const { return firstBad; }

private:
    // What the thread that reads calls.

    void read( const std::string &path )
    {
        try
        {
            tool::forEachPiece(
                path, [this]( const PB_BYTE *piece, PB_INT count ) { split( (const char *)piece, (size_t)count ); }, stopping.number );
            if( !partial.empty() || tooLong )
                endLine( {} );
            hand();
        }
        catch( const Stop & )
        {
        }
        catch( ... )
        {
            readProblem = std::current_exception();
        }
        std::lock_guard lock( mutex );
        allRead = true;
        isDone.notify_one();
    }

    void split( const char *piece, size_t count )
    {
        while( const char *end = (const char *)std::memchr( piece, '\n', count ) )
        {
            endLine( { piece, (size_t)( end - piece ) } );
            count -= (size_t)( end + 1 - piece );
            piece = end + 1;
        }
        if( !tooLong )
            partial.append( piece, count );
        if( partial.size() > longestLine )
        {
            tooLong = true;
            partial = {};
        }
        // Whoever writes the lines may wait for the answers before the next one.
        hand();
    }

    // The line is what there is of it already, and this.
    void endLine( std::string_view end )
    {
        if( !filling )
            filling = &nextFree();
        size_t length = partial.size() + end.size();
        tooLong       = tooLong || length > longestLine;
        filling->lines.push_back( { filling->text.size(), length, tooLong } );
        if( !tooLong )
            filling->text.append( partial ).append( end );
        if( partial.capacity() > groupBytes )
            partial = {};
        partial.clear();
        tooLong = false;
        if( filling->lines.size() == mostLines || filling->text.size() >= groupBytes )
            hand();
    }

    Group &nextFree()
    {
        std::unique_lock lock( mutex );
        Group           &group = groups[handed % groupCount];
        isFree.wait( lock, [&] { return stop || group.state == State::free; } );
        if( stop )
            throw Stop();
        return group;
    }

    // Gives the group that is being filled to its process.
    void hand()
    {
        if( !filling )
            return;
        Group &group    = *std::exchange( filling, nullptr );
        group.firstLine = nextLine;
        nextLine += (PB_INT)group.lines.size();
        {
            std::unique_lock lock( mutex );
            isFree.wait( lock, [&] { return stop || bytes == 0 || bytes + group.text.size() <= mostBytes; } );
            if( stop )
                throw Stop();
            bytes += group.text.size();
            group.state = State::working;
            handed++;
        }
        pbProcessSchedule( group.process.get() );
    }

    // What the process of a group calls.

    static void runProcess( PB_OBJ *obj )
    {
        Group &group = *(Group *)pbBoxedIntValue( pbBoxedIntFrom( obj ) );
        group.batch->work( group );
    }

    void work( Group &group )
    {
        {
            // A validator that was the last one of an earlier filling may have woken the process.
            std::lock_guard lock( mutex );
            if( group.state != State::working )
                return;
        }
        if( group.cases.empty() )
            begin( group );
        for( ; group.ended < group.cases.size(); group.ended++ )
        {
            CRY_X509_VALIDATOR *validator = group.cases[group.ended].validator.get();
            if( validator && !cryX509ValidatorEnd( validator ) )
                return cryX509ValidatorEndAddSignalable( validator, group.wake.get() );
        }
        for( const tool::BatchCase &each : group.cases )
        {
            tool::BatchVerdict verdict = tool::BatchJudge::answer( each, group.answers );
            group.counts[(size_t)verdict]++;
            if( verdict == tool::BatchVerdict::badLine && !group.firstBad )
                group.firstBad = each.line;
        }
        group.cases.clear();
        std::lock_guard lock( mutex );
        group.state = State::done;
        if( &group == &groups[printed % groupCount] )
            isDone.notify_one();
    }

    void begin( Group &group )
    {
        PB_INT number = group.firstLine;
        for( const Line &line : group.lines )
        {
            if( line.tooLong )
                group.cases.push_back( { .id = "null", .validator = {}, .problem = "it is longer than 16 MiB, the limit", .line = number } );
            else
                group.cases.push_back( judge.begin( std::string_view( group.text ).substr( line.from, line.length ), number ) );
            number++;
        }
    }

    // What the main thread calls.

    // The next group in turn when it is done; null at the end.
    Group *nextDone()
    {
        std::unique_lock lock( mutex );
        Group           &group     = groups[printed % groupCount];
        auto             isDecided = [&] { return group.state == State::done || ( allRead && printed == handed ); };
        if( !isDecided() )
        {
            lock.unlock();
            tool::flushOutput();
            lock.lock();
            isDone.wait( lock, isDecided );
        }
        return group.state == State::done ? &group : nullptr;
    }

    void clear( Group &group )
    {
        size_t length = group.text.size();
        for( std::string *each : { &group.text, &group.answers } )
        {
            if( each->capacity() > 2 * groupBytes )
                *each = {};
            each->clear();
        }
        group.lines.clear();
        group.ended    = 0;
        group.counts   = {};
        group.firstBad = 0;
        std::lock_guard lock( mutex );
        group.state = State::free;
        bytes -= length;
        printed++;
        isFree.notify_one();
    }

    tool::BatchJudge             &judge;
    tool::Descriptor              stopping; // can be read when the reader should stop
    std::array<Group, groupCount> groups;

    // The reader's.
    std::thread reader;
    Group      *filling = nullptr;
    std::string partial; // the beginning of a line
    bool        tooLong  = false;
    PB_INT      nextLine = 1;

    // The mutex guards these and the groups' states.
    std::mutex              mutex;
    std::condition_variable isFree, isDone;
    size_t                  handed = 0, printed = 0; // groups
    size_t                  bytes   = 0;             // of the lines in the groups
    bool                    allRead = false, stop = false;
    std::exception_ptr      readProblem; // is there before allRead

    // The writer's.
    std::array<size_t, 3> counts{};
    PB_INT                firstBad = 0;
};

}

int tool::verifyBatch( const std::vector<std::string> &files, const TrustOptions &trust )
{
    if( files.size() > 1 )
        throw InputError( "--batch takes one file" );
    std::string              path   = files.empty() ? "-" : files[0];
    std::vector<std::string> inputs = trust.trust;
    inputs.push_back( path );
    checkStandardInput( inputs );
    // Certificates of many sizes come and go: the list for the smallest pieces of memory only costs
    // time then, about a tenth.
    mallopt( M_MXFAST, 0 );
    pb::Ref<CRY_X509_SESSION> session = createSession( createStackOptions( trust, true ).get() );
    pb::Ref<CRY_X509_POLICY>  policy  = createPolicy( trust );
    // Lines may come for days, so that now is the time of each line.
    if( !trust.time )
        cryX509PolicyDelTime( policy.handle() );
    BatchJudge judge( session.get(), policy.get() );
    Batch      batch( judge );
    batch.run( path );
    if( size_t bad = batch.count( BatchVerdict::badLine ) )
    {
        printError( nameOf( path ) + ": " + counted( bad, "bad line" ) + ", the first one is line " + std::to_string( batch.firstBadLine() ) );
        return exitInputError;
    }
    return batch.count( BatchVerdict::notValid ) ? exitNegative : exitGood;
}
