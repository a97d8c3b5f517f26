#include <cry/cry_x509_extended_key_usage.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_extended_key_usage.h>

#include "common/cry_enumeration.hpp"

#include <algorithm>
#include <iterator>

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_SMIME ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_CODE_SIGN ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_OCSP_SIGN ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_TIMESTAMP ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_DVCS ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_ANYEKU ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_MS_SGC ),
    CRY_NAMED( CRY_X509_EXTENDED_KEY_USAGE_NS_SGC ),
};

CRY_FLAGSET_DEFINE( X509ExtendedKeyUsage, names )

// The purposes by flag: purpose number n has the bit 1 << n.
static constexpr int purposes[] = { NID_server_auth, NID_client_auth, NID_email_protect, NID_code_sign, NID_OCSP_sign, NID_time_stamp, NID_dvcs,
    NID_anyExtendedKeyUsage, NID_ms_sgc, NID_ns_sgc };
static_assert( std::size( purposes ) == std::size( names ) );

CRY_X509_EXTENDED_KEY_USAGE cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage( const EXTENDED_KEY_USAGE *extusage )
{
    PB_CHECK( extusage );
    CRY_X509_EXTENDED_KEY_USAGE flags = 0;
    for( int index = 0; index < sk_ASN1_OBJECT_num( extusage ); index++ )
    {
        int    purpose = OBJ_obj2nid( sk_ASN1_OBJECT_value( extusage, index ) );
        size_t number  = (size_t)( std::find( std::begin( purposes ), std::end( purposes ), purpose ) - std::begin( purposes ) );
        if( number < std::size( names ) )
            flags |= names[number].value;
    }
    return flags;
}
