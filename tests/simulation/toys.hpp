// What scenarios check of the objects that they make themselves.
#pragma once

#include <pb/locks.hpp>
#include <pb/pb.h>
#include <pb/sort.hpp>
#include <simulation/simulation.hpp>

#include "base/pb_thread_state.hpp"

namespace toys
{

using simulation::below;
using simulation::expect;

// What holds for every object: it is freed once, and outside every lock.
inline void expectMayBeFreed()
{
    expect( pb::threadState.heldLocks == 0, "an object is freed while its thread holds a lock" );
    expect( pb::threadState.frees, "an object is freed outside the one loop that frees" );
}

// Set when the shut-down hooks are called.
inline bool shutDown = false;

// What holds for the runs of one process.
struct Watch
{
    bool     runs      = false;
    bool     hasHalted = false; // the halt has returned
    unsigned wishes    = 0;     // written without order, before the process is scheduled
    unsigned seen      = 0;     // the wishes at the begin of the last run
    unsigned freed     = 0;

    void begin()
    {
        expect( !runs, "a process runs twice at a time" );
        expect( !hasHalted, "a run begins after the halt" );
        expect( !shutDown, "a run begins after the shut-down" );
        runs = true;
        seen = wishes;
    }
    void end()
    {
        expect( runs, "a run ends twice" );
        runs = false;
    }
    void free()
    {
        expectMayBeFreed();
        expect( !runs, "the object of a run is freed" );
        expect( freed++ == 0, "an object is freed twice" );
    }
};

}
