// A correct module. It counts its hooks.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_plainModule( void );
// The number of its starts, halts and shut-downs.
extern "C" PB_EXPORT PB_INT frame_plainCalls[3];
PB_INT                      frame_plainCalls[3];

static PB_BOOL startup()
{
    frame_plainCalls[0]++;
    return PB_TRUE;
}

static void halt() { frame_plainCalls[1]++; }

static void shutdown() { frame_plainCalls[2]++; }

PB_MODULE_DEFINE( frame_plain, "Plain", "1.5", "pb", startup, halt, shutdown )
