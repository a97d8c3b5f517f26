#include "support/processes.hpp"

#include <pb/pb_obj.h>
#include <pb/sort.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/environment.hpp"
#include "support/text.hpp"

struct PROBE : PB_OBJ
{
    std::function<void()> run;
    std::function<void()> freed;
};

extern "C" PB_EXPORT const PB_MODULE test___module;
extern "C" const PB_MODULE           test___module = {};

static void freeProbe( PROBE *probe )
{
    if( probe->freed )
        probe->freed();
    probe->~PROBE();
}

PB_SORT_DEFINE( test, Probe, PROBE, .free = pb::slot<freeProbe> )

namespace support
{

pb::Ref<PROBE> probe( std::function<void()> freed )
{
    pb::Ref<PROBE> made = pb::adopt( pb::create<PROBE>() );
    made.get()->freed   = std::move( freed );
    return made;
}

pb::Ref<PB_PROCESS> process( std::function<void()> run, PB_PROCESS_CLASS processClass, std::function<void()> freed )
{
    pb::Ref<PROBE> obj = probe( std::move( freed ) );
    obj.get()->run     = std::move( run );
    return pb::adopt( pbProcessCreateCstr( []( PB_OBJ *object ) { testProbeFrom( object )->run(); }, obj.obj(), "test", -1, processClass ) );
}

std::vector<std::string> threadNames( const std::string &begin )
{
    std::vector<std::string> names;
    std::error_code          gone; // a thread may end meanwhile
    for( const auto &entry : std::filesystem::directory_iterator( "/proc/self/task", gone ) )
    {
        std::ifstream in( entry.path() / "comm" );
        std::string   name;
        if( std::getline( in, name ) && name.starts_with( begin ) )
            names.push_back( name );
    }
    std::sort( names.begin(), names.end() );
    return names;
}

void OwnRuntime::SetUp()
{
    if( pbRuntimeStarted() )
        pbRuntimeStop();
    alive   = pbObjLiveCount();
    options = pb::adopt( pbRuntimeOptionsCreate() );
}

void OwnRuntime::TearDown()
{
    if( pbRuntimeStarted() )
        pbRuntimeStop();
    options = {};
    EXPECT_EQ( pbObjLiveCount(), alive );
    startFamily();
}

std::string OwnRuntime::start()
{
    if( pbRuntimeStart( options.get() ) )
        return "";
    return text( pb::adopt( pbRuntimeStartError() ) );
}

void RunsByHand::SetUp()
{
    OwnRuntime::SetUp();
    pbRuntimeOptionsSetExecutor( options.handle(), post, this );
    pbRuntimeOptionsSetWorkers( options.handle(), 1 );
}

void RunsByHand::post( void *context, void ( *function )( void *argument ), void *argument )
{
    RunsByHand     *self = (RunsByHand *)context;
    std::lock_guard hold( self->lock );
    self->tickets.push_back( { function, argument } );
    if( self->posted )
        self->posted();
}

std::vector<RunsByHand::Ticket> RunsByHand::takeTickets()
{
    std::lock_guard hold( lock );
    return std::exchange( tickets, {} );
}

void RunsByHand::runAll()
{
    for( std::vector<Ticket> taken = takeTickets(); !taken.empty(); taken = takeTickets() )
    {
        for( const Ticket &ticket : taken )
            ticket.use();
    }
}

}
