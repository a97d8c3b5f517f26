// A process in which some digests come from elsewhere: from a provider that is preferred, from one
// that looks like the default provider, from an engine.
#include <cry/cry_hash.h>
#include <cry/cry_mac.h>
#include <openssl_module/internal/openssl_module.h>

#include "hash/cry_hash_algorithm.hpp"
#include "hash/cry_hash_direct.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/core_dispatch.h>
#include <openssl/core_names.h>
#include <openssl/engine.h>
#include <openssl/provider.h>

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;

namespace
{

constexpr size_t  digestLength = 32, blockLength = 64;
constexpr PB_BYTE foreignByte = 0x5F;

// A provider whose SHA2-256 gives one and the same byte.
void *newContext( void * )
{
    static int some;
    return &some;
}
void *copyContext( void *context ) { return context; }
void  freeContext( void  *) {}
int   start( void *, const OSSL_PARAM   *) { return 1; }
int   add( void *, const unsigned char *, size_t ) { return 1; }
int   finish( void *, unsigned char *digest, size_t *length, size_t )
{
    memset( digest, foreignByte, *length = digestLength );
    return 1;
}
int parameters( OSSL_PARAM all[] )
{
    OSSL_PARAM *size = OSSL_PARAM_locate( all, OSSL_DIGEST_PARAM_SIZE ), *block = OSSL_PARAM_locate( all, OSSL_DIGEST_PARAM_BLOCK_SIZE );
    return ( !size || OSSL_PARAM_set_size_t( size, digestLength ) ) && ( !block || OSSL_PARAM_set_size_t( block, blockLength ) );
}

template<class Function>
OSSL_DISPATCH entry( int id, Function function )
{
    return { id, reinterpret_cast<void ( * )()>( function ) };
}

const OSSL_ALGORITHM *query( void *, int operation, int *noCache )
{
    static const OSSL_DISPATCH  functions[] = { entry( OSSL_FUNC_DIGEST_NEWCTX, newContext ), entry( OSSL_FUNC_DIGEST_DUPCTX, copyContext ),
         entry( OSSL_FUNC_DIGEST_FREECTX, freeContext ), entry( OSSL_FUNC_DIGEST_INIT, start ), entry( OSSL_FUNC_DIGEST_UPDATE, add ),
         entry( OSSL_FUNC_DIGEST_FINAL, finish ), entry( OSSL_FUNC_DIGEST_GET_PARAMS, parameters ), { 0, nullptr } };
    static const OSSL_ALGORITHM all[]       = { { "SHA2-256:SHA-256:SHA256:2.16.840.1.101.3.4.2.1", "provider=foreign", functions, nullptr },
              { nullptr, nullptr, nullptr, nullptr } };
    *noCache                                = 0;
    return operation == OSSL_OP_DIGEST ? all : nullptr;
}

int startForeign( const OSSL_CORE_HANDLE *handle, const OSSL_DISPATCH *, const OSSL_DISPATCH **functions, void **context )
{
    static const OSSL_DISPATCH own[] = { entry( OSSL_FUNC_PROVIDER_QUERY_OPERATION, query ), { 0, nullptr } };
    *functions                       = own;
    *context                         = const_cast<OSSL_CORE_HANDLE *>( handle );
    return 1;
}

// A provider that lends the functions of a built-in one.
OSSL_PROVIDER *lender;

int startBorrowing( const OSSL_CORE_HANDLE *, const OSSL_DISPATCH *, const OSSL_DISPATCH **functions, void **context )
{
    *functions = OSSL_PROVIDER_get0_dispatch( lender );
    *context   = OSSL_PROVIDER_get0_provider_ctx( lender );
    return 1;
}

const char *pretendedName = nullptr;

// It is set up before the libraries start, since it is registered before main.
class Foreign : public testing::Environment
{
public:
    void SetUp() override
    {
        ASSERT_EQ( OPENSSL_init_crypto( OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr ), 1 );
        ASSERT_EQ( OSSL_PROVIDER_add_builtin( nullptr, "foreign", startForeign ), 1 );
        ASSERT_NE( OSSL_PROVIDER_load( nullptr, "default" ), nullptr );
        ASSERT_NE( OSSL_PROVIDER_load( nullptr, "foreign" ), nullptr );
        ASSERT_EQ( EVP_set_default_properties( nullptr, "?provider=foreign" ), 1 );
    }
};

testing::Environment *const foreign = testing::AddGlobalTestEnvironment( new Foreign );

constexpr PB_INT mine = CRY_HASH_ALGORITHM_SHA2_256;

// The digest and the HMAC of short data, with shortcuts and without.
std::string digest( PB_INT alg, bool shortcuts )
{
    Shortcuts now( shortcuts );
    return hex( bytes( pb::adopt( cryHashTryCompute( alg, buf( "abc" ).get() ) ) ) );
}

std::string mac( PB_INT alg, bool shortcuts )
{
    Shortcuts now( shortcuts );
    return hex( bytes( pb::adopt( cryMacTryComputeHmac( alg, buf( "key" ).get(), buf( "abc" ).get() ) ) ) );
}

bool isTakenDirectly( PB_INT alg )
{
    Shortcuts now( true );
    PB_BYTE   result[EVP_MAX_MD_SIZE];
    return cry::tryDigestDirectly( alg, {}, result );
}

}

// It replaces libcrypto's function, for this program.
extern "C" const char *OSSL_PROVIDER_get0_name( const OSSL_PROVIDER *provider )
{
    static const auto next = (const char *(*)(const OSSL_PROVIDER *))dlsym( RTLD_NEXT, "OSSL_PROVIDER_get0_name" );
    return pretendedName ? pretendedName : next( provider );
}

TEST( ForeignDigests, APreferredProviderIsNotPassedBy )
{
    std::string constant = hex( std::string( digestLength, (char)foreignByte ) );
    EXPECT_FALSE( cry::defaultProvidersDigest( mine ) );
    EXPECT_FALSE( isTakenDirectly( mine ) );
    for( bool shortcuts : { false, true } )
    {
        EXPECT_EQ( digest( mine, shortcuts ), constant );
        EXPECT_EQ( mac( mine, shortcuts ), constant );
    }
}

TEST( ForeignDigests, DigestsThatItDoesNotHaveAreTheDefaultProviders )
{
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        if( alg != mine )
            EXPECT_TRUE( cry::defaultProvidersDigest( alg ) ) << alg;
        EXPECT_EQ( digest( alg, true ), digest( alg, false ) ) << alg;
        EXPECT_EQ( mac( alg, true ), mac( alg, false ) ) << alg;
    }
    EXPECT_TRUE( isTakenDirectly( CRY_HASH_ALGORITHM_SHA1 ) );
}

TEST( ForeignDigests, TheNameOfTheDefaultProviderIsNotEnough )
{
    const EVP_MD *md = openssl___Digest( "SHA2-256" );
    ASSERT_NE( md, nullptr );
    pretendedName = "default";
    ASSERT_STREQ( OSSL_PROVIDER_get0_name( EVP_MD_get0_provider( md ) ), "default" );
    EXPECT_FALSE( openssl___IsDefaultProviders( md ) );
    EXPECT_TRUE( openssl___IsDefaultProviders( openssl___Digest( "SHA1" ) ) );
    pretendedName = nullptr;
    EXPECT_FALSE( openssl___IsDefaultProviders( md ) );
}

TEST( ForeignDigests, TheFunctionsOfTheDefaultProviderAreNotEnough )
{
    // These contexts are never freed, since the second provider uses what belongs to the first one.
    static OSSL_LIB_CTX *lending = OSSL_LIB_CTX_new(), *borrowing = OSSL_LIB_CTX_new();
    lender = OSSL_PROVIDER_load( lending, "default" );
    ASSERT_NE( lender, nullptr );
    ASSERT_EQ( OSSL_PROVIDER_add_builtin( borrowing, "borrowing", startBorrowing ), 1 );
    ASSERT_NE( OSSL_PROVIDER_load( borrowing, "borrowing" ), nullptr );
    EVP_MD *md = EVP_MD_fetch( borrowing, "SHA2-256", nullptr );
    ASSERT_NE( md, nullptr );
    EXPECT_FALSE( openssl___IsDefaultProviders( md ) );
    EXPECT_FALSE( openssl___IsDefaultProviders( EVP_sha256() ) );
    EVP_MD_free( md );
}

// This is the last test, since the engine stays.
TEST( ForeignDigests, AnEngineThatAHostMadeTheDefaultIsNotPassedBy )
{
    static EVP_MD *method = EVP_MD_meth_new( NID_sha1, NID_undef );
    EVP_MD_meth_set_result_size( method, 20 );
    EVP_MD_meth_set_input_blocksize( method, 64 );
    EVP_MD_meth_set_app_datasize( method, 8 );
    EVP_MD_meth_set_init( method, []( EVP_MD_CTX * ) { return 1; } );
    EVP_MD_meth_set_update( method, []( EVP_MD_CTX *, const void *, size_t ) { return 1; } );
    EVP_MD_meth_set_final( method, []( EVP_MD_CTX *, unsigned char *to ) {
        memset( to, foreignByte, 20 );
        return 1;
    } );
    ENGINE *engine = ENGINE_new();
    ASSERT_EQ( ENGINE_set_id( engine, "foreign" ), 1 );
    ASSERT_EQ( ENGINE_set_name( engine, "foreign" ), 1 );
    ASSERT_EQ( ENGINE_set_digests( engine,
                   []( ENGINE *, const EVP_MD **md, const int **nids, int ) {
                       static const int only[] = { NID_sha1 };
                       if( md )
                           return *md = method, 1;
                       return *nids = only, 1;
                   } ),
        1 );
    std::string before = digest( CRY_HASH_ALGORITHM_SHA1, true );
    ASSERT_EQ( ENGINE_set_default_digests( engine ), 1 );
    std::string constant = hex( std::string( 20, (char)foreignByte ) );
    EXPECT_EQ( digest( CRY_HASH_ALGORITHM_SHA1, false ), constant );
    EXPECT_EQ( digest( CRY_HASH_ALGORITHM_SHA1, true ), constant );
    EXPECT_EQ( mac( CRY_HASH_ALGORITHM_SHA1, true ), mac( CRY_HASH_ALGORITHM_SHA1, false ) );
    EXPECT_FALSE( isTakenDirectly( CRY_HASH_ALGORITHM_SHA1 ) );
    EXPECT_TRUE( isTakenDirectly( CRY_HASH_ALGORITHM_SHA2_512 ) );
    ENGINE_unregister_digests( engine );
    EXPECT_EQ( digest( CRY_HASH_ALGORITHM_SHA1, true ), before );
    ENGINE_free( engine );
}
