#include "output/token_verdict.hpp"

#include "input/file.hpp"
#include "options/algorithm.hpp"
#include "output/certificate_facts.hpp"
#include "output/print.hpp"
#include "output/token_facts.hpp"

#include <cry/cry_hash.h>

tool::TokenVerdict::TokenVerdict( CRY_TRUST_TOKEN *tok, bool good ) : token( pb::share( tok ) ), way( tok )
{
    if( good )
        return;
    // The order of the module.
    if( !way.problem.empty() )
        why = way.problem;
    else if( !cryTrustTokenHasSignature( tok ) )
        why = "the token has no signature";
    else if( !pb::adopt( cryHashTryCreate( cryTrustTokenHashAlgorithm( tok ) ) ) )
        throw algorithmMissing();
    else
        why = "the signature is not that of the token and this data";
}

void tool::TokenVerdict::addTo( nlohmann::ordered_json &json ) const
{
    json["verdict"] = why.empty() ? "good" : "bad";
    if( !why.empty() )
        json["reason"] = why;
    json["time"] = way.time;
    if( why.empty() )
        json["chain"] = factsJson( way.chain );
    json["token"] = tokenJson( token.get() );
}

std::string tool::TokenVerdict::text( const std::string &path ) const
{
    if( !why.empty() )
        return red( "bad" ) + ": " + why + "\n";
    std::string text = green( "good" ) + ": the token is for " + nameOf( path ) + ", and its certificate leads to the built-in root at " + way.time +
        "\n";
    if( way.chain.empty() ) // it has expired since the module looked
        return text;
    return text + "signer       " + nameOrNone( Facts( way.chain.front().get() ).subject ) + "\nroot         " +
        nameOrNone( Facts( way.chain.back().get() ).subject ) + ( isDevelopmentRoot() ? "  (a development root)" : "" ) + "\n";
}
