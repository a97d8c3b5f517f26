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

// In the order of start-up; shut-down uses the reverse order.
std::span<const ModuleGlobal> moduleGlobals();

}
