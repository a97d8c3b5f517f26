// What a trust token says, for people and for JSON.
#pragma once

#include <cry/cry_trust_token.h>

#include <nlohmann/json.hpp>
#include <string>

namespace tool
{

nlohmann::ordered_json tokenJson( CRY_TRUST_TOKEN *tok );
std::string            tokenText( CRY_TRUST_TOKEN *tok );

}
