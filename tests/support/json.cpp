#include "support/json.hpp"

nlohmann::json support::parseJson( const std::string &text ) { return nlohmann::json::parse( text ); }

std::string support::indentedJson( const std::string &text ) { return nlohmann::ordered_json::parse( text ).dump( 2 ); }
