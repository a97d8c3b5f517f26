// State machines of asynchronous objects: a table with one row a state, and the loop that runs it.
#pragma once

#include <pb/pb_base.h>
#include <pb/sort.hpp>

#include <initializer_list>
#include <string>

namespace cry
{

// One state: its name, its handler, which gives the state that follows, and the states that may.
template<class Object>
struct StateMachineState
{
    const char *name;
    PB_INT ( *handler )( Object *obj );
    uint64_t followers;

    constexpr StateMachineState( const char *stateName, PB_INT ( *stateHandler )( Object * ), std::initializer_list<PB_INT> mayFollow ) :
        name( stateName ), handler( stateHandler ), followers( 0 )
    {
        for( PB_INT follower : mayFollow )
            followers |= uint64_t{ 1 } << follower;
    }
};

// Runs from `state` on until a handler leaves it unchanged; staying is always allowed.
template<class Object, size_t count>
void runStateMachine( const StateMachineState<Object> ( &states )[count], PB_INT &state, Object *obj, pb::Site site = pb::Site::here() )
{
    static_assert( count <= 64 );
    for( ;; )
    {
        PB_INT next = states[state].handler( obj );
        if( next == state )
            return;
        PB_CHECK_AT( site, next >= 0 && next < (PB_INT)count && ( states[state].followers >> next & 1 ) );
        state = next;
    }
}

// The machine as a Mermaid diagram.
template<class Object, size_t count>
std::string stateMachineDiagram( const StateMachineState<Object> ( &states )[count] )
{
    std::string text = "stateDiagram-v2\n";
    for( const StateMachineState<Object> &from : states )
    {
        for( size_t to = 0; to < count; to++ )
        {
            if( from.followers >> to & 1 )
                text += "    " + std::string( from.name ) + " --> " + states[to].name + "\n";
        }
    }
    return text;
}

}
