#include <pb/containers.hpp>
#include <pb/locks.hpp>
#include <pb/pb_abort.h>
#include <pb/pb_process.h>
#include <pb/pb_thread_safety.h>
#include <pb/sort.hpp>
#include <tr/tr_sink.h>

#include <algorithm>
#include <string_view>

#include "tr_event.hpp"
#include "tr_output.hpp"
#include "tr_sinks.hpp"

namespace
{

using Lock = pb::PlainLock;
using Hold = pb::InPlainLock;

// Guards what all sinks hold, and which ones are attached. Traces come from anywhere, so this lock
// is the last one that a thread takes: under it nothing is released, nothing is allocated and
// nothing is called that could take another lock. It is there before the first start and after the
// last stop.
constinit Lock sinksLock;

// An event that a sink keeps.
struct Node
{
    pb::Ref<PB_STORE> event;
    Node             *next = nullptr;
};

// The events of a sink in memory, oldest first.
class Events
{
public:
    explicit Events( PB_INT capacity ) : limit( capacity ) {}
    ~Events() { freeNodes( first ); }
    Events( const Events & )            = delete;
    Events &operator=( const Events & ) = delete;

    static void freeNodes( Node *node )
    {
        while( node )
            pb::destroy( std::exchange( node, node->next ) );
    }

    // Adds an event. Returns the oldest one if it had to make room, else null.
    Node *add( Node *node )
    {
        Node *oldest = nullptr;
        if( count == limit )
        {
            oldest       = std::exchange( first, first->next );
            oldest->next = nullptr;
            count--;
        }
        ( first ? last->next : first ) = node;
        last                           = node;
        count++;
        return oldest;
    }

    Node *takeAll()
    {
        count = 0;
        return std::exchange( first, nullptr );
    }

    PB_INT length() const { return count; }

    template<class Function>
    void each( Function function ) const
    {
        for( Node *node = first; node; node = node->next )
            function( node->event );
    }

private:
    Node        *first = nullptr;
    Node        *last  = nullptr; // if there is a first one
    PB_INT       count = 0;
    const PB_INT limit; // -1: there is none
};

using Text = pb::StdString<>;

// The lines of a sink for JSON Lines.
struct Lines
{
    template<class... Arguments>
    explicit Lines( Arguments... arguments ) : output( arguments... )
    {
        pending.reserve( (size_t)TR_SINK_PENDING_MAX );
        taken.reserve( (size_t)TR_SINK_PENDING_MAX );
    }

    tr::Output output;

    Lock            writing; // lets one thread at a time write; it is taken before the lock of the sinks
    Text taken      PB_GUARDED_BY( writing );
    PB_INT reported PB_GUARDED_BY( writing ) = 0; // how many of the dropped events the text tells of

    Text pending            PB_GUARDED_BY( sinksLock );
    PB_PROCESS *process     PB_GUARDED_BY( sinksLock ) = nullptr; // while the sink is attached
    bool scheduled          PB_GUARDED_BY( sinksLock ) = false;   // a run will take what is pending
    bool isBetweenTwoWrites PB_GUARDED_BY( sinksLock ) = true;
};

}

struct TR_SINK : PB_OBJ
{
    Events        *events; // of a sink in memory, else null
    Lines         *lines;  // of a sink for JSON Lines, else null
    PB_INT dropped PB_GUARDED_BY( sinksLock );
};

static void freeSink( TR_SINK *sink )
{
    PB_CHECK( sink );
    pb::destroy( sink->events );
    pb::destroy( sink->lines );
    pb::setPoison( sink->events );
    pb::setPoison( sink->lines );
}

PB_SORT_DEFINE( tr, Sink, TR_SINK, .free = pb::slot<freeSink> )

namespace
{

struct Sinks
{
    TR_SINK *attached[TR_SINKS_MAX] = {}; // each is retained
    size_t   count                  = 0;
    bool     open                   = false;
};

constinit Sinks sinks PB_GUARDED_BY( sinksLock );

// How many sinks are attached, for a guess without the lock. A thread may guess wrong while another
// one attaches a sink. Then the event came before the sink.
constinit std::atomic<size_t> keepers{ 0 };
constinit std::atomic<size_t> writers{ 0 };

size_t placeOf( TR_SINK *sink ) PB_NEEDS( sinksLock )
{
    return (size_t)( std::find( sinks.attached, sinks.attached + sinks.count, sink ) - sinks.attached );
}

void countSinks() PB_NEEDS( sinksLock )
{
    size_t lines = (size_t)std::count_if( sinks.attached, sinks.attached + sinks.count, []( TR_SINK *sink ) { return sink->lines; } );
    writers      = lines;
    keepers      = sinks.count - lines;
    tr::listening.store( sinks.count != 0, std::memory_order_relaxed );
}

// The sinks that are attached now.
struct Attached
{
    pb::Ref<TR_SINK> sinks[TR_SINKS_MAX];

    Attached()
    {
        Hold hold( sinksLock );
        for( size_t place = 0; place < ::sinks.count; place++ )
            sinks[place] = pb::share( ::sinks.attached[place] );
    }
};

// Writes what the sink holds. A run of the sink's process comes to nothing after the sink was
// detached.
void writeLines( TR_SINK *sink, bool isRun )
{
    Lines &lines = *sink->lines;
    Hold   hold( lines.writing );
    PB_INT unreported;
    {
        Hold inner( sinksLock );
        if( isRun && !lines.process )
            return;
        lines.taken.swap( lines.pending );
        lines.scheduled          = false;
        lines.isBetweenTwoWrites = false;
        unreported               = sink->dropped - lines.reported;
    }
    size_t written = lines.taken.empty() ? 0 : lines.output.write( lines.taken );
    PB_INT lost    = (PB_INT)std::count( lines.taken.begin() + (ptrdiff_t)written, lines.taken.end(), '\n' );
    if( unreported )
    {
        pb::Ref<PB_BUFFER> report = tr::Event( "dropped" ).set( "count", unreported ).line();
        std::string_view   text( (const char *)pbBufferBytes( report.get() ), (size_t)pbBufferLength( report.get() ) );
        if( lines.output.write( text ) == text.size() )
            lines.reported += unreported;
    }
    lines.taken.clear();
    Hold inner( sinksLock );
    lines.isBetweenTwoWrites = true;
    sink->dropped += lost;
}

void runWriter( PB_OBJ *obj ) { writeLines( trSinkFrom( obj ), true ); }

// False if the line had to be dropped.
bool addLine( Lines &lines, std::string_view line ) PB_NEEDS( sinksLock )
{
    if( lines.pending.size() + line.size() > (size_t)TR_SINK_PENDING_MAX )
        return false;
    lines.pending.append( line );
    return true;
}

// Ends what trSinkAttach began, after the sink was taken out of the list. Takes over the reference
// of the list.
void finishDetach( TR_SINK *sink, PB_PROCESS *process )
{
    if( process )
    {
        pbProcessHalt( process );
        pbProcessRelease( process );
        writeLines( sink, false );
    }
    trSinkRelease( sink );
}

PB_PROCESS *takeOut( size_t place ) PB_NEEDS( sinksLock )
{
    TR_SINK *sink = sinks.attached[place];
    std::copy( sinks.attached + place + 1, sinks.attached + sinks.count, sinks.attached + place );
    sinks.count--;
    countSinks();
    return sink->lines ? std::exchange( sink->lines->process, nullptr ) : nullptr;
}

// The process ends after a broken contract, maybe within a trace. So no lock is waited for.
void flushAtAbort()
{
    for( size_t place = 0;; place++ )
    {
        Text text;
        if( !sinksLock.tryLock() )
            return;
        bool     over = place >= sinks.count;
        TR_SINK *sink = over ? nullptr : sinks.attached[place];
        Lines   *mine = sink ? sink->lines : nullptr;
        // A write in progress may never end. Lines can be appended to a file all the same, but a
        // function of the host is not called by two threads.
        if( mine && ( mine->output.isFile() || mine->isBetweenTwoWrites ) )
        {
            trSinkRetain( sink ); // and is never released
            text.swap( mine->pending );
        }
        sinksLock.unlock();
        if( over )
            return;
        if( !text.empty() )
            mine->output.write( text );
    }
}

TR_SINK *createInMemory( PB_INT capacity )
{
    TR_SINK *sink = pb::create<TR_SINK>();
    sink->events  = pb::make<Events>( capacity );
    return sink;
}

}

TR_SINK *trSinkCreateMemory() { return createInMemory( -1 ); }

TR_SINK *trSinkCreateRing( PB_INT capacity ) { return PB_CHECK( capacity > 0 ), createInMemory( capacity ); }

TR_SINK *trSinkTryCreateJsonLines( PB_STRING *path )
{
    PB_CHECK( path );
    const char *text = pbStringTryPeekCstr( path );
    int         file = text ? tr::Output::tryOpen( text ) : -1;
    if( file < 0 )
        return nullptr;
    TR_SINK *sink = pb::create<TR_SINK>();
    sink->lines   = pb::make<Lines>( file );
    return sink;
}

TR_SINK *trSinkCreateJsonLinesWriter( TR_SINK_WRITE write, void *context )
{
    PB_CHECK( write );
    TR_SINK *sink = pb::create<TR_SINK>();
    sink->lines   = pb::make<Lines>( write, context );
    return sink;
}

PB_BOOL trSinkAttach( TR_SINK *sink )
{
    PB_CHECK( sink );
    pb::Ref<PB_PROCESS> process;
    if( sink->lines )
        process = pb::adopt( pbProcessCreateCstr( runWriter, trSinkObj( sink ), "tr-json-lines", -1, PB_PROCESS_CLASS_BACKGROUND ) );
    PB_BOOL attached;
    {
        Hold hold( sinksLock );
        attached = sinks.open && placeOf( sink ) < sinks.count;
        if( sinks.open && !attached && sinks.count < (size_t)TR_SINKS_MAX )
        {
            sinks.attached[sinks.count++] = trSinkRetain( sink );
            countSinks();
            if( sink->lines )
                sink->lines->process = process.take();
            attached = PB_TRUE;
        }
    }
    // The process that was not needed holds the sink until it is halted.
    if( process )
        pbProcessHalt( process.get() );
    return attached;
}

void trSinkDetach( TR_SINK *sink )
{
    PB_CHECK( sink );
    PB_PROCESS *process;
    {
        Hold   hold( sinksLock );
        size_t place = placeOf( sink );
        if( place == sinks.count )
            return;
        process = takeOut( place );
    }
    finishDetach( sink, process );
}

void trSinkFlush( TR_SINK *sink )
{
    PB_CHECK( sink );
    if( sink->lines )
        writeLines( sink, false );
}

PB_VECTOR *trSinkEvents( TR_SINK *sink )
{
    PB_CHECK( sink );
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    if( !sink->events )
        return vector.take();
    // Events may come while the memory for the copy is being made.
    pb::StdVector<pb::Ref<PB_STORE>> copy;
    for( bool enough = false; !enough; )
    {
        size_t needed;
        {
            Hold hold( sinksLock );
            needed = (size_t)sink->events->length();
            enough = needed <= copy.capacity();
            if( enough )
                sink->events->each( [&]( const pb::Ref<PB_STORE> &event ) { copy.push_back( event ); } );
        }
        if( !enough )
            copy.reserve( needed + needed / 8 + 16 );
    }
    for( const pb::Ref<PB_STORE> &event : copy )
        pbVectorAppendObj( vector.handle(), event.obj() );
    return vector.take();
}

PB_VECTOR *trSinkTakeEvents( TR_SINK *sink )
{
    PB_CHECK( sink );
    Node *taken = nullptr;
    if( sink->events )
    {
        Hold hold( sinksLock );
        taken = sink->events->takeAll();
    }
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( Node *node = taken; node; node = node->next )
        pbVectorAppendObj( vector.handle(), node->event.obj() );
    Events::freeNodes( taken );
    return vector.take();
}

PB_INT trSinkDropped( TR_SINK *sink )
{
    PB_CHECK( sink );
    Hold hold( sinksLock );
    return sink->dropped;
}

void tr::emit( PB_STORE *event )
{
    pb::Ref<PB_BUFFER> line;
    std::string_view   text;
    if( writers.load( std::memory_order_relaxed ) )
    {
        line = Event::lineOf( event );
        text = { (const char *)pbBufferBytes( line.get() ), (size_t)pbBufferLength( line.get() ) };
    }
    // One for each sink that keeps events. Afterwards it holds what the sinks gave back.
    Node *nodes = nullptr;
    for( size_t left = keepers.load( std::memory_order_relaxed ); left > 0; left-- )
        nodes = pb::make<Node>( pb::share( event ), nodes );

    pb::Ref<PB_PROCESS> woken[TR_SINKS_MAX];
    Node               *dropped = nullptr;
    {
        Hold hold( sinksLock );
        for( size_t place = 0; place < sinks.count; place++ )
        {
            TR_SINK *sink = sinks.attached[place];
            if( sink->events && nodes )
            {
                Node *node = std::exchange( nodes, nodes->next );
                node->next = nullptr;
                if( Node *oldest = sink->events->add( node ) )
                {
                    oldest->next = std::exchange( dropped, oldest );
                    sink->dropped++;
                }
            }
            else if( sink->lines && line )
            {
                if( !addLine( *sink->lines, text ) )
                    sink->dropped++;
                else if( !std::exchange( sink->lines->scheduled, true ) )
                    woken[place] = pb::share( sink->lines->process );
            }
        }
    }
    Events::freeNodes( nodes );
    Events::freeNodes( dropped );
    // Scheduling takes locks that stand before the lock of the sinks.
    for( const pb::Ref<PB_PROCESS> &process : woken )
    {
        if( process )
            pbProcessSchedule( process.get() );
    }
}

void tr::openSinks()
{
    pb___AbortSetFlush( flushAtAbort );
    Hold hold( sinksLock );
    sinks.open = true;
}

void tr::flushSinks()
{
    Attached attached;
    for( const pb::Ref<TR_SINK> &sink : attached.sinks )
    {
        if( sink )
            trSinkFlush( sink.get() );
    }
}

void tr::closeSinks()
{
    for( ;; )
    {
        TR_SINK    *sink;
        PB_PROCESS *process;
        {
            Hold hold( sinksLock );
            sinks.open = false;
            if( !sinks.count )
                break;
            sink    = sinks.attached[0];
            process = takeOut( 0 );
        }
        finishDetach( sink, process );
    }
    pb___AbortSetFlush( nullptr );
}
