#include <cry/cry_sign.h>
#include <cry/cry_sign_convert.h>
#include <cry/internal/cry_pkey_private.h>
#include <pb/pb_mem.h>

#include "support/certificates.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

#include <openssl/err.h>

using namespace support;

static constexpr char file[]         = "source/cry/sign/cry_sign.cpp";
static constexpr char signerFile[]   = "source/cry/sign/cry_sign_signer.cpp";
static constexpr char verifierFile[] = "source/cry/sign/cry_sign_verifier.cpp";
static constexpr char convertFile[]  = "source/cry/sign/cry_sign_convert.cpp";

using Private = pb::Ref<CRY_PKEY_PRIVATE>;

static Private                  privateKey() { return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256 ).get() ) ); }
static pb::Ref<CRY_PKEY_PUBLIC> publicKey() { return pb::adopt( cryPkeyPrivatePublicKey( privateKey().get() ) ); }
static pb::Ref<CRY_SIGN_SIGNER> signer() { return pb::adopt( crySignSignerTryCreate( CRY_HASH_ALGORITHM_SHA2_256, privateKey().get() ) ); }
static pb::Ref<CRY_SIGN_VERIFIER> verifier( const pb::Ref<PB_BUFFER> &signature )
{
    return pb::adopt( crySignVerifierTryCreate( CRY_HASH_ALGORITHM_SHA2_256, publicKey().get(), signature.get() ) );
}
static pb::Ref<PB_BUFFER> signatureOf( const pb::Ref<PB_BUFFER> &data )
{
    return pb::adopt( crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, privateKey().get(), data.get() ) );
}

// The update functions of one of the two types; `name` is the object's name in the checks.
template<class T>
struct Updates
{
    const char *file;
    std::string name;
    void ( *update )( T *, PB_BUFFER * );
    void ( *bytes )( T *, const PB_BYTE *, PB_INT );
    void ( *inner )( T *, PB_BUFFER *, PB_INT, PB_INT );
    void ( *outer )( T *, PB_BUFFER *, PB_INT, PB_INT );
    void ( *leading )( T *, PB_BUFFER *, PB_INT );
    void ( *trailing )( T *, PB_BUFFER *, PB_INT );
};

static const Updates<CRY_SIGN_SIGNER>   signerUpdates = { signerFile, "sig", crySignSignerUpdate, crySignSignerUpdateBytes, crySignSignerUpdateInner,
      crySignSignerUpdateOuter, crySignSignerUpdateLeading, crySignSignerUpdateTrailing };
static const Updates<CRY_SIGN_VERIFIER> verifierUpdates = { verifierFile, "vfy", crySignVerifierUpdate, crySignVerifierUpdateBytes,
    crySignVerifierUpdateInner, crySignVerifierUpdateOuter, crySignVerifierUpdateLeading, crySignVerifierUpdateTrailing };

// The check of every refused update. After it, the object has taken "abcabc" by the calls at the
// end, which are not refused.
template<class T>
static void expectUpdateChecks( const Updates<T> &functions, T *object )
{
    const char        *file = functions.file;
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( file, functions.name, functions.update( nullptr, data.get() ) );
    EXPECT_ABORT( file, functions.name, functions.update( nullptr, nullptr ) );
    EXPECT_ABORT( file, "data", functions.update( object, nullptr ) );
    EXPECT_ABORT( file, functions.name, functions.bytes( nullptr, nullptr, 0 ) );
    EXPECT_ABORT( file, functions.name, functions.bytes( nullptr, nullptr, -1 ) );
    EXPECT_ABORT( file, "data || !byteCount", functions.bytes( object, nullptr, 1 ) );
    EXPECT_ABORT( file, "data || !byteCount", functions.bytes( object, nullptr, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", functions.bytes( object, (const PB_BYTE *)"x", -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", functions.bytes( object, (const PB_BYTE *)"x", PB_INT_MIN ) );
    for( auto update : { functions.inner, functions.outer } )
    {
        EXPECT_ABORT( file, functions.name, update( nullptr, data.get(), 0, 0 ) );
        EXPECT_ABORT( file, "data", update( object, nullptr, 0, 0 ) );
        EXPECT_ABORT( file, "byteOffset >= 0", update( object, data.get(), -1, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( object, data.get(), 0, -1 ) );
        EXPECT_ABORT( file, "PB_INT_ADD_OK( byteOffset, byteCount )", update( object, data.get(), 1, PB_INT_MAX ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteOffset + byteCount", update( object, data.get(), 2, 2 ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteOffset + byteCount", update( object, data.get(), 4, 0 ) );
    }
    for( auto update : { functions.leading, functions.trailing } )
    {
        EXPECT_ABORT( file, functions.name, update( nullptr, data.get(), 0 ) );
        EXPECT_ABORT( file, "data", update( object, nullptr, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( object, data.get(), -1 ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteCount", update( object, data.get(), 4 ) );
    }
    // Ranges that just fit.
    functions.bytes( object, nullptr, 0 );
    functions.inner( object, data.get(), 3, 0 );
    functions.outer( object, data.get(), 0, 3 );
    functions.leading( object, data.get(), 3 );
    functions.trailing( object, data.get(), 3 );
}

template<class T>
static void expectNoUpdates( const Updates<T> &functions, T *object )
{
    const char        *file = functions.file;
    const std::string  open = "!" + functions.name + "->final";
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( file, open, functions.update( object, data.get() ) );
    EXPECT_ABORT( file, open, functions.bytes( object, nullptr, 0 ) );
    EXPECT_ABORT( file, open, functions.bytes( object, nullptr, 1 ) );
    EXPECT_ABORT( file, open, functions.inner( object, data.get(), 0, 0 ) );
    EXPECT_ABORT( file, open, functions.outer( object, data.get(), 0, 3 ) );
    EXPECT_ABORT( file, open, functions.leading( object, data.get(), 0 ) );
    EXPECT_ABORT( file, open, functions.trailing( object, data.get(), 0 ) );
}

TEST( CrySignSignerContracts, StandardFunctions )
{
    pb::Ref<CRY_SIGN_SIGNER> sig = signer();
    EXPECT_STANDARD_CHECKS( signerFile, cry, SignSigner, CRY_SIGN_SIGNER, "sig", sig.get() );
}

TEST( CrySignSignerContracts, Create )
{
    for( PB_INT alg : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( signerFile, "CRY_HASH_ALGORITHM_OK( alg )", crySignSignerTryCreate( alg, privateKey().get() ) );
        EXPECT_ABORT( signerFile, "CRY_HASH_ALGORITHM_OK( alg )", crySignSignerTryCreate( alg, nullptr ) );
    }
    EXPECT_ABORT( signerFile, "privateKey", crySignSignerTryCreate( CRY_HASH_ALGORITHM_SHA2_256, nullptr ) );
    EXPECT_TRUE( pb::adopt( crySignSignerTryCreate( CRY_HASH_ALGORITHM_MD5, privateKey().get() ) ) );
    EXPECT_TRUE( pb::adopt( crySignSignerTryCreate( CRY_HASH_ALGORITHM_SHA3_512, privateKey().get() ) ) );
}

TEST( CrySignSignerContracts, RefusedUpdatesTakeNothing )
{
    pb::Ref<CRY_SIGN_SIGNER> sig = signer();
    expectUpdateChecks( signerUpdates, sig.get() );
    pb::Ref<PB_BUFFER> signature = pb::adopt( crySignSignerFinal( sig.get() ) );
    EXPECT_TRUE( crySignVerify( CRY_HASH_ALGORITHM_SHA2_256, publicKey().get(), signature.get(), buf( "abcabc" ).get() ) );
}

TEST( CrySignSignerContracts, Final )
{
    EXPECT_ABORT( signerFile, "sig", crySignSignerFinal( nullptr ) );
    pb::Ref<CRY_SIGN_SIGNER> sig       = signer();
    pb::Ref<PB_BUFFER>       signature = pb::adopt( crySignSignerFinal( sig.get() ) );
    EXPECT_TRUE( crySignVerify( CRY_HASH_ALGORITHM_SHA2_256, publicKey().get(), signature.get(), buf( "" ).get() ) );
    EXPECT_ABORT( signerFile, "!sig->final", crySignSignerFinal( sig.get() ) );
    expectNoUpdates( signerUpdates, sig.get() );
}

TEST( CrySignVerifierContracts, StandardFunctions )
{
    pb::Ref<CRY_SIGN_VERIFIER> vfy = verifier( buf( "" ) );
    EXPECT_STANDARD_CHECKS( verifierFile, cry, SignVerifier, CRY_SIGN_VERIFIER, "vfy", vfy.get() );
}

TEST( CrySignVerifierContracts, Create )
{
    pb::Ref<CRY_PKEY_PUBLIC> pub       = publicKey();
    pb::Ref<PB_BUFFER>       signature = buf( "" );
    for( PB_INT alg : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( verifierFile, "CRY_HASH_ALGORITHM_OK( alg )", crySignVerifierTryCreate( alg, pub.get(), signature.get() ) );
        EXPECT_ABORT( verifierFile, "CRY_HASH_ALGORITHM_OK( alg )", crySignVerifierTryCreate( alg, nullptr, nullptr ) );
    }
    EXPECT_ABORT( verifierFile, "publicKey", crySignVerifierTryCreate( CRY_HASH_ALGORITHM_SHA1, nullptr, signature.get() ) );
    EXPECT_ABORT( verifierFile, "publicKey", crySignVerifierTryCreate( CRY_HASH_ALGORITHM_SHA1, nullptr, nullptr ) );
    EXPECT_ABORT( verifierFile, "signature", crySignVerifierTryCreate( CRY_HASH_ALGORITHM_SHA1, pub.get(), nullptr ) );
    EXPECT_TRUE( pb::adopt( crySignVerifierTryCreate( CRY_HASH_ALGORITHM_MD5, pub.get(), signature.get() ) ) );
    EXPECT_TRUE( pb::adopt( crySignVerifierTryCreate( CRY_HASH_ALGORITHM_SHA3_512, pub.get(), signature.get() ) ) );
}

TEST( CrySignVerifierContracts, RefusedUpdatesTakeNothing )
{
    pb::Ref<CRY_SIGN_VERIFIER> vfy = verifier( signatureOf( buf( "abcabc" ) ) );
    expectUpdateChecks( verifierUpdates, vfy.get() );
    EXPECT_TRUE( crySignVerifierFinal( vfy.get() ) );
}

TEST( CrySignVerifierContracts, Final )
{
    EXPECT_ABORT( verifierFile, "vfy", crySignVerifierFinal( nullptr ) );
    pb::Ref<CRY_SIGN_VERIFIER> vfy = verifier( signatureOf( buf( "" ) ) );
    EXPECT_TRUE( crySignVerifierFinal( vfy.get() ) );
    EXPECT_ABORT( verifierFile, "!vfy->final", crySignVerifierFinal( vfy.get() ) );
    expectNoUpdates( verifierUpdates, vfy.get() );
}

TEST( CrySignContracts, WholeBuffers )
{
    Private                  priv = privateKey();
    pb::Ref<CRY_PKEY_PUBLIC> pub  = publicKey();
    pb::Ref<PB_BUFFER>       data = buf( "abc" );
    static constexpr char    ok[] = "CRY_HASH_ALGORITHM_OK( alg )";
    for( PB_INT alg : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( file, ok, crySignTrySign( alg, priv.get(), data.get() ) );
        EXPECT_ABORT( file, ok, crySignCanSign( alg, priv.get() ) );
        EXPECT_ABORT( file, ok, crySignVerify( alg, pub.get(), data.get(), data.get() ) );
    }
    EXPECT_ABORT( file, "privateKey", crySignTrySign( CRY_HASH_ALGORITHM_SHA1, nullptr, data.get() ) );
    EXPECT_ABORT( file, "data", crySignTrySign( CRY_HASH_ALGORITHM_SHA1, priv.get(), nullptr ) );
    EXPECT_ABORT( file, "privateKey", crySignCanSign( CRY_HASH_ALGORITHM_SHA1, nullptr ) );
    EXPECT_ABORT( file, "publicKey", crySignVerify( CRY_HASH_ALGORITHM_SHA1, nullptr, data.get(), data.get() ) );
    EXPECT_ABORT( file, "signature", crySignVerify( CRY_HASH_ALGORITHM_SHA1, pub.get(), nullptr, data.get() ) );
    EXPECT_ABORT( file, "data", crySignVerify( CRY_HASH_ALGORITHM_SHA1, pub.get(), data.get(), nullptr ) );
    // The first broken contract is reported.
    EXPECT_ABORT( file, ok, crySignTrySign( 10, nullptr, nullptr ) );
    EXPECT_ABORT( file, ok, crySignCanSign( 10, nullptr ) );
    EXPECT_ABORT( file, "privateKey", crySignTrySign( CRY_HASH_ALGORITHM_SHA1, nullptr, nullptr ) );
    EXPECT_ABORT( file, ok, crySignVerify( 10, nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( file, "publicKey", crySignVerify( CRY_HASH_ALGORITHM_SHA1, nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( file, "signature", crySignVerify( CRY_HASH_ALGORITHM_SHA1, pub.get(), nullptr, nullptr ) );
}

TEST( CrySignContracts, SignaturesBeyondFourGigabytesAreRefused )
{
    // The memory is never touched, so it needs no real memory.
    static constexpr PB_INT length = (PB_INT)1 << 32;
    pb::Ref<PB_BUFFER>      huge   = pb::adopt( pbBufferCreateFromBytesUse( pbMemAlloc( (size_t)length ), length ) );
    pb::Ref<PB_BUFFER>      data   = buf( "abc" );
    EXPECT_ABORT( verifierFile, "PB_INT_TO_UNSIGNED_INT_CONV_OK( pbBufferLength( vfy->signature ) )",
        crySignVerify( CRY_HASH_ALGORITHM_SHA2_256, publicKey().get(), huge.get(), data.get() ) );
    pb::Ref<CRY_SIGN_VERIFIER> vfy = verifier( huge );
    crySignVerifierUpdate( vfy.get(), data.get() );
    EXPECT_ABORT( verifierFile, "PB_INT_TO_UNSIGNED_INT_CONV_OK( pbBufferLength( vfy->signature ) )", crySignVerifierFinal( vfy.get() ) );
}

// Keys that a private key object holds and that cannot sign.
struct Unable
{
    const char *name;
    Private     key;
    PB_INT      alg = CRY_HASH_ALGORITHM_SHA2_256;
};

static Private held( EVP_PKEY *pkey ) { return pkey ? pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) ) : Private(); }
static Private fromText( const Private &priv )
{
    return pb::adopt( cryPkeyPrivateTryCreateFromPem( pb::adopt( cryPkeyPrivatePem( priv.get() ) ).get() ) );
}

TEST( CrySignContracts, KeysThatCannotSign )
{
    static constexpr char check[] = "EVP_SignFinal( sig->mdCtx, signature, &signatureLength, pkey )";
    const Unable          keys[]  = {
        { "Ed25519", held( EVP_PKEY_Q_keygen( nullptr, nullptr, "ED25519" ) ) },
        { "X25519", held( EVP_PKEY_Q_keygen( nullptr, nullptr, "X25519" ) ) },
        { "RSA with 512 bits", held( EVP_PKEY_Q_keygen( nullptr, nullptr, "RSA", (size_t)512 ) ), CRY_HASH_ALGORITHM_SHA2_512 },
        { "Oakley-EC2N-3", pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 ) ) },
        { "SM2 from its text", fromText( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_SM2 ) ) ) },
    };
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    for( const Unable &each : keys )
    {
        SCOPED_TRACE( each.name );
        ASSERT_TRUE( each.key );
        ERR_clear_error();
        EXPECT_FALSE( crySignCanSign( each.alg, each.key.get() ) );
        EXPECT_EQ( ERR_peek_error(), 0ul );
        EXPECT_ABORT( signerFile, check, crySignTrySign( each.alg, each.key.get(), data.get() ) );
        pb::Ref<CRY_SIGN_SIGNER> sig = pb::adopt( crySignSignerTryCreate( each.alg, each.key.get() ) );
        crySignSignerUpdate( sig.get(), data.get() );
        EXPECT_ABORT( signerFile, check, crySignSignerFinal( sig.get() ) );
        EXPECT_ABORT( signerFile, "!sig->final", crySignSignerFinal( sig.get() ) );
    }
    // The same small key has room for a smaller digest. A new key on SM2's curve is an EC key.
    EXPECT_TRUE( crySignCanSign( CRY_HASH_ALGORITHM_SHA2_256, keys[2].key.get() ) );
    EXPECT_TRUE( pb::adopt( crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, keys[2].key.get(), data.get() ) ) );
    Private justMade = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_SM2 ) );
    EXPECT_TRUE( crySignCanSign( CRY_HASH_ALGORITHM_SHA2_256, justMade.get() ) );
    EXPECT_TRUE( pb::adopt( crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, justMade.get(), data.get() ) ) );
    ERR_clear_error();
}

TEST( CrySignContracts, Conversions )
{
    for( PB_INT curve : { (PB_INT)CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, (PB_INT)0, (PB_INT)-1, PB_INT_MAX } )
    {
        EXPECT_ABORT( convertFile, "input", crySignConvertDerToRaw( nullptr, curve ) );
        EXPECT_ABORT( convertFile, "input", crySignConvertRawToDer( nullptr, curve ) );
    }
    // A number that is not a curve is bad data, not a broken contract.
    pb::Ref<PB_BUFFER> raw = buf( std::string( 132, 1 ) );
    EXPECT_TRUE( pb::adopt( crySignConvertRawToDer( raw.get(), CRY_PKEY_EC_NAMED_CURVE_SECP521R1 ) ) );
    for( PB_INT curve : { (PB_INT)-1, (PB_INT)82, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_FALSE( pb::adopt( crySignConvertRawToDer( raw.get(), curve ) ) );
}
