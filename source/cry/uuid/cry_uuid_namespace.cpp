#include <cry/cry_uuid.h>

static CRY_UUID *known( const char *text )
{
    CRY_UUID *uuid = cryUuidTryCreateFromStringCstr( text, -1 );
    PB_CHECK( uuid );
    return uuid;
}

CRY_UUID *cryUuidNamespaceDns() { return known( "6ba7b810-9dad-11d1-80b4-00c04fd430c8" ); }

CRY_UUID *cryUuidNamespaceUrl() { return known( "6ba7b811-9dad-11d1-80b4-00c04fd430c8" ); }

CRY_UUID *cryUuidNamespaceOid() { return known( "6ba7b812-9dad-11d1-80b4-00c04fd430c8" ); }

CRY_UUID *cryUuidNamespaceX500() { return known( "6ba7b814-9dad-11d1-80b4-00c04fd430c8" ); }
