#include "support/signatures.hpp"

#include "support/key_decoding.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

using namespace support;

namespace
{

using Context = std::unique_ptr<EVP_MD_CTX, decltype( &EVP_MD_CTX_free )>;

Context newContext() { return { EVP_MD_CTX_new(), EVP_MD_CTX_free }; }

const EVP_MD *digestOf( PB_INT alg ) { return EVP_get_digestbyname( digestNames[alg] ); }

const unsigned char *asBytes( const std::string &text ) { return (const unsigned char *)text.data(); }

// Removes the errors that its scope adds.
struct NoErrors
{
    NoErrors() { ERR_set_mark(); }
    ~NoErrors() { ERR_pop_to_mark(); }
};

std::string written( int ( *write )( const EVP_PKEY *, unsigned char ** ), EVP_PKEY *pkey )
{
    unsigned char *bytes  = nullptr;
    int            length = write( pkey, &bytes );
    std::string    out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    return out;
}

// Feeds pieces of 1, 3, 7, ... bytes.
void inPieces( const std::string &data, auto feed )
{
    for( size_t at = 0, piece = 1; at < data.size(); at += piece, piece = piece * 2 + 1 )
        feed( (const PB_BYTE *)data.data() + at, (PB_INT)std::min( piece, data.size() - at ) );
}

}

Pkey support::newEcKey( const char *group, const char *encoding )
{
    EVP_PKEY_CTX *ctx      = EVP_PKEY_CTX_new_from_name( nullptr, "EC", nullptr );
    OSSL_PARAM    params[] = { OSSL_PARAM_construct_utf8_string( OSSL_PKEY_PARAM_GROUP_NAME, (char *)group, 0 ),
        encoding ? OSSL_PARAM_construct_utf8_string( OSSL_PKEY_PARAM_EC_ENCODING, (char *)encoding, 0 ) : OSSL_PARAM_construct_end(),
           OSSL_PARAM_construct_end() };
    EXPECT_EQ( EVP_PKEY_keygen_init( ctx ), 1 );
    EXPECT_EQ( EVP_PKEY_CTX_set_params( ctx, params ), 1 );
    EVP_PKEY *pkey = nullptr;
    EXPECT_EQ( EVP_PKEY_generate( ctx, &pkey ), 1 ) << group;
    EVP_PKEY_CTX_free( ctx );
    return { pkey, EVP_PKEY_free };
}

Pkey support::newRsaKey( size_t bits )
{
    EVP_PKEY *pkey = EVP_RSA_gen( (unsigned int)bits );
    EXPECT_NE( pkey, nullptr ) << bits;
    return { pkey, EVP_PKEY_free };
}

PrivateKey support::privateKey( const Pkey &pkey, bool fast )
{
    KeyDecoding used( fast );
    std::string text = pkcs8Text( pkey.get() );
    EXPECT_FALSE( text.empty() );
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    return pem ? pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) ) : PrivateKey();
}

PublicKey support::publicKeyOf( const std::string &der, bool fast )
{
    KeyDecoding used( fast );
    return pb::adopt( cryPkeyPublicTryCreateFromPem( pem( "PUBLIC KEY", der ).get() ) );
}

PublicKey support::publicKey( const Pkey &pkey, bool fast ) { return publicKeyOf( written( i2d_PUBKEY, pkey.get() ), fast ); }

PublicKey support::wrappedPublicKey( const Pkey &pkey ) { return pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( pkey.get() ) ); }

std::string support::sign( PB_INT alg, const PrivateKey &priv, const std::string &data )
{
    return bytes( pb::adopt( crySignTrySign( alg, priv.get(), buf( data ).get() ) ) );
}

bool support::verify( PB_INT alg, const PublicKey &pub, const std::string &signature, const std::string &data )
{
    return crySignVerify( alg, pub.get(), buf( signature ).get(), buf( data ).get() );
}

std::string support::signPieces( PB_INT alg, const PrivateKey &priv, const std::string &data )
{
    pb::Ref<CRY_SIGN_SIGNER> signer = pb::adopt( crySignSignerTryCreate( alg, priv.get() ) );
    inPieces( data, [&]( const PB_BYTE *bytes, PB_INT count ) { crySignSignerUpdateBytes( signer.get(), bytes, count ); } );
    return bytes( pb::adopt( crySignSignerFinal( signer.get() ) ) );
}

bool support::verifyPieces( PB_INT alg, const PublicKey &pub, const std::string &signature, const std::string &data )
{
    pb::Ref<CRY_SIGN_VERIFIER> verifier = pb::adopt( crySignVerifierTryCreate( alg, pub.get(), buf( signature ).get() ) );
    inPieces( data, [&]( const PB_BYTE *bytes, PB_INT count ) { crySignVerifierUpdateBytes( verifier.get(), bytes, count ); } );
    return crySignVerifierFinal( verifier.get() );
}

std::string support::plainSign( PB_INT alg, EVP_PKEY *pkey, const std::string &data )
{
    NoErrors     scope;
    Context      context = newContext();
    std::string  signature( (size_t)std::max( EVP_PKEY_get_size( pkey ), 0 ), 0 );
    unsigned int length = 0;
    bool         made   = EVP_SignInit_ex( context.get(), digestOf( alg ), nullptr ) && EVP_SignUpdate( context.get(), data.data(), data.size() ) &&
        EVP_SignFinal( context.get(), (unsigned char *)signature.data(), &length, pkey ) == 1;
    signature.resize( made ? length : 0 );
    return signature;
}

bool support::plainVerify( PB_INT alg, EVP_PKEY *pkey, const std::string &signature, const std::string &data )
{
    NoErrors scope;
    Context  context = newContext();
    return EVP_VerifyInit_ex( context.get(), digestOf( alg ), nullptr ) && EVP_VerifyUpdate( context.get(), data.data(), data.size() ) &&
        EVP_VerifyFinal( context.get(), asBytes( signature ), (unsigned int)signature.size(), pkey ) == 1;
}

bool support::plainDigestVerify( PB_INT alg, EVP_PKEY *pkey, const std::string &signature, const std::string &data )
{
    NoErrors scope;
    Context  context = newContext();
    return EVP_DigestVerifyInit( context.get(), nullptr, digestOf( alg ), nullptr, pkey ) == 1 &&
        EVP_DigestVerify( context.get(), asBytes( signature ), signature.size(), asBytes( data ), data.size() ) == 1;
}

std::string support::ecdsaDer( const std::string &r, const std::string &s )
{
    ECDSA_SIG *signature = ECDSA_SIG_new();
    ECDSA_SIG_set0( signature, BN_bin2bn( asBytes( r ), (int)r.size(), nullptr ), BN_bin2bn( asBytes( s ), (int)s.size(), nullptr ) );
    unsigned char *bytes  = nullptr;
    int            length = i2d_ECDSA_SIG( signature, &bytes );
    EXPECT_GT( length, 0 );
    std::string der( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    ECDSA_SIG_free( signature );
    return der;
}

std::string support::pattern( size_t length )
{
    std::string text( length, 0 );
    for( size_t index = 0; index < length; index++ )
        text[index] = (char)( index * 37 + ( index >> 8 ) * 11 + 5 );
    return text;
}
