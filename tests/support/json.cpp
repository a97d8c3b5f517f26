#include "support/json.hpp"

template class nlohmann::basic_json<>;

nlohmann::json support::parseJson( const std::string &text ) { return nlohmann::json::parse( text ); }
