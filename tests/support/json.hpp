// JSON for tests. The parser is made of templates, which are compiled once, in json.cpp.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace support
{

// The value that a text stands for; throws for what is not JSON.
nlohmann::json parseJson( const std::string &text );

}
