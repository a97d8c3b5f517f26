// For the tests of generated certificates and requests: names, and the results of plain OpenSSL for
// the same names.
#pragma once

#include "cry/x509/requests.hpp"
#include "support/key_decoding.hpp"
#include "support/signatures.hpp"

#include <cry/cry_uuid.h>
#include <cry/internal/cry_generate_certificate.h>
#include <cry/internal/cry_x509_certificate.h>

#include <optional>

namespace support
{

using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;
using Name        = std::optional<std::string>; // no value: a null pointer

inline pb::Ref<PB_STRING> str( const Name &name ) { return name ? str( std::string_view( *name ) ) : pb::Ref<PB_STRING>(); }

// The common name of a name, as UTF-8. The test fails if the name has another attribute.
inline std::string commonNameOf( const X509_NAME *name )
{
    EXPECT_EQ( X509_NAME_entry_count( name ), 1 );
    X509_NAME_ENTRY *entry = X509_NAME_get_entry( name, 0 );
    EXPECT_EQ( OBJ_obj2nid( X509_NAME_ENTRY_get_object( entry ) ), NID_commonName );
    unsigned char *utf8   = nullptr;
    int            length = ASN1_STRING_to_UTF8( &utf8, X509_NAME_ENTRY_get_data( entry ) );
    std::string    out( (const char *)utf8, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( utf8 );
    return out;
}

// The content of the one subject alternative name as "DNS:a.example", "(none)" without the
// extension.
inline std::string alternativeNamesOf( const STACK_OF( X509_EXTENSION ) * extensions )
{
    int            critical = 0;
    GENERAL_NAMES *names    = (GENERAL_NAMES *)X509V3_get_d2i( extensions, NID_subject_alt_name, &critical, nullptr );
    if( !names )
    {
        EXPECT_EQ( critical, -1 );
        return "(none)";
    }
    EXPECT_EQ( critical, 0 );
    std::string out;
    for( int index = 0; index < sk_GENERAL_NAME_num( names ); index++ )
    {
        int                type  = 0;
        const ASN1_STRING *value = (const ASN1_STRING *)GENERAL_NAME_get0_value( sk_GENERAL_NAME_value( names, index ), &type );
        EXPECT_EQ( type, GEN_DNS );
        out += ( index ? ", DNS:" : "DNS:" ) + std::string( (const char *)ASN1_STRING_get0_data( value ), (size_t)ASN1_STRING_length( value ) );
    }
    GENERAL_NAMES_free( names );
    return out;
}

// Whether a text has the form of a UUID.
inline bool isUuid( const std::string &text )
{
    if( text.size() != 36 )
        return false;
    for( size_t at = 0; at < text.size(); at++ )
    {
        bool separator = at == 8 || at == 13 || at == 18 || at == 23;
        if( separator ? text[at] != '-' : !isxdigit( (unsigned char)text[at] ) )
            return false;
    }
    return true;
}

// Domain names with their ASCII form.
struct DomainName
{
    const char *name;
    const char *ascii;
};
inline constexpr DomainName goodDomainNames[] = {
    { "host.example", "host.example" },
    { "localhost", "localhost" },
    { "Host.EXAMPLE", "Host.EXAMPLE" },
    { "host.example.", "host.example" },
    { "*.example", "*.example" },
    { "_sip._tcp.example", "_sip._tcp.example" },
    { "b\xC3\xBC"
      "cher.example",
        "xn--bcher-kva.example" },
    { "xn--bcher-kva.example", "xn--bcher-kva.example" },
    { "fa\xC3\x9F.de", "xn--fa-hia.de" },
    { "\xE4\xBE\x8B\xE3\x81\x88\xE3\x80\x82\xE3\x83\x86\xE3\x82\xB9\xE3\x83\x88", "xn--r8jz45g.xn--zckzah" },
    { "1.2.3.4.example", "1.2.3.4.example" },
};

// Texts that are not domain names. Some of them have a special meaning in OpenSSL's text form of
// extensions.
inline const std::string badDomainNames[] = { "", ".", "..", ".example", "a..example", "a.example..", "192.0.2.1", "192.0.2.1.", "2001:db8::1", "::1",
    "[::1]", "::ffff:192.0.2.1", "a.example,DNS:b.example", "a.example,b.example", "a.example, DNS:b.example", ",", "a.example,",
    "a.example,IP:192.0.2.1", "a.example,email:copy", "a.example,othername:1.2.3.4;UTF8:x", "DNS:a.example", "IP:192.0.2.1", "URI:http://a.example",
    "email:copy", "dirName:section", "critical,DNS:a.example", "@section", "DER:3000", "ASN1:UTF8:x", "a.example:443", "http://a.example",
    "a.example/x", "a/b", "a b.example", " a.example", "a.example ", "a.example\t", "a.example\n", "\na.example", "a.example\nDNS:b.example",
    "a.example\r\n", "a\1.example", "\x7F.example", "\"a.example\"", "'a.example'", "a.example\"", "a;b.example", "a=b.example", "a\\b.example",
    "a\\,b.example", "a#b.example", "a%00b.example", "a+b.example", "user@example", std::string( "a.example\0", 10 ),
    std::string( "a.example\0.b.example", 20 ), std::string( "\0", 1 ), std::string( "a.example\0,DNS:b.example", 24 ), "-a.example", "a-.example",
    "xn--a.example", "xn--.example", "\xE2\x80\x8B.example", "a\xEF\xBF\xBD.example",
    "a\xC2\xA0"
    "b.example",
    "\xEF\xBC\x91\xEF\xBC\x99\xEF\xBC\x92\xEF\xBC\x8E\xEF\xBC\x90\xEF\xBC\x8E\xEF\xBC\x92\xEF\xBC\x8E\xEF\xBC\x91" };

// A domain name of labels of 63 letters and one that fills it up to a length.
inline std::string domainNameOf( size_t length )
{
    std::string name;
    while( length > 63 )
    {
        size_t label = length - 64 ? 63 : 62;
        name += std::string( label, (char)( 'a' + name.size() / 64 ) ) + ".";
        length -= label + 1;
    }
    return name + std::string( length, 'z' );
}

}
