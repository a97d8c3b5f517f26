// PKCS#12 files that OpenSSL's low-level functions make, and the results of plain PKCS12_parse in a
// context of the tests' own.
#pragma once

#include <cry/cry_pkcs12.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <optional>
#include <ostream>

namespace support
{

using Password = std::optional<std::string>;

// ---- the contents of a file

// The name and the key id that a certificate got from its bag. They are not in its DER.
inline std::string labelsOf( X509 *x509 )
{
    int                  nameLength = 0, keyIdLength = 0;
    const unsigned char *name = X509_alias_get0( x509, &nameLength ), *keyId = X509_keyid_get0( x509, &keyIdLength );
    auto                 text = []( const unsigned char *bytes, int length ) {
        return bytes ? '"' + std::string( (const char *)bytes, (size_t)length ) + '"' : std::string( "none" );
    };
    return text( name, nameLength ) + ", " + text( keyId, keyIdLength );
}

struct Read
{
    bool                     read = false;
    std::string              said; // "(null)" if there is no text
    int32_t                  code = 0;
    std::string              key;         // PKCS#8 text
    std::string              certificate; // DER; so are the others
    std::vector<std::string> others;
    std::vector<std::string> labels; // of the certificate, then of the others

    bool operator==( const Read & ) const = default;
    bool refused() const { return said.starts_with( "the file is refused" ); }
};

inline std::ostream &operator<<( std::ostream &out, const Read &read )
{
    auto mark = []( const std::string &part ) { return std::to_string( std::hash<std::string>()( part ) % 10000 ); };
    out << ( read.read ? "read" : "not read" ) << ", \"" << read.said << "\", code " << read.code << ", key " << mark( read.key ) << ", certificate "
        << mark( read.certificate ) << ", others";
    for( const std::string &other : read.others )
        out << ' ' << mark( other );
    for( const std::string &label : read.labels )
        out << ", " << label;
    return out;
}

inline OSSL_LIB_CTX *oldAlgorithms()
{
    static OSSL_LIB_CTX *context = [] {
        OSSL_LIB_CTX *made = OSSL_LIB_CTX_new();
        EXPECT_NE( OSSL_PROVIDER_load( made, "default" ), nullptr );
        ERR_set_mark();
        OSSL_PROVIDER_load( made, "legacy" );
        ERR_pop_to_mark();
        return made;
    }();
    return context;
}

inline bool oldAlgorithmsInstalled() { return OSSL_PROVIDER_available( oldAlgorithms(), "legacy" ) == 1; }

#define NEED_OLD_ALGORITHMS                  \
    if( !support::oldAlgorithmsInstalled() ) \
    GTEST_SKIP() << "OpenSSL's legacy provider is not installed"

// Makes a context the thread's default one for a while.
class DefaultContext
{
public:
    explicit DefaultContext( OSSL_LIB_CTX *context ) : before( OSSL_LIB_CTX_set0_default( context ) ) {}
    ~DefaultContext() { OSSL_LIB_CTX_set0_default( before ); }
    DefaultContext( const DefaultContext & )            = delete;
    DefaultContext &operator=( const DefaultContext & ) = delete;

private:
    OSSL_LIB_CTX *before;
};

// PKCS12_parse looks for some algorithms in the default context, even if the file was decoded in
// another one. So the context with the old algorithms is the default one meanwhile.
inline Read readByOpenssl( std::string_view file, const Password &password )
{
    DefaultContext old( oldAlgorithms() );
    ERR_clear_error();
    Read      read;
    BIO      *bio            = BIO_new_mem_buf( file.data(), (int)file.size() );
    PKCS12   *pkcs12         = PKCS12_init_ex( NID_pkcs7_data, oldAlgorithms(), nullptr );
    EVP_PKEY *pkey           = nullptr;
    X509     *cert           = nullptr;
    STACK_OF( X509 ) *others = nullptr;
    if( !d2i_PKCS12_bio( bio, &pkcs12 ) )
        read.said = "d2i_PKCS12_bio() failed";
    else if( PKCS12_parse( pkcs12, password ? password->c_str() : nullptr, &pkey, &cert, &others ) != 1 )
    {
        unsigned long error = ERR_get_error();
        read.said           = std::string( "PKCS12_parse() failed: " ) + ERR_error_string( error, nullptr );
        read.code           = (int32_t)error;
    }
    else if( !pkey )
        read.said = "PKCS12_parse() returned no private key!";
    else if( ( read.key = pkcs8Text( pkey ) ).empty() )
        read.said = "cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef() failed";
    else if( !cert )
    {
        read.said = "PKCS12_parse() returned no certificate!";
        read.key.clear();
    }
    else
    {
        read.read        = true;
        read.said        = others ? "sk_X509_pop() failed" : "(null)";
        read.certificate = der( cert );
        read.labels.push_back( labelsOf( cert ) );
        for( int index = sk_X509_num( others ) - 1; index >= 0; index-- )
        {
            read.others.push_back( der( sk_X509_value( others, index ) ) );
            read.labels.push_back( labelsOf( sk_X509_value( others, index ) ) );
        }
    }
    sk_X509_pop_free( others, X509_free );
    X509_free( cert );
    EVP_PKEY_free( pkey );
    PKCS12_free( pkcs12 );
    BIO_free( bio );
    ERR_clear_error();
    return read;
}

inline pb::Ref<PB_STRING> passwordString( const Password &password ) { return password ? str( *password ) : pb::Ref<PB_STRING>(); }

inline pb::Ref<CRY_PKCS12> pkcs12Of( std::string_view file, const Password &password )
{
    return pb::adopt( cryPkcs12TryCreateFromBuffer( buf( file ).get(), passwordString( password ).get() ) );
}

inline std::string keyText( CRY_PKCS12 *pkcs12 )
{
    pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cryPkcs12PrivateKey( pkcs12 ) );
    return pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( key.get() ) );
}

// The labels of its certificate, then of the others.
inline std::vector<std::string> labelsOf( CRY_PKCS12 *pkcs12 )
{
    auto                           of     = []( CRY_X509_CERTIFICATE *cert ) { return labelsOf( cry___X509CertificatePeekOpensslX509( cert ) ); };
    std::vector<std::string>       labels = { of( pb::adopt( cryPkcs12Certificate( pkcs12 ) ).get() ) };
    pb::Ref<CRY_X509_CERTIFICATES> others = pb::adopt( cryPkcs12Certificates( pkcs12 ) );
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( others.get() ); index++ )
        labels.push_back( of( pb::adopt( cryX509CertificatesCertificateAt( others.get(), index ) ).get() ) );
    return labels;
}

inline Read readByFamily( std::string_view file, const Password &password )
{
    ERR_clear_error();
    Read                read;
    PB_STRING          *said   = nullptr;
    pb::Ref<CRY_PKCS12> pkcs12 = pb::adopt(
        cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( buf( file ).get(), passwordString( password ).get(), &said, &read.code ) );
    read.said = text( pb::adopt( said ) );
    if( pkcs12 )
    {
        EXPECT_EQ( ERR_peek_error(), 0u ) << "an error is left";
        read.read        = true;
        read.key         = keyText( pkcs12.get() );
        read.certificate = der( pb::adopt( cryPkcs12Certificate( pkcs12.get() ) ).get() );
        read.others      = ders( pb::adopt( cryPkcs12Certificates( pkcs12.get() ) ).get() );
        read.labels      = labelsOf( pkcs12.get() );
    }
    ERR_clear_error();
    return read;
}

// ---- numbers and DER by hand

inline std::string derLength( size_t length )
{
    if( length < 0x80 )
        return { (char)length };
    std::string bytes;
    for( ; length; length >>= 8 )
        bytes.insert( bytes.begin(), (char)length );
    return (char)( 0x80 | bytes.size() ) + bytes;
}

inline std::string tlv( unsigned char tag, const std::string &content ) { return (char)tag + derLength( content.size() ) + content; }

inline std::string oidDer( const char *dotted )
{
    ASN1_OBJECT   *oid    = OBJ_txt2obj( dotted, 1 );
    unsigned char *bytes  = nullptr;
    int            length = i2d_ASN1_OBJECT( oid, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    EXPECT_GT( length, 0 ) << dotted;
    OPENSSL_free( bytes );
    ASN1_OBJECT_free( oid );
    return out;
}

// An INTEGER of any size from a decimal number.
inline ASN1_INTEGER *asn1Number( const std::string &decimal )
{
    BIGNUM *number = nullptr;
    EXPECT_GT( BN_dec2bn( &number, decimal.c_str() ), 0 ) << decimal;
    ASN1_INTEGER *made = BN_to_ASN1_INTEGER( number, nullptr );
    BN_free( number );
    return made;
}

inline std::string integerDer( const std::string &decimal )
{
    ASN1_INTEGER  *number = asn1Number( decimal );
    unsigned char *bytes  = nullptr;
    int            length = i2d_ASN1_INTEGER( number, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    ASN1_INTEGER_free( number );
    return out;
}

inline std::string sequence( const std::string &content ) { return tlv( 0x30, content ); }
inline std::string octets( const std::string &content ) { return tlv( 0x04, content ); }

// A positive number of so many bits.
inline std::string numberOf( size_t bits )
{
    std::string bytes( ( bits + 7 ) / 8, '\x55' );
    bytes[0] = (char)( 1 << ( bits - 1 ) % 8 );
    return tlv( 0x02, ( bits % 8 ? "" : std::string( 1, '\0' ) ) + bytes );
}

inline constexpr char dsaOid[] = "1.2.840.10040.4.1", dhOid[] = "1.2.840.113549.1.3.1", dhxOid[] = "1.2.840.10046.2.1";

// PKCS#8.
inline std::string privateKeyInfo( const char *oid, const std::string &parameters, const std::string &key )
{
    return sequence( integerDer( "0" ) + sequence( oidDer( oid ) + parameters ) + octets( key ) );
}

// A DSA or DH key with a prime of so many bits, which is none.
inline std::string discreteKey( const char *oid, size_t bits )
{
    std::string three = integerDer( "3" );
    return privateKeyInfo( oid, sequence( numberOf( bits ) + ( oid == dhOid ? "" : three ) + three ), integerDer( "5" ) );
}

// ---- algorithms

inline X509_ALGOR *algorithmFromDer( const std::string &der )
{
    const unsigned char *at   = (const unsigned char *)der.data();
    X509_ALGOR          *made = d2i_X509_ALGOR( nullptr, &at, (long)der.size() );
    EXPECT_NE( made, nullptr );
    return made;
}

inline constexpr char saltBytes[] = "saltsalt";
inline constexpr char pbes2Oid[] = "1.2.840.113549.1.5.13", pbkdf2Oid[] = "1.2.840.113549.1.5.12", scryptOid[] = "1.3.6.1.4.1.11591.4.11",
                      aes256CbcOid[] = "2.16.840.1.101.3.4.1.42", sha1And3DesOid[] = "1.2.840.113549.1.12.1.3", dataOid[] = "1.2.840.113549.1.7.1",
                      encryptedOid[] = "1.2.840.113549.1.7.6", unknownOid[] = "1.2.3.4.5.6";

// PKCS#12's own algorithms.
inline X509_ALGOR *pbes1( int nid, int rounds ) { return PKCS5_pbe_set_ex( nid, rounds, (const unsigned char *)saltBytes, 8, oldAlgorithms() ); }

inline X509_ALGOR *pbes2( const char *cipherName, int rounds, int prf = NID_hmacWithSHA256 )
{
    EVP_CIPHER   *cipher = EVP_CIPHER_fetch( oldAlgorithms(), cipherName, nullptr );
    unsigned char iv[16] = "fifteen letters";
    X509_ALGOR   *made   = PKCS5_pbe2_set_iv_ex( cipher, rounds, (unsigned char *)saltBytes, 8, iv, prf, oldAlgorithms() );
    EVP_CIPHER_free( cipher );
    return made;
}

inline X509_ALGOR *scrypt( uint64_t cost, uint64_t blockSize, uint64_t parallel )
{
    unsigned char iv[16] = "fifteen letters";
    return PKCS5_pbe2_set_scrypt( EVP_aes_128_cbc(), (const unsigned char *)saltBytes, 8, iv, cost, blockSize, parallel );
}

// The same with any numbers, for files that will not be decrypted.
inline X509_ALGOR *sayingRounds( const std::string &rounds, const char *oid = sha1And3DesOid )
{
    return algorithmFromDer( sequence( oidDer( oid ) + sequence( octets( saltBytes ) + integerDer( rounds ) ) ) );
}

inline X509_ALGOR *sayingFunction( const std::string &function, const char *cipher = aes256CbcOid )
{
    std::string scheme = sequence( oidDer( cipher ) + octets( std::string( 16, 'i' ) ) );
    return algorithmFromDer( sequence( oidDer( pbes2Oid ) + sequence( function + scheme ) ) );
}

inline X509_ALGOR *sayingPbkdf2Rounds( const std::string &rounds, const char *cipher = aes256CbcOid )
{
    return sayingFunction( sequence( oidDer( pbkdf2Oid ) + sequence( octets( saltBytes ) + integerDer( rounds ) ) ), cipher );
}

inline X509_ALGOR *sayingScrypt(
    const std::string &cost, const std::string &blockSize, const std::string &parallel, const char *cipher = aes256CbcOid )
{
    std::string numbers = integerDer( cost ) + integerDer( blockSize ) + integerDer( parallel );
    return sayingFunction( sequence( oidDer( scryptOid ) + sequence( octets( saltBytes ) + numbers ) ), cipher );
}

// ---- bags

// Lists own their elements, and the functions below take over the lists.
using Bags = std::vector<PKCS12_SAFEBAG *>;

inline PKCS12_SAFEBAG *bagFromDer( const char *oid, const std::string &value )
{
    std::string          der  = sequence( oidDer( oid ) + tlv( 0xA0, value ) );
    const unsigned char *at   = (const unsigned char *)der.data();
    PKCS12_SAFEBAG      *made = d2i_PKCS12_SAFEBAG( nullptr, &at, (long)der.size() );
    EXPECT_NE( made, nullptr ) << oid;
    return made;
}

inline PKCS12_SAFEBAG *certBag( const Cert &cert ) { return PKCS12_SAFEBAG_create_cert( cert.get() ); }

// A certificate bag with any bytes for the certificate.
inline PKCS12_SAFEBAG *certBagOf( const std::string &bytes )
{
    return bagFromDer( "1.2.840.113549.1.12.10.1.3", sequence( oidDer( "1.2.840.113549.1.9.22.1" ) + tlv( 0xA0, octets( bytes ) ) ) );
}
inline PKCS12_SAFEBAG *sdsiBag()
{
    return bagFromDer( "1.2.840.113549.1.12.10.1.3", sequence( oidDer( "1.2.840.113549.1.9.22.2" ) + tlv( 0xA0, tlv( 0x16, "sdsi" ) ) ) );
}

// A bag with one more attribute. BMPStrings are given as UTF-8.
inline PKCS12_SAFEBAG *with( PKCS12_SAFEBAG *bag, int attribute, int type, const std::string &content )
{
    int how = type == V_ASN1_BMPSTRING ? MBSTRING_UTF8 : type;
    EXPECT_EQ( PKCS12_add1_attr_by_NID( bag, attribute, how, (const unsigned char *)content.data(), (int)content.size() ), 1 );
    return bag;
}
inline PKCS12_SAFEBAG *named( PKCS12_SAFEBAG *bag, const std::string &name ) { return with( bag, NID_friendlyName, V_ASN1_BMPSTRING, name ); }
inline PKCS12_SAFEBAG *withKeyId( PKCS12_SAFEBAG *bag, const std::string &keyId ) { return with( bag, NID_localKeyID, V_ASN1_OCTET_STRING, keyId ); }

inline PKCS12_SAFEBAG *keyBag( const Pkey &pkey ) { return PKCS12_SAFEBAG_create0_p8inf( EVP_PKEY2PKCS8( pkey.get() ) ); }
inline PKCS12_SAFEBAG *keyBagOf( const std::string &der ) { return bagFromDer( "1.2.840.113549.1.12.10.1.1", der ); }

inline PKCS12_SAFEBAG *shroudedBag( const Pkey &pkey, X509_ALGOR *algorithm, const Password &password )
{
    PKCS8_PRIV_KEY_INFO *info = EVP_PKEY2PKCS8( pkey.get() );
    X509_SIG            *sig  = PKCS8_set0_pbe_ex( password ? password->c_str() : nullptr, -1, info, algorithm, oldAlgorithms(), nullptr );
    EXPECT_NE( sig, nullptr );
    PKCS8_PRIV_KEY_INFO_free( info );
    return PKCS12_SAFEBAG_create0_pkcs8( sig );
}

// One that nobody can decrypt.
inline PKCS12_SAFEBAG *shroudedGarbage( X509_ALGOR *algorithm )
{
    X509_SIG          *sig = X509_SIG_new();
    X509_ALGOR        *place;
    ASN1_OCTET_STRING *content;
    X509_SIG_getm( sig, &place, &content );
    EXPECT_EQ( X509_ALGOR_copy( place, algorithm ), 1 );
    X509_ALGOR_free( algorithm );
    EXPECT_EQ( ASN1_OCTET_STRING_set( content, (const unsigned char *)"sixteen letters.", 16 ), 1 );
    return PKCS12_SAFEBAG_create0_pkcs8( sig );
}

inline std::string bagDer( PKCS12_SAFEBAG *bag )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_PKCS12_SAFEBAG( bag, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    EXPECT_GT( length, 0 );
    OPENSSL_free( bytes );
    PKCS12_SAFEBAG_free( bag );
    return out;
}

inline PKCS12_SAFEBAG *nestedBag( const Bags &bags )
{
    std::string content;
    for( PKCS12_SAFEBAG *bag : bags )
        content += bagDer( bag );
    return bagFromDer( "1.2.840.113549.1.12.10.1.6", sequence( content ) );
}

// Some bags inside `depth` nested bags.
inline PKCS12_SAFEBAG *nestedBag( int depth, const Bags &bags )
{
    PKCS12_SAFEBAG *bag = nestedBag( bags );
    while( --depth > 0 )
        bag = nestedBag( Bags{ bag } );
    return bag;
}

inline PKCS12_SAFEBAG *crlBag()
{
    return bagFromDer( "1.2.840.113549.1.12.10.1.4", sequence( oidDer( "1.2.840.113549.1.9.23.1" ) + tlv( 0xA0, octets( "no list" ) ) ) );
}
inline PKCS12_SAFEBAG *secretBag()
{
    return bagFromDer( "1.2.840.113549.1.12.10.1.5", sequence( oidDer( unknownOid ) + tlv( 0xA0, octets( "secret" ) ) ) );
}
inline PKCS12_SAFEBAG *unknownBag() { return bagFromDer( unknownOid, octets( "unknown" ) ); }

// ---- safes

using Safes = std::vector<PKCS7 *>;

struct BagStack
{
    explicit BagStack( const Bags &bags )
    {
        for( PKCS12_SAFEBAG *bag : bags )
            sk_PKCS12_SAFEBAG_push( stack, bag );
    }
    ~BagStack() { sk_PKCS12_SAFEBAG_pop_free( stack, PKCS12_SAFEBAG_free ); }
    BagStack( const BagStack & )            = delete;
    BagStack &operator=( const BagStack & ) = delete;
    STACK_OF( PKCS12_SAFEBAG ) *stack       = sk_PKCS12_SAFEBAG_new_null();
};

inline PKCS7 *dataSafe( const Bags &bags ) { return PKCS12_pack_p7data( BagStack( bags ).stack ); }

inline PKCS7 *dataSafeOf( const std::string &content )
{
    PKCS7 *safe = PKCS7_new();
    EXPECT_EQ( PKCS7_set_type( safe, NID_pkcs7_data ), 1 );
    EXPECT_EQ( ASN1_OCTET_STRING_set( safe->d.data, (const unsigned char *)content.data(), (int)content.size() ), 1 );
    return safe;
}

inline PKCS7 *encryptedSafe( const Bags &bags, X509_ALGOR *algorithm, const Password &password )
{
    PKCS7 *safe = PKCS7_new();
    EXPECT_EQ( PKCS7_set_type( safe, NID_pkcs7_encrypted ), 1 );
    PKCS7_ENC_CONTENT *content = safe->d.encrypted->enc_data;
    X509_ALGOR_free( content->algorithm );
    ASN1_OCTET_STRING_free( content->enc_data );
    content->algorithm = algorithm;
    content->enc_data  = PKCS12_item_i2d_encrypt_ex( algorithm, ASN1_ITEM_rptr( PKCS12_SAFEBAGS ), password ? password->c_str() : nullptr, -1,
         BagStack( bags ).stack, 1, oldAlgorithms(), nullptr );
    EXPECT_NE( content->enc_data, nullptr );
    return safe;
}

// One that nobody can decrypt.
inline PKCS7 *encryptedGarbage( X509_ALGOR *algorithm )
{
    PKCS7 *safe = PKCS7_new();
    EXPECT_EQ( PKCS7_set_type( safe, NID_pkcs7_encrypted ), 1 );
    PKCS7_ENC_CONTENT *content = safe->d.encrypted->enc_data;
    X509_ALGOR_free( content->algorithm );
    content->algorithm = algorithm;
    content->enc_data  = ASN1_OCTET_STRING_new();
    EXPECT_EQ( ASN1_OCTET_STRING_set( content->enc_data, (const unsigned char *)"sixteen letters.", 16 ), 1 );
    return safe;
}

// An empty value is left out.
inline PKCS7 *safeFromDer( const char *oid, const std::string &value )
{
    std::string          der  = sequence( oidDer( oid ) + ( value.empty() ? value : tlv( 0xA0, value ) ) );
    const unsigned char *at   = (const unsigned char *)der.data();
    PKCS7               *made = d2i_PKCS7( nullptr, &at, (long)der.size() );
    EXPECT_NE( made, nullptr ) << oid;
    return made;
}

// Safes of kinds that PKCS12_parse skips.
inline PKCS7 *unknownSafe() { return safeFromDer( unknownOid, octets( "unknown" ) ); }
inline PKCS7 *digestedSafe()
{
    return safeFromDer( "1.2.840.113549.1.7.5",
        sequence(
            integerDer( "0" ) + sequence( oidDer( "2.16.840.1.101.3.4.2.1" ) ) + sequence( oidDer( dataOid ) ) + octets( std::string( 32, 'd' ) ) ) );
}

// ---- files

// The protection of a file against changes.
struct Mac
{
    bool                       present  = true;
    Password                   password = {};
    int                        rounds   = 1;
    const EVP_MD              *digest   = EVP_sha256();
    std::optional<std::string> says     = {};    // if set, the file names this number of rounds instead of the used one
    bool                       unknown  = false; // if true, the file names a digest that does not exist
};

inline constexpr auto macOf = []( const Password &password, int rounds = 1, const EVP_MD *digest = EVP_sha256() ) {
    return Mac{ .password = password, .rounds = rounds, .digest = digest };
};
inline const Mac noMac{ .present = false };

inline void changeMac( PKCS12 *pkcs12, const Mac &mac )
{
    const X509_ALGOR   *algorithm;
    const ASN1_INTEGER *rounds;
    PKCS12_get0_mac( nullptr, &algorithm, nullptr, &rounds, pkcs12 );
    if( mac.says )
    {
        ASSERT_NE( rounds, nullptr );
        ASN1_INTEGER *number = asn1Number( *mac.says );
        EXPECT_EQ( ASN1_STRING_copy( const_cast<ASN1_INTEGER *>( rounds ), number ), 1 );
        ASN1_INTEGER_free( number );
    }
    if( mac.unknown )
        EXPECT_EQ( X509_ALGOR_set0( const_cast<X509_ALGOR *>( algorithm ), OBJ_txt2obj( unknownOid, 1 ), V_ASN1_NULL, nullptr ), 1 );
}

inline std::string derOf( PKCS12 *pkcs12 )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_PKCS12( pkcs12, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    EXPECT_GT( length, 0 );
    OPENSSL_free( bytes );
    return out;
}

inline std::string fileOf( const Safes &safes, const Mac &mac )
{
    PKCS12 *pkcs12          = PKCS12_init_ex( NID_pkcs7_data, oldAlgorithms(), nullptr );
    STACK_OF( PKCS7 ) *list = sk_PKCS7_new_null();
    for( PKCS7 *safe : safes )
        sk_PKCS7_push( list, safe );
    EXPECT_EQ( PKCS12_pack_authsafes( pkcs12, list ), 1 );
    sk_PKCS7_pop_free( list, PKCS7_free );
    if( mac.present )
    {
        // A count of 1 is not written into the file, so it could not be changed.
        int rounds = mac.says && mac.rounds < 2 ? 2 : mac.rounds;
        EXPECT_EQ( PKCS12_set_mac( pkcs12, mac.password ? mac.password->c_str() : nullptr, mac.password ? -1 : 0, (unsigned char *)saltBytes, 8,
                       rounds, mac.digest ),
            1 );
        changeMac( pkcs12, mac );
    }
    std::string out = derOf( pkcs12 );
    PKCS12_free( pkcs12 );
    return out;
}

// The file that PKCS12_create writes. An algorithm of 0 means its own choice, -1 means no
// encryption.
inline std::string createdFile( const Password &password, const Pkey &pkey, const Cert &cert, const std::vector<Cert> &others, int keyAlgorithm = 0,
    int certAlgorithm = 0, int rounds = 1, int macRounds = 1 )
{
    STACK_OF( X509 ) *list = sk_X509_new_null();
    for( const Cert &other : others )
        sk_X509_push( list, other.get() );
    PKCS12     *pkcs12 = PKCS12_create_ex( password ? password->c_str() : nullptr, nullptr, pkey.get(), cert.get(), list, keyAlgorithm, certAlgorithm,
        rounds, macRounds, 0, oldAlgorithms(), nullptr );
    std::string out;
    EXPECT_NE( pkcs12, nullptr );
    if( pkcs12 )
        out = derOf( pkcs12 );
    PKCS12_free( pkcs12 );
    sk_X509_free( list );
    return out;
}

}
