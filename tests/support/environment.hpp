// The started libraries for white-box tests.
#pragma once

#include <gtest/gtest.h>

namespace support
{

// Starts the runtime with all modules; for tests that stopped it.
void startFamily();

}
