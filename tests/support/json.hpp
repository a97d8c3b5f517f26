// JSON for tests. The parser consists of templates. They are compiled once, in json.cpp.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace support
{

// The value of a JSON text; throws if the text is not JSON.
nlohmann::json parseJson( const std::string &text );

// The same value as indented text, with the members of objects in their order.
std::string indentedJson( const std::string &text );

}
