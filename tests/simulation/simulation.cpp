#include "simulation/simulation.hpp"

#include "support/sanitizers.hpp"

#include <map>
#include <memory>
#include <sys/mman.h>
#include <ucontext.h>
#include <vector>

#include "base/pb_thread_state.hpp"

#if WITH_ADDRESS_SANITIZER
#include <sanitizer/common_interface_defs.h>
#define SIMULATION_ASAN 1
#endif

namespace simulation
{

namespace
{

constexpr size_t stackSize = 128 * 1024;

constexpr unsigned maxSteps = 1000000; // a scenario needs a few thousand

struct Fiber
{
    ucontext_t            context;
    std::function<void()> function;
    pb::ThreadState       threadState{};
    const void           *blockedOn     = nullptr;
    bool                  ended         = false;
    int                   internalLocks = 0;
    unsigned              number        = 0;
    void                 *stack         = nullptr;
#ifdef SIMULATION_ASAN
    void *fakeStack = nullptr;
#endif
};

struct World
{
    Random                              random;
    std::vector<std::unique_ptr<Fiber>> fibers;
    std::vector<Fiber *>                ready; // neither blocked nor ended
    Fiber                              *current = nullptr;
    Fiber                              *resting = nullptr; // goes on when all others are blocked or have ended
    unsigned                            calm;              // one switch point of so many lets another fiber go on
    std::string                         failure;
    unsigned                            quiet = 0; // objects of Quiet
    unsigned                            steps = 0; // switch points so far
    ucontext_t                          outside;

    std::function<void( const void * )>                       onTrigger;
    std::map<std::pair<const void *, const void *>, unsigned> triggers;

    explicit World( uint64_t seed ) : random( seed ), calm( 1 + random.below( 4 ) ) {}
};

World              *world;
std::vector<void *> freeStacks;

#ifdef SIMULATION_ASAN
void       *outsideFakeStack;
const void *outsideBottom;
size_t      outsideSize;
#endif

void *takeStack()
{
    if( freeStacks.empty() )
        return mmap( nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
    void *stack = freeStacks.back();
    freeStacks.pop_back();
    return stack;
}

// Goes on with another fiber; null leaves the world.
void goOnWith( Fiber *next )
{
    Fiber *from          = world->current;
    from->threadState    = pb::threadState;
    unsigned    liveCell = pb::threadState.liveCellPlus;
    ucontext_t *target   = &world->outside;
    world->current       = next;
    if( next )
    {
        pb::threadState = next->threadState;
        target          = &next->context;
        // The cell of the live count belongs to the thread.
        pb::threadState.liveCellPlus = liveCell;
    }
#ifdef SIMULATION_ASAN
    __sanitizer_start_switch_fiber(
        next || !from->ended ? &from->fakeStack : nullptr, next ? next->stack : outsideBottom, next ? stackSize : outsideSize );
#endif
    swapcontext( &from->context, target );
#ifdef SIMULATION_ASAN
    __sanitizer_finish_switch_fiber( from->fakeStack, nullptr, nullptr );
#endif
}

void fail( std::string text )
{
    if( world->failure.empty() )
        world->failure = std::move( text );
    goOnWith( nullptr );
    __builtin_unreachable();
}

// The current fiber cannot go on, or has ended.
void goOnWithAny()
{
    if( world->ready.empty() && world->resting )
        world->ready.push_back( std::exchange( world->resting, nullptr ) );
    if( world->ready.empty() )
    {
        std::string blocked;
        for( auto &fiber : world->fibers )
        {
            if( !fiber->ended )
                blocked += " " + std::to_string( fiber->number );
        }
        if( !blocked.empty() )
            fail( "all fibers that are left are blocked:" + blocked );
        goOnWith( nullptr );
        return;
    }
    goOnWith( world->ready[world->random.below( (unsigned)world->ready.size() )] );
}

void removeReady( Fiber *fiber )
{
    for( Fiber *&each : world->ready )
    {
        if( each == fiber )
        {
            each = world->ready.back();
            world->ready.pop_back();
            return;
        }
    }
}

void enter()
{
#ifdef SIMULATION_ASAN
    __sanitizer_finish_switch_fiber( nullptr, outsideBottom ? nullptr : &outsideBottom, outsideBottom ? nullptr : &outsideSize );
#endif
    Fiber *self = world->current;
    self->function();
    if( self->internalLocks || pb::threadState.heldLocks || pb::threadState.runs )
        fail( "a fiber ends in a lock or in a run" );
    self->ended = true;
    removeReady( self );
    wake( self );
    goOnWithAny();
}

}

void run( uint64_t seed, const std::function<void()> &main )
{
    World now( seed );
    world = &now;
    spawn( main );
    Fiber          *first        = now.fibers.front().get();
    pb::ThreadState outside      = pb::threadState;
    now.current                  = first;
    unsigned liveCell            = outside.liveCellPlus;
    pb::threadState              = first->threadState;
    pb::threadState.liveCellPlus = liveCell;
#ifdef SIMULATION_ASAN
    outsideBottom = nullptr;
    __sanitizer_start_switch_fiber( &outsideFakeStack, first->stack, stackSize );
#endif
    swapcontext( &now.outside, &first->context );
#ifdef SIMULATION_ASAN
    __sanitizer_finish_switch_fiber( outsideFakeStack, nullptr, nullptr );
#endif
    liveCell                     = pb::threadState.liveCellPlus;
    pb::threadState              = outside;
    pb::threadState.liveCellPlus = liveCell;
    for( auto &fiber : now.fibers )
    {
        // What a failed scenario leaves on its stacks is lost.
        if( fiber->ended || now.failure.empty() )
            freeStacks.push_back( fiber->stack );
    }
    world = nullptr;
    if( !now.failure.empty() )
        throw Failure{ now.failure };
}

unsigned spawn( std::function<void()> function )
{
    auto fiber      = std::make_unique<Fiber>();
    fiber->function = std::move( function );
    fiber->number   = (unsigned)world->fibers.size();
    fiber->stack    = takeStack();
    getcontext( &fiber->context );
    fiber->context.uc_stack.ss_sp   = fiber->stack;
    fiber->context.uc_stack.ss_size = stackSize;
    fiber->context.uc_link          = nullptr;
    makecontext( &fiber->context, enter, 0 );
    world->ready.push_back( fiber.get() );
    world->fibers.push_back( std::move( fiber ) );
    return world->fibers.back()->number;
}

void join( unsigned number )
{
    Fiber *fiber = world->fibers[number].get();
    while( !fiber->ended )
        block( fiber );
}

void rest()
{
    Fiber *self    = world->current;
    world->resting = self;
    removeReady( self );
    goOnWithAny();
}

void expect( bool condition, const char *text )
{
    if( !condition )
        fail( text );
}

Quiet::Quiet() { world->quiet++; }
Quiet::~Quiet() { world->quiet--; }

unsigned below( unsigned limit ) { return world->random.below( limit ); }

void onTrigger( std::function<void( const void * )> function ) { world->onTrigger = std::move( function ); }

unsigned triggers( const void *signal, const void *obj )
{
    auto found = world->triggers.find( { signal, obj } );
    return found == world->triggers.end() ? 0 : found->second;
}

// Outside a world there is one thread only.
void switchPoint()
{
    if( !world || !world->current || world->quiet )
        return;
    if( ++world->steps > maxSteps )
        fail( "a scenario does not come to its end" );
    if( world->random.below( world->calm ) )
        return;
    Fiber *next = world->ready[world->random.below( (unsigned)world->ready.size() )];
    if( next != world->current )
        goOnWith( next );
}

void block( const void *cause )
{
    if( !world )
        return;
    Fiber *self     = world->current;
    self->blockedOn = cause;
    removeReady( self );
    goOnWithAny();
}

void wake( const void *cause )
{
    if( !world )
        return;
    for( auto &fiber : world->fibers )
    {
        if( fiber->blockedOn == cause )
        {
            fiber->blockedOn = nullptr;
            world->ready.push_back( fiber.get() );
        }
    }
}

bool chance( unsigned oneOf ) { return !world || world->random.below( oneOf ) == 0; }

uintptr_t currentFiber() { return world && world->current ? world->current->number + 1 : ~uintptr_t{ 0 }; }

void changeInternalLocks( int change )
{
    if( world && world->current )
        world->current->internalLocks += change;
}

void checkMayFree()
{
    if( world && world->current )
        expect( world->current->internalLocks == 0, "the last reference is released while an internal lock is held" );
}

void noteTrigger( const void *signal, const void *obj )
{
    if( !world )
        return;
    world->triggers[{ signal, obj }]++;
    if( world->onTrigger )
        world->onTrigger( obj );
}

}
