// State machines of asynchronous objects: a table with one row for each state, and the loop that
// runs it.
#pragma once

#include <pb/pb_base.h>
#include <pb/sort.hpp>

#include <initializer_list>
#include <string>

namespace cry
{

// Step: the result of a handler: the next state, and result bits.
struct Step
{
    PB_INT next;
    PB_INT result;

    constexpr Step( PB_INT nextState, PB_INT resultBits = 0 ) : next( nextState ), result( resultBits ) {}
};

// StateRow: one state: its name, its handler and the states that may follow. The row of a terminal
// state has a name only.
template<class Object>
struct StateRow
{
    const char *name;
    Step ( *handler )( Object *obj );
    uint64_t followers;

    constexpr StateRow( const char *stateName ) : name( stateName ), handler( nullptr ), followers( 0 ) {}

    constexpr StateRow( const char *stateName, Step ( *stateHandler )( Object * ), std::initializer_list<PB_INT> mayFollow ) :
        name( stateName ), handler( stateHandler ), followers( 0 )
    {
        for( PB_INT follower : mayFollow )
            followers |= uint64_t{ 1 } << follower;
    }

    constexpr bool isTerminal() const { return !handler; }
    constexpr bool mayBeFollowedBy( PB_INT state ) const { return followers >> state & 1; }
};

// Runs from `state` until a handler does not change the state (which is always allowed) or the
// state is terminal. Gives the result bits of all handlers that ran, joined by OR.
template<class Object, size_t count>
PB_INT runStateMachine( const StateRow<Object> ( &states )[count], PB_INT &state, Object *obj, pb::Site site = pb::Site::here() )
{
    static_assert( count <= 64 );
    PB_CHECK_AT( site, state >= 0 && state < (PB_INT)count );
    PB_INT results = 0;
    while( !states[state].isTerminal() )
    {
        Step step = states[state].handler( obj );
        results |= step.result;
        if( step.next == state )
            break;
        PB_CHECK_AT( site, step.next >= 0 && step.next < (PB_INT)count && states[state].mayBeFollowedBy( step.next ) );
        state = step.next;
    }
    return results;
}

// The machine as a Mermaid diagram. The first row is the state in which it begins.
template<class Object, size_t count>
std::string stateMachineDiagram( const StateRow<Object> ( &states )[count] )
{
    std::string text = "stateDiagram-v2\n    [*] --> " + std::string( states[0].name ) + "\n";
    for( const StateRow<Object> &from : states )
    {
        std::string arrow = "    " + std::string( from.name ) + " --> ";
        for( size_t to = 0; to < count; to++ )
        {
            if( from.mayBeFollowedBy( (PB_INT)to ) )
                text += arrow + states[to].name + "\n";
        }
        if( from.isTerminal() )
            text += arrow + "[*]\n";
    }
    return text;
}

}
