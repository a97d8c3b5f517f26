// The state machine of stacks, for its diagram.
#pragma once

#include <string>

namespace cry::x509
{

std::string stackStateMachineDiagram();

}
