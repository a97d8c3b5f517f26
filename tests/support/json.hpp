// JSON for tests. The library is made of templates; what all of them need is compiled once, in
// json.cpp.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

extern template class nlohmann::basic_json<>;

namespace support
{

// The value that a text stands for; throws for what is not JSON.
nlohmann::json parseJson( const std::string &text );

}
