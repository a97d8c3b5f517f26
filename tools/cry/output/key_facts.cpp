#include "output/key_facts.hpp"

#include "options/curve.hpp"
#include "text/convert.hpp"

#include <cry/cry_hash.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <pb/ref.hpp>

std::string tool::keyText( EVP_PKEY *key )
{
    if( !key )
    {
        ERR_clear_error();
        return "(unreadable)";
    }
    const char *type = EVP_PKEY_get0_type_name( key );
    std::string text = type ? type : "unknown";
    char        group[80];
    size_t      length = 0;
    if( EVP_PKEY_is_a( key, "EC" ) && EVP_PKEY_get_utf8_string_param( key, OSSL_PKEY_PARAM_GROUP_NAME, group, sizeof group, &length ) == 1 )
        text += " " + std::string( group, length );
    ERR_clear_error();
    return text + ", " + std::to_string( EVP_PKEY_get_bits( key ) ) + " bits";
}

tool::KeyFacts::KeyFacts( CRY_PKEY_PUBLIC *key, EVP_PKEY *pkey )
{
    pb::Ref<CRY_PKEY_INFO> info = pb::adopt( cryPkeyPublicInfo( key ) );
    const char            *name = EVP_PKEY_get0_type_name( pkey );
    type                        = name ? name : "unknown";
    bits                        = cryPkeyInfoBits( info.get() );
    if( cryPkeyInfoHasEcNamedCurve( info.get() ) )
    {
        PB_INT value = cryPkeyInfoEcNamedCurve( info.get() );
        curve        = shortNameOf( value );
        description  = take( cryPkeyEcNamedCurveDisplayName( value ) );
        if( std::string nist = nistNameOf( value ); !nist.empty() )
            description = nist + ", " + description;
    }
    pb::Ref<CRY_PEM>   pem    = pb::adopt( cryPkeyPublicPem( key ) );
    pb::Ref<PB_BUFFER> der    = pb::adopt( cryPemData( pem.get() ) );
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, der.get() ) );
    fingerprint               = digest ? withColons( digest.get() ) : "";
}

void tool::KeyFacts::addTo( nlohmann::ordered_json &json ) const
{
    json["type"] = type;
    json["bits"] = bits;
    if( !curve.empty() )
        json["curve"] = curve;
    json["sha256"] = fingerprint;
}
