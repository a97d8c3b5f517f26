#include "support/json.hpp"

nlohmann::json support::parseJson( const std::string &text ) { return nlohmann::json::parse( text ); }
