// What the programs of pairs have in common.
#pragma once

#include <functional>
#include <string>

namespace bench
{

// Starts the runtime, registers the pairs and runs those that the arguments ask for. Gives the exit
// code. The runtime's state directory is given to `registerAll`, and removed at the end.
int runProgram( int argc, char **argv, const std::function<void( const std::string &directory )> &registerAll );

}
