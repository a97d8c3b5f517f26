// Everything that runs by itself, as the runtime starts and stops it.
#pragma once

#include <pb/containers.hpp>
#include <pb/pb_process.h>

namespace pb::concurrency
{

using Text = StdString<ProcessMemory>;
using Hook = void ( * )();

// Starts the threads. Empty, or why they cannot be started; then nothing is left.
Text start( PB_INT workers, PB_EXECUTOR executor, void *context );

// Stops everything. Each hook is called in its place: `halt` before anything ends, `fourth` when no
// thread is left, `shutdown` when nobody can use the modules any more.
void stop( Hook halt, Hook fourth, Hook shutdown );

}
