// The module's start-up list.
#pragma once

#include <span>

namespace cry
{

struct ModuleGlobal
{
    void ( *startup )();
    void ( *shutdown )();
};

// In the order of start-up; shut-down walks it backwards.
std::span<const ModuleGlobal> moduleGlobals();

}
