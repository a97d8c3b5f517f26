// The word that was probably meant.
#pragma once

#include <string>
#include <vector>

namespace tool
{

// The one of these words that is most like a word; empty if none is like it. Case does not matter.
std::string nearest( const std::string &word, const std::vector<std::string> &words );

}
