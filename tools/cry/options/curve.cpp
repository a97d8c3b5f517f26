#include "options/curve.hpp"

#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"
#include "text/spelling.hpp"

#include <cry/internal/cry_pkey.h>
#include <openssl/ec.h>

namespace
{

// The names that SEC 2 gives to curves which OpenSSL calls otherwise.
constexpr struct
{
    const char *secg, *usual;
} secgNames[] = { { "secp192r1", "prime192v1" }, { "secp256r1", "prime256v1" } };

}

std::string tool::shortNameOf( CRY_PKEY_EC_NAMED_CURVE curve ) { return take( cry___PkeyEcNamedCurveToOpensslSn( curve ) ); }

std::string tool::nistNameOf( CRY_PKEY_EC_NAMED_CURVE curve )
{
    const char *name = EC_curve_nid2nist( cry___PkeyEcNamedCurveToOpensslNid( curve ) );
    return name ? name : "";
}

std::string tool::curveDescription( const std::string &shortName )
{
    for( CRY_PKEY_EC_NAMED_CURVE curve = 0; CRY_PKEY_EC_NAMED_CURVE_OK( curve ); curve++ )
    {
        if( shortNameOf( curve ) != shortName )
            continue;
        std::string nist = nistNameOf( curve ), text = take( cryPkeyEcNamedCurveDisplayName( curve ) );
        return nist.empty() ? text : nist + ", " + text;
    }
    return "";
}

std::vector<std::string> tool::curveNames()
{
    std::vector<std::string> all;
    for( CRY_PKEY_EC_NAMED_CURVE curve = 0; CRY_PKEY_EC_NAMED_CURVE_OK( curve ); curve++ )
    {
        std::string nist = nistNameOf( curve );
        all.push_back( nist.empty() ? shortNameOf( curve ) : nist );
    }
    return all;
}

CRY_PKEY_EC_NAMED_CURVE tool::curveOf( const std::string &name, const std::string &option )
{
    for( CRY_PKEY_EC_NAMED_CURVE curve = 0; CRY_PKEY_EC_NAMED_CURVE_OK( curve ); curve++ )
    {
        std::string usual = shortNameOf( curve ), nist = nistNameOf( curve );
        if( isSameName( name, usual ) || isSameName( name, take( cryPkeyEcNamedCurveToString( curve ) ) ) )
            return curve;
        if( !nist.empty() && ( isSameName( name, nist ) || isSameName( name, "nist" + nist ) ) )
            return curve;
        for( auto &each : secgNames )
        {
            if( usual == each.usual && isSameName( name, each.secg ) )
                return curve;
        }
    }
    throw InputError( option + ": " + shown( name ) + " is not a curve; 'cry key curves' lists them" );
}
