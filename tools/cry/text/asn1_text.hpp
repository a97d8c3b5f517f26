// Values of ASN.1 as text that loses nothing.
#pragma once

#include <openssl/x509.h>
#include <string>

namespace tool
{

// The DER of an object of OpenSSL, by its function for that; empty if it cannot be encoded.
template<class Object>
std::string derOf( const Object *object, int ( *encode )( const Object *, unsigned char ** ) )
{
    unsigned char *der    = nullptr;
    int            length = encode( object, &der );
    std::string    bytes( (const char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    return bytes;
}

// "1.2.840.113549".
std::string oidText( const ASN1_OBJECT *oid );

// OpenSSL's long name of an object; the same digits if it has none.
std::string longNameOf( const ASN1_OBJECT *oid );

// A time in UTC, "2026-01-31T12:00:00Z"; "(unreadable)" if it is none.
std::string timeText( const ASN1_TIME *time );

// A distinguished name as the module writes it, as RFC 4514 does but with a blank behind each
// comma. If it has no such text, "#" and its DER in hexadecimal digits.
std::string nameText( const X509_NAME *name );

// An octet string, or another string of ASN.1, as hexadecimal digits.
std::string hexText( const ASN1_STRING *string );

}
