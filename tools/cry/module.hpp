// The module cry while a command works.
#pragma once

#include <pb/runtime.hpp>

namespace tool
{

// What every command starts the module with. One worker is enough for commands that have no runs
// which could share the work.
pb::Ref<PB_RUNTIME_OPTIONS> moduleOptions();

// Starts the module, and stops it at the end of its scope.
class Module
{
public:
    // Throws InputError if it cannot be started.
    explicit Module( PB_RUNTIME_OPTIONS *options );

private:
    pb::Runtime runtime;
};

}
