// The module's start-up list.
#pragma once

#include <span>

namespace cry
{

struct ModuleWide
{
    void ( *startup )();
    void ( *shutdown )();
};

// In the order of start-up; shut-down walks it backwards.
std::span<const ModuleWide> moduleWides();

}
