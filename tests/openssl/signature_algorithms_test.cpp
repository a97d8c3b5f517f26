// Certificates with every signature algorithm of OpenSSL. The key-decoding context must not change
// any verdict.
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <openssl_module/internal/openssl_module.h>

#include "common/cry_ossl.hpp"
#include "openssl_der.hpp"
#include "support/key_decoding.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <openssl/dsa.h>
#include <openssl/err.h>
#include <openssl/provider.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

using namespace support;
using cry::ossl::Ptr;

namespace
{

constexpr time_t now = 1900000000;

EVP_PKEY *generateDsa()
{
    Ptr<EVP_PKEY_CTX> ctx( EVP_PKEY_CTX_new_from_name( nullptr, "DSA", nullptr ) );
    EVP_PKEY         *parameters = nullptr, *key = nullptr;
    EXPECT_EQ( EVP_PKEY_paramgen_init( ctx.get() ), 1 );
    EVP_PKEY_CTX_set_dsa_paramgen_bits( ctx.get(), 1024 );
    EXPECT_EQ( EVP_PKEY_paramgen( ctx.get(), &parameters ), 1 );
    Ptr<EVP_PKEY>     owned( parameters );
    Ptr<EVP_PKEY_CTX> keyCtx( EVP_PKEY_CTX_new_from_pkey( nullptr, parameters, nullptr ) );
    EXPECT_EQ( EVP_PKEY_keygen_init( keyCtx.get() ), 1 );
    EXPECT_EQ( EVP_PKEY_generate( keyCtx.get(), &key ), 1 );
    return key;
}

// One key of each kind for the whole file. The key RSA-PSS/SHA-256 allows only that digest, with
// salts of 32 bytes or more.
EVP_PKEY *keyOf( const std::string &kind )
{
    static std::map<std::string, Ptr<EVP_PKEY>> all;
    Ptr<EVP_PKEY>                              &key = all[kind];
    if( key )
        return key.get();
    if( kind == "RSA" )
        key.reset( EVP_RSA_gen( 2048 ) );
    else if( kind.starts_with( "RSA-PSS" ) )
    {
        Ptr<EVP_PKEY_CTX> ctx( EVP_PKEY_CTX_new_from_name( nullptr, "RSA-PSS", nullptr ) );
        EVP_PKEY         *made = nullptr;
        EXPECT_EQ( EVP_PKEY_keygen_init( ctx.get() ), 1 );
        EVP_PKEY_CTX_set_rsa_keygen_bits( ctx.get(), 2048 );
        if( kind == "RSA-PSS/SHA-256" )
        {
            EVP_PKEY_CTX_set_rsa_pss_keygen_md( ctx.get(), EVP_sha256() );
            EVP_PKEY_CTX_set_rsa_pss_keygen_mgf1_md( ctx.get(), EVP_sha256() );
            EVP_PKEY_CTX_set_rsa_pss_keygen_saltlen( ctx.get(), 32 );
        }
        EXPECT_EQ( EVP_PKEY_generate( ctx.get(), &made ), 1 );
        key.reset( made );
    }
    else if( kind == "DSA" )
        key.reset( generateDsa() );
    else if( kind == "ED25519" || kind == "ED448" || kind == "SM2" )
        key.reset( EVP_PKEY_Q_keygen( nullptr, nullptr, kind.c_str() ) );
    else
        key.reset( EVP_EC_gen( kind.c_str() ) );
    EXPECT_TRUE( key ) << kind;
    return key.get();
}

struct Algorithm
{
    const char *key;
    const char *digest; // null if the algorithm has its own
    bool        pss  = false;
    int         salt = 0;       // of RSA-PSS
    const char *mask = nullptr; // digest of RSA-PSS's mask, if it is another one
};

std::string nameOf( const Algorithm &algorithm )
{
    std::string name = algorithm.key;
    if( algorithm.digest )
        name += std::string( " " ) + algorithm.digest;
    if( algorithm.pss )
        name += " PSS salt " + std::to_string( algorithm.salt );
    return name;
}

std::vector<Algorithm> algorithms()
{
    std::vector<Algorithm> all;
    for( const char *digest : { "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA512-224", "SHA512-256", "SHA3-224", "SHA3-256", "SHA3-384",
             "SHA3-512", "RIPEMD160" } )
        all.push_back( { "RSA", digest } );
    for( const char *key : { "RSA", "RSA-PSS" } )
    {
        for( const char *digest : { "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA512-256" } )
        {
            for( int salt : { 0, 20, 32, RSA_PSS_SALTLEN_DIGEST, RSA_PSS_SALTLEN_MAX } )
                all.push_back( { key, digest, true, salt } );
        }
        all.push_back( { key, "SHA256", true, 32, "SHA1" } );
        all.push_back( { key, "SHA256", true, 32, "SHA512" } );
    }
    all.push_back( { "RSA-PSS/SHA-256", "SHA256", true, 32 } );
    all.push_back( { "RSA-PSS/SHA-256", "SHA256", true, 64 } );
    for( const char *curve : { "P-256", "P-384", "P-521", "secp256k1", "brainpoolP256r1", "sect283k1" } )
    {
        for( const char *digest : { "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA3-224", "SHA3-256", "SHA3-384", "SHA3-512" } )
            all.push_back( { curve, digest } );
    }
    for( const char *digest : { "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA3-224", "SHA3-256", "SHA3-384", "SHA3-512" } )
        all.push_back( { "DSA", digest } );
    all.push_back( { "ED25519", nullptr } );
    all.push_back( { "ED448", nullptr } );
    all.push_back( { "SM2", "SM3" } );
    return all;
}

Ptr<X509> certificate( const char *name, EVP_PKEY *key, const char *issuer, bool ca )
{
    Ptr<X509> x509( X509_new() );
    X509_set_version( x509.get(), X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509.get() ), ca ? 1 : 2 );
    ASN1_TIME_set( X509_getm_notBefore( x509.get() ), now - 1000 );
    ASN1_TIME_set( X509_getm_notAfter( x509.get() ), now + 1000 );
    for( auto [text, set] : { std::pair( name, &X509_set_subject_name ), std::pair( issuer, &X509_set_issuer_name ) } )
    {
        X509_NAME *each = X509_NAME_new();
        X509_NAME_add_entry_by_txt( each, "CN", MBSTRING_ASC, (const unsigned char *)text, -1, -1, 0 );
        set( x509.get(), each );
        X509_NAME_free( each );
    }
    X509_set_pubkey( x509.get(), key );
    X509_EXTENSION *extension = X509V3_EXT_conf_nid( nullptr, nullptr, NID_basic_constraints, ca ? "critical,CA:TRUE" : "critical,CA:FALSE" );
    X509_add_ext( x509.get(), extension, -1 );
    X509_EXTENSION_free( extension );
    return x509;
}

// Signs and returns the DER; empty if OpenSSL cannot sign in this way.
std::string sign( X509 *x509, const Algorithm &algorithm )
{
    Ptr<EVP_MD_CTX> ctx( EVP_MD_CTX_new() );
    EVP_PKEY_CTX   *keyCtx = nullptr;
    if( EVP_DigestSignInit_ex( ctx.get(), &keyCtx, algorithm.digest, nullptr, nullptr, keyOf( algorithm.key ), nullptr ) != 1 )
        return "";
    if( algorithm.pss )
    {
        EXPECT_EQ( EVP_PKEY_CTX_set_rsa_padding( keyCtx, RSA_PKCS1_PSS_PADDING ), 1 );
        EXPECT_EQ( EVP_PKEY_CTX_set_rsa_pss_saltlen( keyCtx, algorithm.salt ), 1 );
        if( algorithm.mask )
        {
            EXPECT_EQ( EVP_PKEY_CTX_set_rsa_mgf1_md_name( keyCtx, algorithm.mask, nullptr ), 1 );
        }
    }
    if( X509_sign_ctx( x509, ctx.get() ) <= 0 )
        return "";
    unsigned char *der    = nullptr;
    int            length = i2d_X509( x509, &der );
    std::string    out( (char *)der, (size_t)length );
    OPENSSL_free( der );
    return out;
}

bool isVerifiable( const std::string &certificate )
{
    const unsigned char *at = (const unsigned char *)certificate.data();
    Ptr<X509>            x509( d2i_X509( nullptr, &at, (long)certificate.size() ) );
    int                  digest, key;
    return OBJ_find_sigid_algs( X509_get_signature_nid( x509.get() ), &digest, &key ) == 1;
}

bool plainVerdict( const std::string &leaf, const std::string &root )
{
    const unsigned char *at = (const unsigned char *)leaf.data();
    Ptr<X509>            leafX509( d2i_X509( nullptr, &at, (long)leaf.size() ) );
    at = (const unsigned char *)root.data();
    Ptr<X509>           rootX509( d2i_X509( nullptr, &at, (long)root.size() ) );
    Ptr<X509_STORE>     store( X509_STORE_new() );
    Ptr<X509_STORE_CTX> ctx( X509_STORE_CTX_new() );
    X509_STORE_add_cert( store.get(), rootX509.get() );
    EXPECT_EQ( X509_STORE_CTX_init( ctx.get(), store.get(), leafX509.get(), nullptr ), 1 );
    X509_VERIFY_PARAM *param = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( param, 255 );
    X509_VERIFY_PARAM_set_flags( param, X509_V_FLAG_PARTIAL_CHAIN );
    X509_VERIFY_PARAM_set_time( param, now );
    X509_STORE_CTX_set0_param( ctx.get(), param );
    return X509_verify_cert( ctx.get() ) == 1;
}

bool familyVerdict( const std::string &leaf, const std::string &root, bool fast )
{
    KeyDecoding                    used( fast );
    pb::Ref<CRY_X509_CERTIFICATE>  leafCert = pb::adopt( cryX509CertificateTryCreateFromDer( buf( leaf ).get() ) );
    pb::Ref<CRY_X509_CERTIFICATE>  rootCert = pb::adopt( cryX509CertificateTryCreateFromDer( buf( root ).get() ) );
    pb::Ref<CRY_X509_CERTIFICATES> trusted  = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<PB_TIME>               time     = pb::adopt( pbTimeTryCreateFromTimeT( now ) );
    EXPECT_TRUE( leafCert && rootCert );
    cryX509CertificatesAppendCertificate( trusted.handle(), rootCert.get() );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( leafCert.get(), nullptr, trusted.get(), time.get() ) );
    if( chain )
    {
        EXPECT_EQ( cryX509CertificatesCertificatesLength( chain.get() ), 2 );
    }
    return !!chain;
}

// One certificate from each context: the leaf from one, the root from the other.
bool mixedVerdict( const std::string &leaf, const std::string &root, bool leafFast )
{
    pb::Ref<CRY_X509_CERTIFICATE> certs[2];
    for( bool isLeaf : { false, true } )
    {
        KeyDecoding used( isLeaf == leafFast );
        certs[isLeaf] = pb::adopt( cryX509CertificateTryCreateFromDer( buf( isLeaf ? leaf : root ).get() ) );
    }
    pb::Ref<CRY_X509_CERTIFICATES> trusted = pb::adopt( cryX509CertificatesCreate() );
    cryX509CertificatesAppendCertificate( trusted.handle(), certs[false].get() );
    pb::Ref<PB_TIME>               time  = pb::adopt( pbTimeTryCreateFromTimeT( now ) );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( certs[true].get(), nullptr, trusted.get(), time.get() ) );
    return !!chain;
}

void expectVerdict( const std::string &leaf, const std::string &root, bool wanted, const std::string &what )
{
    EXPECT_EQ( plainVerdict( leaf, root ), wanted ) << "plain, " << what;
    EXPECT_EQ( familyVerdict( leaf, root, true ), wanted ) << "fast, " << what;
    EXPECT_EQ( familyVerdict( leaf, root, false ), wanted ) << "ordinary, " << what;
    EXPECT_EQ( mixedVerdict( leaf, root, true ), wanted ) << "fast leaf, " << what;
    EXPECT_EQ( mixedVerdict( leaf, root, false ), wanted ) << "fast root, " << what;
    ERR_clear_error();
}

// A root with this kind of key. Its own signature does not matter for the chain.
std::string rootOf( const char *kind )
{
    static std::map<std::string, std::string> all;
    std::string                              &der = all[kind];
    if( der.empty() )
    {
        bool hasOwnDigest = std::string( kind ).starts_with( "ED" );
        bool pss          = std::string( kind ).starts_with( "RSA-PSS" );
        der               = sign( certificate( "root", keyOf( kind ), "root", true ).get(),
                          { kind,
                hasOwnDigest                       ? nullptr
                                  : std::string( kind ) == "SM2" ? "SM3"
                                                                 : "SHA256",
                              pss, 32 } );
        EXPECT_FALSE( der.empty() ) << kind;
    }
    return der;
}

class SignatureAlgorithms : public testing::TestWithParam<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(
    Subjects, SignatureAlgorithms, testing::Values( "RSA", "P-256", "ED25519" ), []( const testing::TestParamInfo<const char *> &info ) {
        std::string name = info.param;
        std::erase( name, '-' );
        return name;
    } );

}

TEST_P( SignatureAlgorithms, GetTheSameVerdictInEveryContext )
{
    EVP_PKEY *subject  = keyOf( GetParam() );
    int       verified = 0;
    for( const Algorithm &algorithm : algorithms() )
    {
        std::string what = nameOf( algorithm );
        std::string root = rootOf( algorithm.key );
        std::string leaf = sign( certificate( "leaf", subject, "root", false ).get(), algorithm );
        ASSERT_FALSE( leaf.empty() ) << what << " " << ERR_error_string( ERR_peek_last_error(), nullptr );
        // OpenSSL makes some signatures (in 3.0: RSA with SHA-512/256, ECDSA with SHA-3) that are
        // not in its own table for verification.
        bool verifiable = isVerifiable( leaf );
        verified += verifiable;
        expectVerdict( leaf, root, verifiable, what );

        std::string flipped = leaf;
        flipped.back() ^= 1;
        expectVerdict( flipped, root, false, what + ", signature changed" );
    }
    EXPECT_GE( verified, 90 );
}

// OpenSSL 3.0 cannot write the parameters of RSA-PSS with SHA-3. The test changes those of SHA-256:
// the object identifiers differ in the last byte.
TEST_P( SignatureAlgorithms, GetTheSameVerdictOnRsaPssWithSha3 )
{
    for( const char *key : { "RSA", "RSA-PSS" } )
    {
        for( auto [digest, last] :
            { std::pair( "SHA3-224", '\x07' ), std::pair( "SHA3-256", '\x08' ), std::pair( "SHA3-384", '\x09' ), std::pair( "SHA3-512", '\x0a' ) } )
        {
            std::string leaf = sign( certificate( "leaf", keyOf( GetParam() ), "root", false ).get(), { key, "SHA256", true, 32 } );
            ASSERT_FALSE( leaf.empty() );
            int changed = 0;
            for( size_t at = 0; ( at = leaf.find( unhex( "0609608648016503040201" ), at ) ) != std::string::npos; changed++ )
                leaf[at += 10] = last;
            EXPECT_EQ( changed, 4 ); // digest and mask, in the signed part and after it

            openssl::Bytes content( (const PB_BYTE *)leaf.data(), leaf.size() );
            content                = openssl::take( content, openssl::tagSequence );
            openssl::Bytes  rest   = content;
            size_t          length = 256;
            Ptr<EVP_MD_CTX> ctx( EVP_MD_CTX_new() );
            EVP_PKEY_CTX   *keyCtx = nullptr;
            openssl::take( rest, openssl::tagSequence );
            ASSERT_EQ( EVP_DigestSignInit_ex( ctx.get(), &keyCtx, digest, nullptr, nullptr, keyOf( key ), nullptr ), 1 );
            ASSERT_EQ( EVP_PKEY_CTX_set_rsa_padding( keyCtx, RSA_PKCS1_PSS_PADDING ), 1 );
            ASSERT_EQ( EVP_PKEY_CTX_set_rsa_pss_saltlen( keyCtx, 32 ), 1 );
            ASSERT_EQ( EVP_DigestSign(
                           ctx.get(), (unsigned char *)leaf.data() + leaf.size() - length, &length, content.data(), content.size() - rest.size() ),
                1 );
            ASSERT_EQ( length, 256u );

            std::string what = std::string( key ) + " " + digest;
            expectVerdict( leaf, rootOf( key ), true, what );
            leaf.back() ^= 1;
            expectVerdict( leaf, rootOf( key ), false, what + ", signature changed" );
        }
    }
}

// The public key of such an issuer is not parsed in the key-decoding context, but it verifies
// certificates that are.
TEST_P( SignatureAlgorithms, MeetTheirOwnKindOfIssuerOnly )
{
    EVP_PKEY *subject = keyOf( GetParam() );
    for( const char *signer : { "RSA", "P-256", "ED25519", "SM2", "DSA" } )
    {
        bool        hasOwnDigest = std::string( signer ) == "ED25519";
        std::string leaf         = sign( certificate( "leaf", subject, "root", false ).get(),
                    { signer,
                hasOwnDigest                         ? nullptr
                            : std::string( signer ) == "SM2" ? "SM3"
                                                             : "SHA256" } );
        ASSERT_FALSE( leaf.empty() ) << signer;
        for( const char *issuer : { "RSA", "P-256", "P-384", "ED25519", "SM2", "DSA" } )
            expectVerdict( leaf, rootOf( issuer ), std::string( signer ) == issuer, std::string( signer ) + " under " + issuer );
    }
}
