// The state machine of validators, for its diagram.
#pragma once

#include <string>

namespace cry::x509
{

std::string validatorStateMachineDiagram();

}
