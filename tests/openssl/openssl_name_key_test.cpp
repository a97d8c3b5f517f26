#include <openssl_module/internal/openssl_module.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>

using namespace support;

namespace
{

constexpr PB_INT unknown = -1;

PB_INT keyOf( const Cert &cert )
{
    std::string bytes = der( cert );
    PB_INT      key = unknown, ofName = unknown;
    PB_BOOL     known = openssl___TrySubjectKey( (const PB_BYTE *)bytes.data(), (PB_INT)bytes.size(), &key );
    EXPECT_EQ( openssl___TryNameKey( X509_get_subject_name( cert.get() ), &ofName ), known );
    EXPECT_EQ( ofName, key );
    return known ? key : unknown;
}

Cert named( const std::string &subject, int type = V_ASN1_UTF8STRING )
{
    return makeCertificate( { .subject = subject, .subjectKey = key( KeyKind::ed25519 ), .nameType = type } );
}

}

TEST( OpensslNameKey, IsEqualIfOpensslHoldsTheNamesEqual )
{
    std::vector<Cert> certs;
    for( const char *subject : { "CN=Example Root", "CN=EXAMPLE rOOT", "CN=  Example    Root ", "CN=Example\tRoot", "CN=Example Roo",
             "O=Example Root", "O=Example/CN=Root", "CN=Root/O=Example", "O=EXAMPLE/CN= root", "", "CN=Example Root/CN=Example Root" } )
        for( int type : { V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING, V_ASN1_IA5STRING, V_ASN1_NUMERICSTRING } )
            certs.push_back( named( subject, type ) );
    // Texts that OpenSSL converts.
    for( const char *subject : { "CN=Example Root", "CN=EXAMPLE rOOT", "CN=Root/O=Example" } )
        certs.push_back( named( subject, V_ASN1_T61STRING ) );
    certs.push_back( named( std::string( "CN=\0R\0o\0o\0t/O=\0E\0x\0a\0m\0p\0l\0e", 28 ), V_ASN1_BMPSTRING ) );
    certs.push_back( named( std::string( "CN=\0\0\0R\0\0\0o\0\0\0o\0\0\0t", 19 ), V_ASN1_UNIVERSALSTRING ) );
    certs.push_back( named( "CN=root" ) );
    certs.push_back( named( "CN=J\xF6rg", V_ASN1_IA5STRING ) );
    certs.push_back( named( "CN=J\xF6rg", V_ASN1_T61STRING ) );
    certs.push_back( named( "CN=J\xC3\xB6rg" ) );
    certs.push_back( named( "CN=j\xC3\xB6RG" ) );
    certs.push_back( named( "CN=J\xC3\x96rg" ) );
    int equal = 0, differ = 0;
    for( const Cert &a : certs )
        for( const Cert &b : certs )
        {
            PB_INT keyA = keyOf( a ), keyB = keyOf( b );
            EXPECT_NE( keyA, unknown );
            if( X509_NAME_cmp( X509_get_subject_name( a.get() ), X509_get_subject_name( b.get() ) ) == 0 )
                EXPECT_EQ( keyA, keyB ) << der( a ) << der( b );
            equal += X509_NAME_cmp( X509_get_subject_name( a.get() ), X509_get_subject_name( b.get() ) ) == 0;
            differ += keyA != keyB;
        }
    EXPECT_GT( equal, 200 );
    EXPECT_GT( differ, 1500 );
}

// OpenSSL clears the unused bits of a BIT STRING, so these two names are equal to it.
TEST( OpensslNameKey, IsNotKnownForAValueThatIsNoText )
{
    for( std::string_view bits : { std::string_view( "\x07\x80", 2 ), std::string_view( "\x07\x81", 2 ) } )
    {
        std::string          entry = "\x06\x03\x55\x04\x2D\x03\x02" + std::string( bits );
        std::string          name  = "\x30\x0D\x31\x0B\x30\x09" + entry;
        const unsigned char *at    = (const unsigned char *)name.data();
        X509_NAME           *read  = d2i_X509_NAME( nullptr, &at, (long)name.size() );
        PB_INT               key;
        ASSERT_TRUE( read );
        EXPECT_FALSE( openssl___TryNameKey( read, &key ) );
        X509_NAME_free( read );
    }
}

TEST( OpensslNameKey, IsNotKnownForOtherBytes )
{
    PB_INT key;
    for( std::string bytes : { "", "\x30", "\x30\x02\x05", "no certificate" } )
        EXPECT_FALSE( openssl___TrySubjectKey( (const PB_BYTE *)bytes.data(), (PB_INT)bytes.size(), &key ) );
}

TEST( OpensslNameKey, EveryCutCertificateHasNoKeyOrOne )
{
    std::string bytes = der( chainOf( KeyKind::p256 ).leaf );
    PB_INT      key;
    for( size_t length = 0; length < bytes.size(); length++ )
    {
        // A copy, so that the sanitizer sees each byte that is read behind it.
        auto cut = std::make_unique<PB_BYTE[]>( length );
        std::copy_n( bytes.begin(), length, cut.get() );
        EXPECT_FALSE( openssl___TrySubjectKey( cut.get(), (PB_INT)length, &key ) ) << length;
    }
}
