// The module cry while a command works.
#pragma once

#include <pb/runtime.hpp>

namespace tool
{

// What every command starts the module with. No command has runs that could share the work, so one
// worker is enough.
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
