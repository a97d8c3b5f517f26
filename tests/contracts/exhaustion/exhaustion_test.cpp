// Contracts for memory. In this process, libcrypto takes its memory from an allocator that fails if
// a test asks for it.
#include <bn/bn_int.h>
#include <cry/cry.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>
#include <cry/internal/cry_x509_key_usage.h>

#include "support/certificates.hpp"
#include "support/contract.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <utility>

using namespace support;

namespace
{

// For this thread: the number of allocations that succeed before one fails; below zero all succeed.
thread_local int allocationsLeft = -1;
// For this thread: all allocations fail.
thread_local bool noMemory = false;

bool fails()
{
    if( noMemory )
        return true;
    if( allocationsLeft < 0 )
        return false;
    return allocationsLeft-- == 0;
}

void *take( size_t size, const char *, int ) { return !size || fails() ? nullptr : std::malloc( size ); }

void give( void *memory, const char *, int ) { std::free( memory ); }

void *move( void *memory, size_t size, const char *file, int line )
{
    if( size )
        return fails() ? nullptr : std::realloc( memory, size );
    give( memory, file, line );
    return nullptr;
}

// It is set up before all others, since it is registered before main. libcrypto has not allocated
// memory before.
class Allocator : public testing::Environment
{
public:
    void SetUp() override { ASSERT_EQ( CRYPTO_set_mem_functions( take, move, give ), 1 ); }
};

testing::Environment *const allocator = testing::AddGlobalTestEnvironment( new Allocator );

// The number of allocations that a call makes.
int allocationsOf( const std::function<void()> &call )
{
    allocationsLeft = INT_MAX;
    call();
    return INT_MAX - std::exchange( allocationsLeft, -1 );
}

// Repeats a call. In each repetition another allocation fails: number `begin`, then the next, up to
// the one before `end`. Gives the aborts.
std::vector<Abort> abortsOf( const std::function<void()> &call, int begin, int end )
{
    std::vector<Abort> aborts;
    for( int each = begin; each < end; each++ )
    {
        allocationsLeft = each;
        Abort abort     = abortOf( call );
        // A call can make fewer allocations than the call before, if something was kept.
        bool failed     = allocationsLeft < 0;
        allocationsLeft = -1;
        ERR_clear_error();
        if( !abort.happened )
            continue;
        EXPECT_TRUE( failed ) << abort.expression;
        EXPECT_EQ( abort.context, "(null)" );
        EXPECT_EQ( wrongPlaceOf( abort ), "" );
        aborts.push_back( std::move( abort ) );
    }
    return aborts;
}

std::vector<Abort> abortsOf( const std::function<void()> &call ) { return abortsOf( call, 0, allocationsOf( call ) ); }

// The texts of the aborts in this file, in the order of their first occurrence.
std::vector<std::string> textsIn( const std::string &file, const std::vector<Abort> &aborts )
{
    std::vector<std::string> texts;
    for( const Abort &abort : aborts )
    {
        if( abort.file == file && std::find( texts.begin(), texts.end(), abort.expression ) == texts.end() )
            texts.push_back( abort.expression );
    }
    return texts;
}

// The same, but all aborts must be in this file.
std::vector<std::string> abortsIn( const std::string &file, const std::vector<Abort> &aborts )
{
    for( const Abort &abort : aborts )
        EXPECT_EQ( abort.file, file ) << abort.expression;
    return textsIn( file, aborts );
}
std::vector<std::string> abortsIn( const std::string &file, const std::function<void()> &call ) { return abortsIn( file, abortsOf( call ) ); }

using Texts = std::vector<std::string>;

pb::Ref<CRY_PKEY_PRIVATE> privateKey( int number = 0 )
{
    return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256, number ).get() ) );
}

constexpr PB_INT sha256 = CRY_HASH_ALGORITHM_SHA2_256, sha3 = CRY_HASH_ALGORITHM_SHA3_256;

}

TEST( Exhaustion, Digests )
{
    static constexpr char file[] = "source/cry/hash/cry_hash.cpp";
    EXPECT_EQ( abortsIn( file, [] { pb::adopt( cryHashTryCreate( sha256 ) ); } ), Texts{ "hash->mdCtx" } );
    // For sensitive data, a new context is made.
    pb::Ref<PB_BUFFER> secret = buf( "abc" );
    pbBufferSetSensitive( secret.handle() );
    EXPECT_EQ( abortsIn( file, [&] { pb::adopt( cryHashTryCompute( sha3, secret.get() ) ); } ), Texts{ "mdCtx" } );
    Shortcuts off( false );
    EXPECT_EQ( abortsIn( file, [&] { pb::adopt( cryHashTryCompute( sha256, secret.get() ) ); } ), Texts{ "mdCtx" } );
    // The low-level functions need no memory.
    Shortcuts on( true );
    EXPECT_EQ( allocationsOf( [&] { pb::adopt( cryHashTryCompute( sha256, secret.get() ) ); } ), 0 );
}

TEST( Exhaustion, SignersAndVerifiers )
{
    pb::Ref<CRY_PKEY_PRIVATE> priv = privateKey();
    pb::Ref<CRY_PKEY_PUBLIC>  pub  = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
    pb::Ref<PB_BUFFER>        data = buf( "abc" );
    EXPECT_EQ( abortsIn( "source/cry/sign/cry_sign_signer.cpp", [&] { pb::adopt( crySignSignerTryCreate( sha256, priv.get() ) ); } ),
        Texts{ "sig->mdCtx" } );
    EXPECT_EQ( abortsIn( "source/cry/sign/cry_sign_verifier.cpp", [&] { pb::adopt( crySignVerifierTryCreate( sha256, pub.get(), data.get() ) ); } ),
        Texts{ "EVP_VerifyInit_ex( vfy->mdCtx, md, NULL )" } );
}

TEST( Exhaustion, MacsAndCiphersAreNull )
{
    // These calls do not abort: without memory they give null.
    pb::Ref<PB_BUFFER> key = buf( std::string( 16, 'k' ) );
    EXPECT_TRUE( abortsOf( [&] { pb::adopt( cryMacTryCreateHmac( sha256, key.get() ) ); } ).empty() );
    for( PB_INT alg : { sha256, sha3 } )
        EXPECT_TRUE( abortsOf( [&] { pb::adopt( cryMacTryComputeHmac( alg, key.get(), key.get() ) ); } ).empty() );
    EXPECT_TRUE( abortsOf( [&] { pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, key.get() ) ); } ).empty() );
    allocationsLeft = 0;
    EXPECT_FALSE( pb::adopt( cryMacTryCreateHmac( sha256, key.get() ) ) );
    allocationsLeft = 0;
    EXPECT_FALSE( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, key.get() ) ) );
    allocationsLeft = -1;
    ERR_clear_error();
}

TEST( Exhaustion, BigNumbers )
{
    EXPECT_EQ( abortsIn( "source/bn/bn_int.cpp", [] { pb::adopt( bnIntCreate( 7 ) ); } ), ( Texts{ "bignum", "BN_set_word( bignum, magnitude )" } ) );
}

TEST( Exhaustion, Chains )
{
    static constexpr char         chainFile[] = "source/cry/x509/cry_x509_certificate_chain.cpp";
    static constexpr char         storeFile[] = "source/cry/x509/cry_x509_certificate_lookup.cpp";
    Chain                         chain       = chainOf( KeyKind::p256 );
    pb::Ref<CRY_X509_CERTIFICATE> leaf = certificate( chain.leaf ), intermediate = certificate( chain.intermediate ),
                                  root   = certificate( chain.root );
    pb::Ref<CRY_X509_CERTIFICATES> extra = certificates( { intermediate } ), trusted = certificates( { root } );
    pb::Ref<PB_TIME>               when = support::time( leafTime );
    auto verify = [&] { return pb::adopt( cry___X509CertificateChainTryVerifyCertificate( leaf.get(), extra.get(), trusted.get(), when.get() ) ); };
    // The collection's store was made before.
    ASSERT_TRUE( verify() );
    EXPECT_EQ(
        abortsIn( chainFile, verify ), ( Texts{ "x509Extra", "sk_X509_push( x509Extra.get(), extra ) > 0", "x509StoreCtx", "x509VerifyParam" } ) );
    ASSERT_TRUE( verify() );

    // Each call has a new collection, so its store is made.
    auto made = [&] {
        trusted = certificates( { root } );
        verify();
    };
    Texts wanted = { "x509Store", "object", "sk_X509_OBJECT_push( objects, object ) > 0" };
    if( openssl___ShortcutsUsed() )
        wanted.insert( wanted.begin() + 1, { "x509Lookup", "X509_STORE_set_ex_data( x509Store, lookupPlace(), lookup )" } );
    EXPECT_EQ( textsIn( storeFile, abortsOf( made ) ), wanted );
    trusted = certificates( { root } );
    ASSERT_TRUE( verify() );
}

TEST( Exhaustion, FirstUseOfACertificate )
{
    pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt(
        cryX509CertificateTryCreateFromDer( buf( support::der( chainOf( KeyKind::p256 ).leaf ) ).get() ) );
    noMemory    = true;
    Abort abort = abortOf( [&] { cry___X509CertificatePeekOpensslX509( cert.get() ); } );
    noMemory    = false;
    ERR_clear_error();
    EXPECT_EQ( abort.happened, openssl___ShortcutsUsed() == PB_TRUE );
    if( abort.happened )
        EXPECT_EQ( abort.expression, "x509" );
    EXPECT_TRUE( cry___X509CertificatePeekOpensslX509( cert.get() ) );
}

TEST( Exhaustion, KeyUsage )
{
    for( int bit = 0; bit < 9; bit++ )
    {
        std::string set    = "ASN1_BIT_STRING_set_bit( result, " + std::to_string( bit ) + ", 1 )";
        auto        encode = [bit] { ASN1_BIT_STRING_free( cry___X509KeyUsageToOpensslKeyUsage( (PB_INT)1 << bit ) ); };
        EXPECT_EQ( abortsIn( "source/cry/x509/cry_x509_key_usage.cpp", encode ), ( Texts{ "result", set } ) );
    }
}

TEST( Exhaustion, Pkcs12 )
{
    static constexpr char          file[] = "source/cry/pkcs12/cry_pkcs12.cpp";
    pb::Ref<CRY_X509_CERTIFICATE>  leaf   = certificate( chainOf( KeyKind::p256 ).leaf );
    pb::Ref<CRY_X509_CERTIFICATES> others = certificates( { certificate( chainOf( KeyKind::p256 ).intermediate ) } );
    pb::Ref<CRY_PKCS12>            pkcs12 = pb::adopt( cryPkcs12TryCreate( leaf.get(), privateKey( 2 ).get(), others.get() ) );
    ASSERT_TRUE( pkcs12 );
    pb::Ref<PB_STRING> password = str( "secret" );
    // The derivation of keys is slow, so only the first and the last allocations are tried. A
    // written file goes to a BIO at the end of the call; a file to be read goes to a BIO at its
    // beginning.
    auto encode = [&] { pb::adopt( cryPkcs12TryEncode( pkcs12.get(), password.get() ) ); };
    // The first call also makes the objects that OpenSSL keeps.
    encode();
    int count = allocationsOf( encode );
    ASSERT_GT( count, 100 );
    EXPECT_EQ( abortsIn( file, abortsOf( encode, 0, 5 ) ), ( Texts{ "certs" } ) );
    EXPECT_EQ( abortsIn( file, abortsOf( encode, count - 60, count ) ), ( Texts{ "bioRead", "1 == i2d_PKCS12_bio( bioRead, pkcs )" } ) );
    pb::Ref<PB_BUFFER> encoded = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), password.get() ) );
    auto               decode  = [&] { pb::adopt( cryPkcs12TryCreateFromBuffer( encoded.get(), password.get() ) ); };
    EXPECT_EQ( abortsIn( file, abortsOf( decode, 0, 20 ) ), ( Texts{ "bioWrite" } ) );
}
