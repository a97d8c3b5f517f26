// Whether a trust token is good, and why not.
#pragma once

#include "input/trust_token.hpp"

#include <nlohmann/json.hpp>
#include <string>

namespace tool
{

class TokenVerdict
{
public:
    // `good` is the module's answer. If it is false, this finds out why. Throws InputError if
    // libcrypto does not have the digest, so that nothing is known.
    TokenVerdict( CRY_TRUST_TOKEN *tok, bool good );

    // Adds `verdict`, `reason`, `time`, `chain` and `token`.
    void addTo( nlohmann::ordered_json &json ) const;
    // For people; `path` is the file that the token is for.
    std::string text( const std::string &path ) const;
    // Why the token is not good; empty if it is.
    const std::string &reason() const { return why; }

private:
    pb::Ref<CRY_TRUST_TOKEN> token;
    WayToRoot                way;
    std::string              why;
};

}
