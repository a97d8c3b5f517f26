// Key usage, extended key usage and Netscape certificate type from and to OpenSSL's forms.
#include <cry/internal/cry_x509_extended_key_usage.h>
#include <cry/internal/cry_x509_key_usage.h>
#include <cry/internal/cry_x509_netscape_cert_type.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/x509v3.h>

using namespace support;

namespace
{

using Bits = std::unique_ptr<ASN1_BIT_STRING, decltype( &ASN1_BIT_STRING_free )>;

// Bit number n of `bits` is bit number n of the bit string.
Bits bitString( unsigned bits )
{
    Bits string( ASN1_BIT_STRING_new(), ASN1_BIT_STRING_free );
    for( int bit = 0; bit < 32; bit++ )
    {
        if( bits >> bit & 1 )
            EXPECT_EQ( ASN1_BIT_STRING_set_bit( string.get(), bit, 1 ), 1 );
    }
    return string;
}

PB_INT keyUsageOf( unsigned bits ) { return cry___X509KeyUsageFromOpensslKeyUsage( bitString( bits ).get() ); }
PB_INT certTypeOf( unsigned bits ) { return cry___X509NetscapeCertTypeFromOpensslNetscapeCertType( bitString( bits ).get() ); }

Bits toOpenssl( PB_INT flags ) { return { cry___X509KeyUsageToOpensslKeyUsage( flags ), ASN1_BIT_STRING_free }; }

std::string der( const Bits &bits )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_ASN1_BIT_STRING( bits.get(), &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    return out;
}

std::string configured( PB_INT flags ) { return text( pb::adopt( cry___X509KeyUsageToOpensslSn( flags ) ) ); }

// The flags of key purposes, each by its name or its numbers.
PB_INT extendedOf( std::initializer_list<const char *> purposes )
{
    EXTENDED_KEY_USAGE *usage = sk_ASN1_OBJECT_new_null();
    for( const char *purpose : purposes )
    {
        ASN1_OBJECT *object = OBJ_txt2obj( purpose, 0 );
        EXPECT_NE( object, nullptr ) << purpose;
        sk_ASN1_OBJECT_push( usage, object );
    }
    takeErrors();
    PB_INT flags = cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage( usage );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
    sk_ASN1_OBJECT_pop_free( usage, ASN1_OBJECT_free );
    return flags;
}

}

TEST( CryX509KeyUsageOpenssl, EachBitIsTheFlagOfTheSameNumber )
{
    const PB_INT flags[] = { CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE, CRY_X509_KEY_USAGE_NON_REPUDIATION, CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT,
        CRY_X509_KEY_USAGE_DATA_ENCIPHERMENT, CRY_X509_KEY_USAGE_KEY_AGREEMENT, CRY_X509_KEY_USAGE_KEY_CERT_SIGN, CRY_X509_KEY_USAGE_CRL_SIGN,
        CRY_X509_KEY_USAGE_ENCIPHER_ONLY, CRY_X509_KEY_USAGE_DECIPHER_ONLY };
    for( unsigned bit = 0; bit < 9; bit++ )
    {
        EXPECT_EQ( keyUsageOf( 1u << bit ), flags[bit] );
        EXPECT_EQ( ASN1_BIT_STRING_get_bit( toOpenssl( flags[bit] ).get(), (int)bit ), 1 );
    }
}

TEST( CryX509KeyUsageOpenssl, EverySetOfFlagsGoesThereAndBack )
{
    for( unsigned flags = 0; flags < 0x200; flags++ )
    {
        ASSERT_EQ( keyUsageOf( flags ), (PB_INT)flags );
        Bits bits = toOpenssl( flags );
        ASSERT_EQ( hex( der( bits ) ), hex( der( bitString( flags ) ) ) ) << flags;
        ASSERT_EQ( cry___X509KeyUsageFromOpensslKeyUsage( bits.get() ), (PB_INT)flags );
    }
}

TEST( CryX509KeyUsageOpenssl, OtherBitsAreDropped )
{
    EXPECT_EQ( keyUsageOf( 0xFFFFFE00 ), 0 );
    EXPECT_EQ( keyUsageOf( 0x80000201 ), CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE );
    EXPECT_EQ( hex( der( toOpenssl( ~(PB_INT)0x1FF ) ) ), hex( der( bitString( 0 ) ) ) );
    EXPECT_EQ( hex( der( toOpenssl( -1 ) ) ), hex( der( bitString( 0x1FF ) ) ) );
    EXPECT_EQ( configured( ~(PB_INT)0x1FF ), "" );
}

TEST( CryX509KeyUsageOpenssl, ConfigurationNamesTheFlagsInOrder )
{
    EXPECT_EQ( configured( 0 ), "" );
    EXPECT_EQ( configured( CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT | CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE ), "digitalSignature,keyEncipherment" );
    EXPECT_EQ( configured( CRY_X509_KEY_USAGE_DECIPHER_ONLY ), "decipherOnly" );
    EXPECT_EQ( configured( -1 ),
        "digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment,keyAgreement,keyCertSign,cRLSign,encipherOnly,decipherOnly" );
}

TEST( CryX509KeyUsageOpenssl, OpensslReadsTheConfigurationAsTheSameFlags )
{
    for( unsigned flags = 1; flags < 0x200; flags++ )
    {
        X509_EXTENSION *extension = X509V3_EXT_nconf_nid( nullptr, nullptr, NID_key_usage, configured( flags ).c_str() );
        ASSERT_NE( extension, nullptr ) << configured( flags );
        Bits bits( (ASN1_BIT_STRING *)X509V3_EXT_d2i( extension ), ASN1_BIT_STRING_free );
        X509_EXTENSION_free( extension );
        ASSERT_TRUE( bits );
        ASSERT_EQ( cry___X509KeyUsageFromOpensslKeyUsage( bits.get() ), (PB_INT)flags );
    }
}

TEST( CryX509ExtendedKeyUsageOpenssl, EachKnownPurposeHasItsFlag )
{
    const std::pair<const char *, PB_INT> known[] = { { "serverAuth", CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER },
        { "clientAuth", CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT }, { "emailProtection", CRY_X509_EXTENDED_KEY_USAGE_SMIME },
        { "codeSigning", CRY_X509_EXTENDED_KEY_USAGE_CODE_SIGN }, { "OCSPSigning", CRY_X509_EXTENDED_KEY_USAGE_OCSP_SIGN },
        { "timeStamping", CRY_X509_EXTENDED_KEY_USAGE_TIMESTAMP }, { "1.3.6.1.5.5.7.3.10", CRY_X509_EXTENDED_KEY_USAGE_DVCS },
        { "anyExtendedKeyUsage", CRY_X509_EXTENDED_KEY_USAGE_ANYEKU }, { "msSGC", CRY_X509_EXTENDED_KEY_USAGE_MS_SGC },
        { "nsSGC", CRY_X509_EXTENDED_KEY_USAGE_NS_SGC } };
    for( auto [purpose, flag] : known )
    {
        EXPECT_EQ( extendedOf( { purpose } ), flag ) << purpose;
        EXPECT_EQ( extendedOf( { "1.2.3.4", purpose, "ipsecTunnel", purpose } ), flag ) << purpose;
    }
    EXPECT_EQ( extendedOf( { "nsSGC", "clientAuth", "serverAuth" } ), 0x203 );
}

TEST( CryX509ExtendedKeyUsageOpenssl, OtherPurposesHaveNone )
{
    EXPECT_EQ( extendedOf( {} ), 0 );
    EXPECT_EQ( extendedOf( { "1.2.3.4", "ipsecTunnel", "msSmartcardLogin" } ), 0 );
}

TEST( CryX509NetscapeCertTypeOpenssl, FlagsAfterTheReservedBitAreOneLower )
{
    const PB_INT flags[] = { CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT, CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER, CRY_X509_NETSCAPE_CERT_TYPE_SMIME,
        CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN, 0, CRY_X509_NETSCAPE_CERT_TYPE_SSL_CA, CRY_X509_NETSCAPE_CERT_TYPE_SMIME_CA,
        CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA };
    for( unsigned bits = 0; bits < 0x100; bits++ )
    {
        PB_INT wanted = 0;
        for( unsigned bit = 0; bit < 8; bit++ )
            wanted |= bits >> bit & 1 ? flags[bit] : 0;
        ASSERT_EQ( certTypeOf( bits ), wanted ) << bits;
    }
}

TEST( CryX509NetscapeCertTypeOpenssl, OtherBitsAreDropped )
{
    EXPECT_EQ( certTypeOf( 0x10 ), 0 );
    EXPECT_EQ( certTypeOf( 0xFFFFFF10 ), 0 );
    EXPECT_EQ( certTypeOf( 0xFFFFFFFF ), 0x7F );
}
