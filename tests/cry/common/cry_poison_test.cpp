// A freed object's pointers are all ones, in every type of the module that has pointers.
#include "x509/cry_x509_validator_failure.hpp"

#include <cry/cry.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "cry/x509/stacks.hpp"
#include "support/certificates.hpp"
#include "support/poison.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

constexpr PB_INT sha256 = CRY_HASH_ALGORITHM_SHA2_256;

pb::Ref<CRY_PKEY_PRIVATE> privateKey( int number = 0 )
{
    return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256, number ).get() ) );
}
pb::Ref<CRY_PKEY_PUBLIC> publicKey() { return pb::adopt( cryPkeyPrivatePublicKey( privateKey().get() ) ); }

pb::Ref<CRY_X509_CERTIFICATE> selfSigned() { return certificate( chainOf( KeyKind::p256 ).root ); }

}

TEST( CryPoison, Digests ) { expectPoison( pb::adopt( cryHashTryCreate( sha256 ) ), "-p" ); }

TEST( CryPoison, Macs ) { expectPoison( pb::adopt( cryMacTryCreateHmac( sha256, buf( "key" ).get() ) ), "-p" ); }

TEST( CryPoison, Ciphers )
{
    expectPoison( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, buf( std::string( 16, 'k' ) ).get() ) ), "--pp" );
}

TEST( CryPoison, SignersAndVerifiers )
{
    expectPoison( pb::adopt( crySignSignerTryCreate( sha256, privateKey().get() ) ), "-p-p" );
    expectPoison( pb::adopt( crySignVerifierTryCreate( sha256, publicKey().get(), buf( "signature" ).get() ) ), "-pp-p" );
}

TEST( CryPoison, Keys )
{
    // The signature contexts follow the two pointers; they are not pointers to single objects.
    expectPoison( privateKey(), "pp" );
    expectPoison( publicKey(), "pp" );
    // A key that has signed.
    pb::Ref<CRY_PKEY_PRIVATE> used = privateKey();
    EXPECT_TRUE( pb::adopt( crySignTrySign( sha256, used.get(), buf( "abc" ).get() ) ) );
    expectPoison( std::move( used ), "pp" );
}

TEST( CryPoison, PemObjects ) { expectPoison( pem( "CERTIFICATE", "abc" ), "pp" ); }

TEST( CryPoison, Certificates )
{
    expectPoison( selfSigned(), "pp" );
    // Without and with the OpenSSL store of the collection.
    expectPoison( certificates( { selfSigned() } ), "pp" );
    pb::Ref<CRY_X509_CERTIFICATE>  root    = selfSigned();
    pb::Ref<CRY_X509_CERTIFICATES> trusted = certificates( { root } );
    EXPECT_TRUE( pb::adopt( cry___X509CertificateChainTryVerifyCertificate( root.get(), nullptr, trusted.get(), support::time( leafTime ).get() ) ) );
    expectPoison( std::move( trusted ), "pp" );
}

TEST( CryPoison, Requests ) { expectPoison( pb::adopt( cryTryGenerateCsr( privateKey().get(), str( "host.example" ).get(), nullptr ) ), "pp" ); }

TEST( CryPoison, Pkcs12 )
{
    pb::Ref<CRY_X509_CERTIFICATE>  leaf  = certificate( chainOf( KeyKind::p256 ).leaf );
    pb::Ref<CRY_X509_CERTIFICATES> extra = certificates( { certificate( chainOf( KeyKind::p256 ).intermediate ) } );
    expectPoison( pb::adopt( cryPkcs12TryCreate( leaf.get(), privateKey( 2 ).get(), extra.get() ) ), "ppp" );
}

TEST( CryPoison, StacksSessionsAndValidators )
{
    expectPoison( options( fixedIdentity( 1 ) ), "--pp--ppp---" );
    expectPoison( stackOf( options() ), "p" );
    expectPoison( sessionOf( stackOf( options() ) ), "pp" );
    pb::Ref<CRY_X509_POLICY> policy = pb::adopt( cryX509PolicyCreate() );
    expectPoison(
        pb::adopt( cryX509ValidatorCreate( sessionOf( stackOf( options() ) ).get(), policy.get(), selfSigned().get(), nullptr, nullptr ) ), "p" );
    pb::Ref<PB_TIME> time = support::time( leafTime );
    // An absent number would look like poison.
    expectPoison( pb::adopt( cry::x509::createFailure(
                      { .reason = CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN, .time = time.get(), .opensslError = 10, .depth = 0 } ) ),
        "-p--ppp" );
}
