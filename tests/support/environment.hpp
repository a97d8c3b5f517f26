// The started libraries for white-box tests.
#pragma once

#include <gtest/gtest.h>
#include <string>

namespace support
{

// Starts the runtime with all modules; for tests that stopped it. The state directory is not made;
// empty means that there is none.
void startFamily( const std::string &stateDirectory = {} );

}
