// Only the differences from other types with a canonical PEM. All other tests are in
// pem_object_test.cpp and certified_key_test.cpp.
#include "cry/common/pem_object_suite.hpp"

#include <cstring>

using namespace support;

namespace
{

using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;

Certificate fromDer( std::string_view der ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der ).get() ) ); }
Certificate fromPem( std::string_view der ) { return PemObjects<CertificateType>::fromPem( pem( "CERTIFICATE", der ) ); }

std::string digestByOpenssl( const char *name, const std::string &data )
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int  length = 0;
    EXPECT_EQ( EVP_Digest( data.data(), data.size(), digest, &length, EVP_get_digestbyname( name ), nullptr ), 1 );
    return { (const char *)digest, length };
}

}

TEST( CryX509Certificate, IsReadFromDerAsFromPem )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string plain = der( chainOf( kind ).leaf );
        // Bytes after the certificate are dropped, and a length in a longer form gets the shortest
        // form.
        for( const std::string &source : { plain, plain + '\0', plain + "garbage", plain + plain, withLongerLength( plain ) } )
        {
            raiseError();
            Certificate cert = fromDer( source );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
            ASSERT_TRUE( cert ) << nameOf( kind );
            EXPECT_EQ( hex( der( cert.get() ) ), hex( plain ) ) << nameOf( kind );
            EXPECT_TRUE( cryX509CertificateEquals( cert.get(), fromPem( source ).get() ) ) << nameOf( kind );
        }
    }
}

TEST( CryX509Certificate, RefusesWhatIsCutOffAnywhere )
{
    std::string plain = der( chainOf( KeyKind::p256 ).leaf );
    for( size_t length = 0; length < plain.size(); length++ )
        ASSERT_FALSE( fromDer( std::string_view( plain ).substr( 0, length ) ) ) << length;
}

TEST( CryX509Certificate, AgreesWithOpensslOnEveryByteThatIsChanged )
{
    for( KeyKind kind : { KeyKind::p256, KeyKind::rsa } )
    {
        std::string plain = der( chainOf( kind ).leaf );
        int         taken = 0;
        for( size_t index = 0; index < plain.size(); index++ )
        {
            std::string changed = plain;
            changed[index]      = (char)( changed[index] ^ ( index % 2 ? 0x01 : 0x80 ) );
            Cert        wanted  = parseDer( changed );
            Certificate cert    = fromDer( changed );
            ASSERT_EQ( (bool)cert, (bool)wanted ) << nameOf( kind ) << " byte " << index;
            if( cert )
            {
                taken++;
                ASSERT_EQ( hex( der( cert.get() ) ), hex( der( wanted ) ) ) << nameOf( kind ) << " byte " << index;
            }
        }
        ERR_clear_error();
        EXPECT_GT( taken, 64 ) << "the signature alone may be changed anywhere";
        EXPECT_LT( taken, (int)plain.size() );
    }
}

TEST( CryX509Certificate, TakesOneWhoseKeyOpensslCannotDecode )
{
    std::string plain = der( chainOf( KeyKind::p256 ).leaf );
    // id-ecPublicKey, 1.2.840.10045.2.1, becomes 1.2.840.10045.2.127.
    static constexpr std::string_view ecPublicKey = "\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01";
    size_t                            at          = plain.find( ecPublicKey );
    ASSERT_NE( at, plain.npos );
    plain[at + ecPublicKey.size() - 1] = 0x7F;
    Certificate cert                   = fromDer( plain );
    ASSERT_TRUE( cert );
    EXPECT_EQ( X509_get0_pubkey( cry___X509CertificatePeekOpensslX509( cert.get() ) ), nullptr );
    EXPECT_EQ( hex( der( cert.get() ) ), hex( plain ) );
    EXPECT_TRUE( cryX509CertificateEquals( cert.get(), fromPem( plain ).get() ) );
    ERR_clear_error();
}

TEST( CryX509Certificate, TakesVersionOne )
{
    Cert openssl = makeCertificate( { .subject = "CN=old", .subjectKey = key( KeyKind::rsa ), .version = 1 } );
    EXPECT_EQ( X509_get_version( cry___X509CertificatePeekOpensslX509( fromDer( der( openssl ) ).get() ) ), X509_VERSION_1 );
}

TEST( CryX509Certificate, ABufferBeyondTwoGigabytesIsNotParsed )
{
    std::string plain = der( chainOf( KeyKind::p256 ).leaf );
    for( PB_INT length : { (PB_INT)2147483647, (PB_INT)2147483648 } )
    {
        // The memory after the certificate is never touched, so it needs no real memory.
        void              *to   = pbMemAlloc( (size_t)length );
        pb::Ref<PB_BUFFER> huge = pb::adopt( pbBufferCreateFromBytesUse( to, length ) );
        std::memcpy( to, plain.data(), plain.size() );
        raiseError();
        Certificate cert = pb::adopt( cryX509CertificateTryCreateFromDer( huge.get() ) );
        EXPECT_EQ( (bool)cert, length == 2147483647 ) << length;
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << "nothing failed to parse";
    }
}

TEST( CryX509Certificate, FailedDerClearsTheErrorQueue )
{
    for( const std::string &body : { std::string(), std::string( "nonsense" ), der( chainOf( KeyKind::rsa ).leaf ).substr( 0, 300 ) } )
    {
        raiseError();
        EXPECT_FALSE( fromDer( body ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
    }
}

TEST( CryX509Certificate, FingerprintIsTheDigestOfTheDer )
{
    static constexpr const char *names[] = { "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA3-224", "SHA3-256", "SHA3-384", "SHA3-512" };
    for( KeyKind kind : allKeyKinds )
    {
        Cert        openssl = chainOf( kind ).intermediate;
        Certificate cert    = fromPem( der( openssl ) + "tail" );
        for( PB_INT alg = CRY_HASH_ALGORITHM_MD5; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
        {
            pb::Ref<PB_BUFFER> print = pb::adopt( cryX509CertificateTryFingerprint( cert.get(), alg ) );
            EXPECT_EQ( hex( bytes( print ) ), hex( digestByOpenssl( names[alg], der( openssl ) ) ) ) << names[alg];
        }
    }
}
