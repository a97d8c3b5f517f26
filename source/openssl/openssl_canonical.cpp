#include <openssl_module/internal/openssl_module.h>
#include <pb/sort.hpp>

PB_BOOL openssl___IsCanonicalCertificate( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return PB_FALSE;
}

PB_BOOL openssl___IsCanonicalPrivateKey( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return PB_FALSE;
}
