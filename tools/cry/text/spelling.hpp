// Names of algorithms and curves, which people spell in several ways.
#pragma once

#include <string_view>

namespace tool
{

// Whether two names differ in nothing but case and in what stands between their parts: a hyphen, a
// low line, a blank or nothing. Between two digits something must stand in both or in neither.
bool isSameName( std::string_view a, std::string_view b );

}
