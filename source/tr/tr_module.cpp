#include <pb/module.hpp>
#include <tr/tr.h>

#include "tr_sinks.hpp"

static PB_BOOL startup()
{
    tr::openSinks();
    return PB_TRUE;
}

// Runs that finish after the halt, and the shut-down of the other modules, still trace. So the
// sinks stay attached until this module's own shut-down.
PB_MODULE_DEFINE( tr, "Trace", "0.2", "pb", startup, tr::flushSinks, tr::closeSinks )
