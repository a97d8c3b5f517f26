#include "options/curve.hpp"

#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_pkey.h>
#include <openssl/ec.h>

std::string tool::shortNameOf( CRY_PKEY_EC_NAMED_CURVE curve ) { return take( cry___PkeyEcNamedCurveToOpensslSn( curve ) ); }

std::string tool::nistNameOf( CRY_PKEY_EC_NAMED_CURVE curve )
{
    const char *name = EC_curve_nid2nist( cry___PkeyEcNamedCurveToOpensslNid( curve ) );
    return name ? name : "";
}

CRY_PKEY_EC_NAMED_CURVE tool::curveOf( const std::string &name, const std::string &option )
{
    for( CRY_PKEY_EC_NAMED_CURVE curve = 0; CRY_PKEY_EC_NAMED_CURVE_OK( curve ); curve++ )
    {
        std::string nist = nistNameOf( curve );
        if( lowerCase( name ) == lowerCase( shortNameOf( curve ) ) || ( !nist.empty() && lowerCase( name ) == lowerCase( nist ) ) ||
            name == take( cryPkeyEcNamedCurveToString( curve ) ) )
            return curve;
    }
    throw InputError( option + ": " + shown( name ) + " is not a curve; 'cry key curves' lists them" );
}
