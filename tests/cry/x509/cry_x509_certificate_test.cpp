#include <cry/cry_hash.h>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate.h>

#include "cry/pkey/keys.hpp"
#include "support/key_decoding.hpp"

#include <atomic>
#include <cstring>
#include <openssl/bio.h>
#include <openssl/x509v3.h>
#include <thread>

using namespace support;

namespace
{

using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;

Certificate fromDer( std::string_view der ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der ).get() ) ); }
Certificate fromPem( const pb::Ref<CRY_PEM> &pem ) { return pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) ); }
Certificate fromText( std::string_view text )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    EXPECT_TRUE( pem ) << text;
    return fromPem( pem );
}

// What OpenSSL reads from the text of a block under any label, and the errors that it leaves.
Cert readByOpenssl( std::string_view label, std::string_view body, std::vector<unsigned long> &errors )
{
    std::string text = bytes( pb::adopt( cryPemEncode( pem( label, body ).get() ) ) );
    BIO        *bio  = BIO_new_mem_buf( text.data(), (int)text.size() );
    Cert        cert( PEM_read_bio_X509(
                   bio, nullptr, []( char *, int, int, void        *) { return 0; }, nullptr ),
               X509_free );
    BIO_free( bio );
    errors = takeErrors();
    return cert;
}

// The DER with its outer length in one byte more than needed.
std::string withLongerLength( const std::string &der )
{
    EXPECT_EQ( der.substr( 0, 2 ), "\x30\x82" );
    return std::string( "\x30\x83\x00", 3 ) + der.substr( 2 );
}

std::string digestByOpenssl( const char *name, const std::string &data )
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int  length = 0;
    EXPECT_EQ( EVP_Digest( data.data(), data.size(), digest, &length, EVP_get_digestbyname( name ), nullptr ), 1 );
    return { (const char *)digest, length };
}

// A certificate that OpenSSL cannot write, since nothing in it is set.
X509 *unwritable() { return X509_new(); }

using PublicKey  = pb::Ref<CRY_PKEY_PUBLIC>;
using PrivateKey = pb::Ref<CRY_PKEY_PRIVATE>;

PublicKey   publicKeyOf( const Certificate &cert ) { return pb::adopt( cryX509CertificatePublicKey( cert.get() ) ); }
std::string canonical( const PublicKey &pub ) { return textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ); }
PrivateKey  privateKey( const Pkey &pkey ) { return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( pkey.get() ) ); }

// A certificate with these bits of this algorithm for its key, signed by another.
Cert withKeyBits( int algorithm, int parametersType, int parametersNid, const std::string &bits )
{
    Cert           cert  = makeCertificate( { .subject = "CN=bits", .subjectKey = key( KeyKind::p256 ), .issuerKey = key( KeyKind::p256, 1 ) } );
    unsigned char *owned = (unsigned char *)OPENSSL_memdup( bits.data(), bits.size() );
    // A sequence is an empty one.
    ASN1_STRING *sequence = ASN1_STRING_new();
    ASN1_STRING_set( sequence, "\x30\x00", 2 );
    void *parameters = parametersType == V_ASN1_SEQUENCE ? (void *)sequence
        : parametersNid == NID_undef                     ? nullptr
                                                         : (void *)OBJ_nid2obj( parametersNid );
    if( parameters != sequence )
        ASN1_STRING_free( sequence );
    EXPECT_EQ(
        X509_PUBKEY_set0_param( X509_get_X509_PUBKEY( cert.get() ), OBJ_nid2obj( algorithm ), parametersType, parameters, owned, (int)bits.size() ),
        1 );
    EXPECT_GT( X509_sign( cert.get(), key( KeyKind::p256, 1 ).get(), EVP_sha256() ), 0 );
    return parseDer( der( cert ) );
}

// The bits of a key in SubjectPublicKeyInfo.
std::string keyBits( const Pkey &pkey )
{
    std::string          spki = spkiOf( pkey.get() );
    const unsigned char *at = (const unsigned char *)spki.data(), *bits = nullptr;
    X509_PUBKEY         *parsed = d2i_X509_PUBKEY( nullptr, &at, (long)spki.size() );
    int                  length = 0;
    EXPECT_EQ( X509_PUBKEY_get0_param( nullptr, &bits, &length, nullptr, parsed ), 1 );
    std::string out( (const char *)bits, (size_t)length );
    X509_PUBKEY_free( parsed );
    return out;
}

// What OpenSSL reads of the text that it writes of a certificate's key.
std::string keyByOpenssl( const Cert &cert )
{
    std::vector<unsigned long> errors;
    return publicByOpenssl( spkiText( X509_get0_pubkey( cert.get() ) ), errors );
}

}

TEST( CryX509Certificate, DropsBytesBehindTheCertificate )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string plain = der( chainOf( kind ).leaf );
        for( std::string_view tail : { std::string_view( "\0", 1 ), std::string_view( "garbage" ), std::string_view( plain ) } )
        {
            Certificate cert = fromDer( plain + std::string( tail ) );
            ASSERT_TRUE( cert ) << nameOf( kind );
            EXPECT_EQ( hex( der( cert.get() ) ), hex( plain ) ) << nameOf( kind );
        }
    }
}

TEST( CryX509Certificate, IsEqualHoweverTheSameCertificateWasRead )
{
    for( KeyKind kind : allKeyKinds )
    {
        Cert                     openssl = chainOf( kind ).leaf;
        std::string              lf      = pemText( openssl );
        std::string              joined  = "-----BEGIN CERTIFICATE-----\n" + std::string( lf.begin() + 28, lf.end() );
        Certificate              first   = fromDer( der( openssl ) );
        std::vector<Certificate> others  = { fromText( lf ), fromText( joined ), fromPem( pem( "CERTIFICATE", der( openssl ) ) ),
             fromPem( pem( "X509 CERTIFICATE", der( openssl ) ) ), certificate( openssl ),
             pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Copy( openssl.get() ) ),
             pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Use( X509_dup( openssl.get() ) ) ) };
        ASSERT_TRUE( first );
        for( const Certificate &other : others )
        {
            ASSERT_TRUE( other );
            EXPECT_TRUE( cryX509CertificateEquals( first.get(), other.get() ) ) << nameOf( kind );
            EXPECT_EQ( cryX509CertificateCompare( first.get(), other.get() ), 0 ) << nameOf( kind );
        }
        EXPECT_FALSE( cryX509CertificateEquals( first.get(), certificate( chainOf( kind ).root ).get() ) );
    }
}

TEST( CryX509Certificate, ReadsLinesOfAnyLengthAndEnd )
{
    Cert        openssl = chainOf( KeyKind::p256 ).leaf;
    std::string text    = pemText( openssl );
    std::string body;
    for( char c : text.substr( 28, text.find( "-----END" ) - 28 ) )
    {
        if( c != '\n' )
            body += c;
    }
    Certificate wanted = fromDer( der( openssl ) );
    for( size_t width : { 1u, 4u, 76u, 10000u } )
    {
        for( const char *end : { "\n", "\r\n", "\r" } )
        {
            std::string lines;
            for( size_t at = 0; at < body.size(); at += width )
                lines += body.substr( at, width ) + end;
            Certificate cert = fromText( std::string( "-----BEGIN CERTIFICATE-----" ) + end + lines + "-----END CERTIFICATE-----" + end );
            ASSERT_TRUE( cert ) << width;
            EXPECT_TRUE( cryX509CertificateEquals( cert.get(), wanted.get() ) ) << width;
        }
    }
}

TEST( CryX509Certificate, HasTheTextThatOpensslWritesAsItsPem )
{
    for( KeyKind kind : allKeyKinds )
    {
        Cert             openssl   = chainOf( kind ).leaf;
        Certificate      cert      = fromPem( pem( "X509 CERTIFICATE", der( openssl ) ) );
        pb::Ref<CRY_PEM> canonical = pb::adopt( cryX509CertificatePem( cert.get() ) );
        std::string      text;
        for( char c : bytes( pb::adopt( cryPemEncode( canonical.get() ) ) ) )
        {
            if( c != '\r' )
                text += c;
        }
        EXPECT_EQ( text, pemText( openssl ) ) << nameOf( kind );
        EXPECT_FALSE( pbBufferSensitive( pb::adopt( cryPemData( canonical.get() ) ).get() ) );
    }
}

TEST( CryX509Certificate, TakesLabelsAndBodiesExactlyAsOpensslDoes )
{
    Cert           openssl  = chainOf( KeyKind::rsa ).leaf;
    std::string    plain    = der( openssl );
    unsigned char *trusted  = nullptr;
    int            length   = i2d_X509_AUX( openssl.get(), &trusted );
    std::string    withTail = plain + "tail";
    std::string bodies[] = { plain, withTail, withLongerLength( plain ), plain.substr( 0, plain.size() - 1 ), plain.substr( 0, 40 ), "", "\x30\x80",
        std::string( 200, '\xA5' ), std::string( (const char *)trusted, (size_t)length ), der( chainOf( KeyKind::ed25519 ).leaf ),
        der( chainOf( KeyKind::rsaPss ).root ) };
    OPENSSL_free( trusted );
    int taken = 0;
    for( const char *label : { "CERTIFICATE", "X509 CERTIFICATE", "TRUSTED CERTIFICATE", "CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST", "X509 CRL",
             "PKCS7", "CMS", "PRIVATE KEY", "PUBLIC KEY", "certificate", "CERTIFICATE ", "CERTIFICATES", "A", "" } )
    {
        if( !cryPemLabelOk( str( label ).get() ) )
            continue;
        for( const std::string &body : bodies )
        {
            std::vector<unsigned long> wantedErrors;
            Cert                       wanted = readByOpenssl( label, body, wantedErrors );
            Certificate                cert   = fromPem( pem( label, body ) );
            EXPECT_EQ( (bool)cert, (bool)wanted ) << label << ": " << hex( body.substr( 0, 8 ) ) << "..., " << body.size();
            EXPECT_EQ( takeErrors(), wantedErrors ) << label << ": " << hex( body.substr( 0, 8 ) ) << "..., " << body.size();
            if( cert && wanted )
            {
                EXPECT_EQ( hex( der( cert.get() ) ), hex( der( wanted ) ) ) << label;
                taken++;
            }
        }
    }
    // Two labels, each with the plain body, the one with a tail, the longer length, the one with trust settings behind it and the two of other keys.
    EXPECT_EQ( taken, 2 * 6 );
}

TEST( CryX509Certificate, RefusesAnEncryptedBody )
{
    std::string plain = der( chainOf( KeyKind::p256 ).leaf );
    BIO        *bio   = BIO_new( BIO_s_mem() );
    ASSERT_EQ( PEM_ASN1_write_bio( (i2d_of_void *)i2d_X509, "CERTIFICATE", bio, chainOf( KeyKind::p256 ).leaf.get(), EVP_aes_128_cbc(),
                   (const unsigned char *)"pass phrase", 11, nullptr, nullptr ),
        1 );
    char       *text   = nullptr;
    long        length = BIO_get_mem_data( bio, &text );
    std::string encrypted( text, (size_t)length );
    BIO_free( bio );
    ASSERT_NE( encrypted.find( "Proc-Type: 4,ENCRYPTED" ), encrypted.npos );
    // With its headers it is no block at all, and what is left of it without them is no certificate.
    EXPECT_EQ( cryPemTryDecode( buf( encrypted ).get() ), nullptr );
    size_t      head    = encrypted.find( '\n' ) + 1;
    size_t      body    = encrypted.find( "\n\n" ) + 2;
    std::string without = encrypted.substr( 0, head ) + encrypted.substr( body );
    EXPECT_FALSE( fromText( without ) );
    ERR_clear_error();
}

TEST( CryX509Certificate, ReencodesALongerThanNeededOuterLength )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string plain  = der( chainOf( kind ).leaf );
        std::string longer = withLongerLength( plain );
        for( const Certificate &cert : { fromDer( longer ), fromPem( pem( "CERTIFICATE", longer ) ) } )
        {
            ASSERT_TRUE( cert );
            EXPECT_EQ( hex( der( cert.get() ) ), hex( plain ) );
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
    EXPECT_TRUE( cryX509CertificateEquals( cert.get(), fromPem( pem( "CERTIFICATE", plain ) ).get() ) );
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
        // The memory behind the certificate is never touched, so it is not really taken.
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

TEST( CryX509Certificate, SuccessLeavesTheErrorQueueAsItWas )
{
    for( KeyKind kind : allKeyKinds )
    {
        Cert openssl = chainOf( kind ).leaf;
        takeErrors();
        raiseError();
        EXPECT_TRUE( fromDer( der( openssl ) ) );
        EXPECT_TRUE( fromPem( pem( "CERTIFICATE", der( openssl ) ) ) );
        EXPECT_TRUE( fromPem( pem( "X509 CERTIFICATE", der( openssl ) ) ) );
        EXPECT_TRUE( certificate( openssl ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
    }
}

TEST( CryX509Certificate, FailedPemLeavesOpensslsErrorsBehindThoseBefore )
{
    std::vector<unsigned long> wanted;
    EXPECT_FALSE( readByOpenssl( "CERTIFICATE", "nonsense", wanted ) );
    ASSERT_FALSE( wanted.empty() );
    wanted.insert( wanted.begin(), raisedError );
    raiseError();
    EXPECT_FALSE( fromPem( pem( "CERTIFICATE", "nonsense" ) ) );
    EXPECT_EQ( takeErrors(), wanted );

    EXPECT_FALSE( readByOpenssl( "CERTIFICATE REQUEST", "nonsense", wanted ) );
    ASSERT_EQ( wanted.size(), 1u );
    EXPECT_EQ( ERR_GET_REASON( wanted[0] ), PEM_R_NO_START_LINE );
    EXPECT_FALSE( fromPem( pem( "CERTIFICATE REQUEST", "nonsense" ) ) );
    EXPECT_EQ( takeErrors(), wanted );
}

TEST( CryX509Certificate, UseTakesTheReferenceOverOnSuccess )
{
    X509       *x509 = X509_dup( chainOf( KeyKind::rsa ).leaf.get() );
    FreeWatch   watch( x509 );
    Certificate cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Use( x509 ) );
    EXPECT_EQ( cry___X509CertificatePeekOpensslX509( cert.get() ), x509 );
    EXPECT_FALSE( watch.freed() );
    cert = {};
    EXPECT_TRUE( watch.freed() );
}

TEST( CryX509Certificate, UseFreesOnFailure )
{
    X509     *x509 = unwritable();
    FreeWatch watch( x509 );
    EXPECT_EQ( cry___X509CertificateTryCreateFromOpensslX509Use( x509 ), nullptr );
    EXPECT_TRUE( watch.freed() );
    ERR_clear_error();
}

TEST( CryX509Certificate, UpRefLeavesTheCallersReference )
{
    X509       *x509 = X509_dup( chainOf( KeyKind::rsa ).leaf.get() );
    std::string want = der( x509 );
    FreeWatch   watch( x509 );
    Certificate cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( x509 ) );
    EXPECT_EQ( cry___X509CertificatePeekOpensslX509( cert.get() ), x509 );
    cert = {};
    EXPECT_FALSE( watch.freed() );
    EXPECT_EQ( hex( der( x509 ) ), hex( want ) );
    X509_free( x509 );
    EXPECT_TRUE( watch.freed() );
}

TEST( CryX509Certificate, UpRefAndCopyDoNotFreeOnFailure )
{
    using Create = CRY_X509_CERTIFICATE *(*)( X509 * );
    for( Create create : { &cry___X509CertificateTryCreateFromOpensslX509UpRef, &cry___X509CertificateTryCreateFromOpensslX509Copy } )
    {
        X509     *x509 = unwritable();
        FreeWatch watch( x509 );
        EXPECT_EQ( create( x509 ), nullptr );
        EXPECT_FALSE( watch.freed() );
        EXPECT_EQ( X509_set_version( x509, X509_VERSION_3 ), 1 );
        EXPECT_EQ( X509_get_version( x509 ), X509_VERSION_3 );
        X509_free( x509 );
        EXPECT_TRUE( watch.freed() );
    }
    ERR_clear_error();
}

TEST( CryX509Certificate, CopySharesNothingWithTheCaller )
{
    X509       *x509 = X509_dup( chainOf( KeyKind::p256 ).leaf.get() );
    std::string want = der( x509 );
    FreeWatch   watch( x509 );
    Certificate cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Copy( x509 ) );
    ASSERT_TRUE( cert );
    EXPECT_NE( cry___X509CertificatePeekOpensslX509( cert.get() ), x509 );
    X509_free( x509 );
    EXPECT_TRUE( watch.freed() );
    EXPECT_EQ( hex( der( cert.get() ) ), hex( want ) );
    EXPECT_EQ( hex( der( cry___X509CertificatePeekOpensslX509( cert.get() ) ) ), hex( want ) );
}

TEST( CryX509Certificate, FingerprintIsTheDigestOfTheDer )
{
    static constexpr const char *names[] = { "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA3-224", "SHA3-256", "SHA3-384", "SHA3-512" };
    for( KeyKind kind : allKeyKinds )
    {
        Cert        openssl = chainOf( kind ).intermediate;
        Certificate cert    = fromPem( pem( "CERTIFICATE", der( openssl ) + "tail" ) );
        for( PB_INT alg = CRY_HASH_ALGORITHM_MD5; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
        {
            pb::Ref<PB_BUFFER> print = pb::adopt( cryX509CertificateTryFingerprint( cert.get(), alg ) );
            EXPECT_EQ( hex( bytes( print ) ), hex( digestByOpenssl( names[alg], der( openssl ) ) ) ) << names[alg];
        }
    }
}

TEST( CryX509Certificate, ComesBackFromItsStore )
{
    for( KeyKind kind : allKeyKinds )
    {
        Certificate       cert  = certificate( chainOf( kind ).leaf );
        pb::Ref<PB_STORE> store = pb::adopt( cryX509CertificateStore( cert.get() ) );
        pb::Ref<CRY_PEM>  pem   = pb::adopt( cryX509CertificatePem( cert.get() ) );
        EXPECT_TRUE( pbStoreEquals( store.get(), pb::adopt( cryPemStore( pem.get() ) ).get() ) );
        Certificate restored = pb::adopt( cryX509CertificateTryRestore( store.get() ) );
        ASSERT_TRUE( restored );
        EXPECT_TRUE( cryX509CertificateEquals( restored.get(), cert.get() ) );
        EXPECT_NE( restored.get(), cert.get() );
    }
}

TEST( CryX509Certificate, RestoresNothingFromAStoreWithoutOne )
{
    pb::Ref<PB_STORE> empty = pb::adopt( pbStoreCreateArray() );
    EXPECT_EQ( cryX509CertificateTryRestore( empty.get() ), nullptr );
    pb::Ref<PB_STORE> keyed = pb::adopt( pbStoreCreate() );
    EXPECT_EQ( cryX509CertificateTryRestore( keyed.get() ), nullptr );
    pb::Ref<PB_STORE> other = pb::adopt( cryPemStore( pem( "CERTIFICATE", "nonsense" ).get() ) );
    EXPECT_EQ( cryX509CertificateTryRestore( other.get() ), nullptr );
    pb::Ref<PB_STORE> label = pb::adopt( cryPemStore( pem( "CERTIFICATE REQUEST", der( chainOf( KeyKind::p256 ).leaf ) ).get() ) );
    EXPECT_EQ( cryX509CertificateTryRestore( label.get() ), nullptr );
    ERR_clear_error();
}

TEST( CryX509Certificate, OrderIsThatOfThePems )
{
    std::vector<Certificate> list;
    for( KeyKind kind : allKeyKinds )
    {
        Chain chain = chainOf( kind );
        for( const Cert &each : { chain.root, chain.intermediate, chain.leaf } )
            list.push_back( certificate( each ) );
    }
    auto sign = []( PB_INT order ) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
    for( const Certificate &a : list )
    {
        for( const Certificate &b : list )
        {
            int wanted = sign( der( a.get() ).compare( der( b.get() ) ) );
            EXPECT_EQ( sign( cryX509CertificateCompare( a.get(), b.get() ) ), wanted );
            EXPECT_EQ( (bool)cryX509CertificateEquals( a.get(), b.get() ), wanted == 0 );
        }
        EXPECT_FALSE( cryX509CertificateEquals( a.get(), nullptr ) );
    }
    EXPECT_TRUE( cryX509CertificateEquals( nullptr, nullptr ) );
}

TEST( CryX509Certificate, IsAnObjectWithTheDefaultText )
{
    Certificate cert = certificate( chainOf( KeyKind::p256 ).leaf );
    EXPECT_STREQ( pbSortName( cryX509CertificateSort() ), "CRY_X509_CERTIFICATE" );
    EXPECT_EQ( pbObjSort( cryX509CertificateObj( cert.get() ) ), cryX509CertificateSort() );
    EXPECT_EQ( cryX509CertificateFrom( cert.obj() ), cert.get() );
    EXPECT_TRUE( text( pb::adopt( cryX509CertificateToString( cert.get() ) ) ).starts_with( "CRY_X509_CERTIFICATE(0x" ) );
    Certificate second = pb::adopt( cryX509CertificateRetain( cert.get() ) );
    cryX509CertificateRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( cert.obj() ) );
}

TEST( CryX509Certificate, IsReadByManyThreadsAtOnce )
{
    Cert                     openssl = chainOf( KeyKind::rsa ).leaf;
    Certificate              cert    = fromDer( der( openssl ) );
    std::string              wanted  = digestByOpenssl( "SHA256", der( openssl ) );
    std::vector<std::thread> threads;
    std::atomic<int>         good{ 0 };
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 50; round++ )
            {
                Certificate own   = cert;
                Certificate other = fromDer( der( own.get() ) );
                X509       *x509  = cry___X509CertificatePeekOpensslX509( own.get() );
                good += bytes( pb::adopt( cryX509CertificateTryFingerprint( own.get(), CRY_HASH_ALGORITHM_SHA2_256 ) ) ) == wanted &&
                    cryX509CertificateEquals( own.get(), other.get() ) && X509_check_ca( x509 ) == 0 &&
                    EVP_PKEY_get_bits( X509_get0_pubkey( x509 ) ) == 2048;
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 200 );
}

TEST( CryX509Certificate, ThePublicKeyIsTheOneThatWasCertified )
{
    std::vector<Pkey> keys = { newSm2Key(), newEcKey( "SM2" ), newUnnamedCurveKey(), newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ),
        newKey( "ED448" ), newKey( "X25519" ), newEcKey( "secp112r1" ), newEcKey( "sect571r1" ), newEcKey( "wap-wsg-idm-ecid-wtls7" ) };
    for( KeyKind kind : allKeyKinds )
        keys.push_back( key( kind ) );
    for( const Pkey &pkey : keys )
    {
        Cert        openssl = makeCertificate( { .subject = "CN=key", .subjectKey = pkey, .issuerKey = key( KeyKind::p256, 1 ) } );
        std::string wanted  = keyByOpenssl( openssl );
        ASSERT_EQ( wanted, spkiText( pkey.get() ) );
        PublicKey given = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( pkey.get() ) );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            for( const Certificate &cert : { certificate( openssl ), fromDer( der( openssl ) ) } )
            {
                takeErrors();
                raiseError();
                PublicKey pub = publicKeyOf( cert );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << wanted;
                ASSERT_TRUE( pub ) << wanted;
                EXPECT_EQ( canonical( pub ), wanted );
                EXPECT_TRUE( cryPkeyPublicEquals( pub.get(), given.get() ) ) << wanted;
                EXPECT_EQ( spkiText( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), wanted );
                // A new object each time.
                PublicKey again = publicKeyOf( cert );
                EXPECT_NE( again.get(), pub.get() );
                EXPECT_TRUE( cryPkeyPublicEquals( again.get(), pub.get() ) );
            }
        }
    }
}

TEST( CryX509Certificate, ThePublicKeySharesNothingWithIt )
{
    for( KeyKind kind : allKeyKinds )
    {
        X509       *x509 = X509_dup( chainOf( kind ).leaf.get() );
        FreeWatch   watch( x509 ), keyWatch( X509_get0_pubkey( x509 ) );
        Certificate cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Use( x509 ) );
        PublicKey   pub  = publicKeyOf( cert );
        ASSERT_TRUE( pub );
        EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), X509_get0_pubkey( x509 ) );
        cert = {};
        EXPECT_TRUE( watch.freed() ) << nameOf( kind );
        EXPECT_TRUE( keyWatch.freed() ) << nameOf( kind );
        EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), key( kind, 2 ).get() ), 1 ) << nameOf( kind );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind, 2 ).get() ) ) << nameOf( kind );
    }
    ERR_clear_error();
}

TEST( CryX509Certificate, ThePublicKeyOfOtherEncodingsIsAsOpensslWritesIt )
{
    std::string point = keyBits( key( KeyKind::p256 ) ), x = point.substr( 1, 32 ), y = point.substr( 33 );
    std::string numbers = keyBits( key( KeyKind::rsa ) );
    // A zero before the modulus: two lengths grow by one, and both have two bytes.
    std::string zero = numbers;
    ASSERT_EQ( zero.substr( 0, 4 ), "\x30\x82\x01\x0A" );
    ASSERT_EQ( zero.substr( 4, 5 ), std::string( "\x02\x82\x01\x01\x00", 5 ) );
    zero[3]++;
    zero[7]++;
    zero.insert( 8, 1, '\0' );
    char odd = point.back() & 1;
    struct
    {
        const char *name;
        Cert        cert;
    } certs[] = {
        { "plain", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, point ) },
        { "compressed", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 2 | odd ) + x ) },
        { "hybrid", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 6 | odd ) + x + y ) },
        { "RSA", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers ) },
        { "RSA without parameters", withKeyBits( NID_rsaEncryption, V_ASN1_UNDEF, NID_undef, numbers ) },
        { "RSA with a zero", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, zero ) },
        { "RSA with a tail", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers + "x" ) },
        { "RSA-PSS", withKeyBits( NID_rsassaPss, V_ASN1_UNDEF, NID_undef, numbers ) },
        { "RSA-PSS with the default parameters", withKeyBits( NID_rsassaPss, V_ASN1_SEQUENCE, NID_undef, numbers ) },
        { "SM2", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_sm2, keyBits( newSm2Key() ) ) },
    };
    int changed = 0;
    for( const auto &each : certs )
    {
        ASSERT_TRUE( each.cert ) << each.name;
        EVP_PKEY *pkey = X509_get0_pubkey( each.cert.get() );
        ASSERT_NE( pkey, nullptr ) << each.name;
        std::string wanted = keyByOpenssl( each.cert );
        ASSERT_NE( wanted, "" ) << each.name;
        unsigned char *encoded = nullptr;
        int            length  = i2d_X509_PUBKEY( X509_get_X509_PUBKEY( each.cert.get() ), &encoded );
        changed += std::string( (char *)encoded, (size_t)length ) != bodyOf( wanted );
        OPENSSL_free( encoded );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            takeErrors();
            PublicKey pub = publicKeyOf( fromDer( der( each.cert ) ) );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} ) << each.name;
            ASSERT_TRUE( pub ) << each.name;
            EXPECT_EQ( canonical( pub ), wanted ) << each.name << ", fast " << fast;
        }
    }
    EXPECT_GE( changed, 2 );
}

TEST( CryX509Certificate, ThePublicKeyIsCanonicalWhereItsLengthsAreNot )
{
    // The outer length of the key in one byte more, and so those around it.
    std::string plain = der( chainOf( KeyKind::p256 ).leaf ), spki = spkiOf( key( KeyKind::p256, 2 ).get() );
    size_t      at = plain.find( spki );
    ASSERT_NE( at, plain.npos );
    ASSERT_EQ( plain.substr( 0, 2 ), "\x30\x82" );
    ASSERT_EQ( plain.substr( 4, 2 ), "\x30\x82" );
    plain.insert( at + 1, 1, '\x81' );
    for( size_t length : { 2, 6 } )
    {
        size_t more       = ( (size_t)(unsigned char)plain[length] << 8 | (unsigned char)plain[length + 1] ) + 1;
        plain[length]     = (char)( more >> 8 );
        plain[length + 1] = (char)more;
    }
    Certificate cert = fromDer( plain );
    ASSERT_TRUE( cert );
    EXPECT_EQ( canonical( publicKeyOf( cert ) ), spkiText( key( KeyKind::p256, 2 ).get() ) );
}

TEST( CryX509Certificate, APrivateKeyIsThatOfTheCertificateOrNot )
{
    for( KeyKind kind : allKeyKinds )
    {
        Certificate cert = certificate( chainOf( kind ).leaf );
        takeErrors();
        raiseError();
        EXPECT_EQ( cryX509CertificateCheckPrivateKey( cert.get(), privateKey( key( kind, 2 ) ).get() ), PB_TRUE ) << nameOf( kind );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
        for( KeyKind other : allKeyKinds )
        {
            EXPECT_EQ( cryX509CertificateCheckPrivateKey( cert.get(), privateKey( key( other, 0 ) ).get() ), PB_FALSE )
                << nameOf( kind ) << " " << nameOf( other );
            EXPECT_EQ( (bool)cryX509CertificateCheckPrivateKey( cert.get(), privateKey( key( other, 2 ) ).get() ), other == kind )
                << nameOf( kind ) << " " << nameOf( other );
        }
        // Whichever way the two were read.
        for( bool fast : { false, true } )
        {
            KeyDecoding      used( fast );
            Certificate      read = fromDer( der( chainOf( kind ).leaf ) );
            pb::Ref<CRY_PEM> pem  = pb::adopt( cryPemTryDecode( buf( pkcs8Text( key( kind, 2 ).get() ) ).get() ) );
            PrivateKey       priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) );
            EXPECT_TRUE( cryX509CertificateCheckPrivateKey( read.get(), priv.get() ) ) << nameOf( kind ) << fast;
            EXPECT_TRUE( cryX509CertificateCheckPrivateKey( cert.get(), priv.get() ) ) << nameOf( kind ) << fast;
            EXPECT_TRUE( cryX509CertificateCheckPrivateKey( read.get(), privateKey( key( kind, 2 ) ).get() ) ) << nameOf( kind ) << fast;
        }
    }
    ERR_clear_error();
}

TEST( CryX509Certificate, NoPrivateKeyIsThatOfACertificateWhoseKeyCannotBeDecoded )
{
    Cert undecodable = withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, "\4 no point" );
    ASSERT_TRUE( undecodable );
    EXPECT_EQ( cryX509CertificateCheckPrivateKey( certificate( undecodable ).get(), privateKey( key( KeyKind::p256 ) ).get() ), PB_FALSE );
    ERR_clear_error();
}
