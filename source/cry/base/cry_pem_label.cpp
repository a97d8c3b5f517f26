#include "base/cry_pem_lines.hpp"

#include <cry/cry_pem.h>

PB_BOOL cryPemLabelOk( PB_STRING *label )
{
    PB_CHECK( label );
    PB_INT      length;
    const char *text = pbStringPeekUtf8( label, &length );
    return cry::pem::labelOk( { text, (size_t)length } );
}

pb::Ref<PB_STRING> cry::pem::labelString( std::string_view label )
{
    // Made at the first use and kept for the life of the process.
    static PB_STRING *const common[] = {
        pb___StringCreateImmortal( "CERTIFICATE" ),
        pb___StringCreateImmortal( "PRIVATE KEY" ),
        pb___StringCreateImmortal( "PUBLIC KEY" ),
        pb___StringCreateImmortal( "X509 CRL" ),
        pb___StringCreateImmortal( "CERTIFICATE REQUEST" ),
    };
    for( PB_STRING *each : common )
    {
        if( pbStringEqualsCstr( each, label.data(), (PB_INT)label.size() ) )
            return pb::share( each );
    }
    return pb::adopt( pbStringCreateFromCstr( label.data(), (PB_INT)label.size() ) );
}
