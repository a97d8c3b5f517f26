#include "output/key_facts.hpp"

#include "output/openssl_reason.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"

#include <cry/cry_hash.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <pb/ref.hpp>

namespace
{

std::string fingerprintOf( EVP_PKEY *key )
{
    std::string        der   = tool::derOf<EVP_PKEY>( key, i2d_PUBKEY );
    pb::Ref<PB_BUFFER> bytes = pb::adopt( pbBufferCreateFromBytes( der.data(), (PB_INT)der.size() ) );
    return der.empty() ? "" : tool::sha256Text( bytes.get() );
}

}

std::string tool::sha256Text( PB_BUFFER *bytes )
{
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, bytes ) );
    return digest ? withColons( digest.get() ) : "";
}

tool::KeyFacts::KeyFacts( EVP_PKEY *key )
{
    if( !key )
    {
        problem = opensslReason();
        if( problem.empty() )
            problem = "OpenSSL does not say why";
        return;
    }
    const char *name = EVP_PKEY_get0_type_name( key );
    type             = name ? name : "unknown";
    char   group[80];
    size_t length = 0;
    if( ( type == "EC" || type == "SM2" ) && EVP_PKEY_get_utf8_string_param( key, OSSL_PKEY_PARAM_GROUP_NAME, group, sizeof group, &length ) == 1 )
        curve = std::string( group, length );
    bits        = EVP_PKEY_get_bits( key );
    fingerprint = fingerprintOf( key );
    ERR_clear_error();
}

std::string tool::KeyFacts::text() const
{
    return problem.empty() ? type + ( curve.empty() || curve == type ? "" : " " + curve ) + ", " + std::to_string( bits ) + " bits" : "(unreadable)";
}

nlohmann::ordered_json tool::KeyFacts::json() const
{
    if( !problem.empty() )
        return { { "problem", problem } };
    nlohmann::ordered_json json{ { "type", type }, { "bits", bits } };
    if( !curve.empty() )
        json["curve"] = curve;
    if( !fingerprint.empty() )
        json["sha256"] = fingerprint;
    return json;
}

std::string tool::keyText( EVP_PKEY *key ) { return KeyFacts( key ).text(); }
