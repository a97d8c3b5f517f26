// The reasons that OpenSSL gives.
#pragma once

#include <string>

namespace tool
{

// The reason that OpenSSL gave first, which is the innermost; empty if it gave none. The queue is
// empty afterwards.
std::string opensslReason();
// The same in brackets, after a blank.
std::string opensslReasonInBrackets();

}
