// How scenarios are played: many seeds each, the runtime's services started around each one.
#pragma once

#include <functional>
#include <gtest/gtest.h>

// Plays the scenario with many seeds; a failure tells the seed. CRY_SCENARIOS gives the number for
// all kinds together, of which this kind gets so many percent; CRY_SEED plays one seed only. Each
// kind has seeds of its own.
void play( unsigned kind, unsigned percent, const std::function<void()> &scenario );

// Stops the services of the base library inside a scenario.
void stopToys();
