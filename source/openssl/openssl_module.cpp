#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>
#include <pb/containers.hpp>
#include <pb/module.hpp>
#include <pb/pb_string.h>

#include <atomic>
#include <mutex>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/params.h>
#include <openssl/provider.h>

#include "openssl_der.hpp"
#include "openssl_key_decoding.hpp"
#include "openssl_shortcuts.hpp"

namespace
{

template<class T>
using KeptMap = pb::StdMap<pb::StdString<pb::ProcessMemory>, T *, std::less<>, pb::ProcessMemory>;

// Everything is made once per process: algorithms, contexts and parsed objects may be in use after
// the module's shut-down.
struct Process
{
    std::mutex           mutex;
    KeptMap<EVP_MD>      digests;
    KeptMap<EVP_CIPHER>  ciphers;
    KeptMap<EVP_MAC_CTX> hmacs;
    OSSL_LIB_CTX        *keyDecoding = nullptr;
    OSSL_LIB_CTX        *legacy      = nullptr;
    const char          *problem     = nullptr; // why the key-decoding context is not used
};

Process &process()
{
    static Process *only = pb::make<Process, pb::ProcessMemory>();
    return *only;
}

// The context that the fast paths use; null while they are switched off.
constinit std::atomic<OSSL_LIB_CTX *> keyDecodingInUse{ nullptr };

void startProcess()
{
    // OPENSSL_NO_ATEXIT: libcrypto's tables must live as long as objects that a host still holds
    // when it exits.
    OPENSSL_init_crypto( OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_NO_ATEXIT, nullptr );
    Process           &own = process();
    openssl::ErrorMark detour;
    own.keyDecoding = openssl::createKeyDecodingContext( &own.problem );
    if( own.keyDecoding )
        own.problem = openssl::selfCheck( own.keyDecoding );
    if( own.keyDecoding && !own.problem )
        openssl::checkProviderShortcuts( own.keyDecoding );
    // The context's provider is a copy of the default provider, which such a policy does not allow.
    if( EVP_default_properties_is_fips_enabled( OSSL_LIB_CTX_get0_global_default() ) )
        own.problem = "the default properties ask for a FIPS provider";
    if( !own.problem )
        keyDecodingInUse.store( own.keyDecoding, std::memory_order_release );
}

// The entry of a name, made at the first call. If libcrypto does not have it, the next call asks
// again. Its errors are removed from the queue.
template<class Map>
auto kept( Map &map, const char *name, typename Map::mapped_type ( *make )( OSSL_LIB_CTX *everybodys, const char *name ) ) ->
    typename Map::mapped_type
{
    std::scoped_lock           lock( process().mutex );
    typename Map::mapped_type &found = map[name];
    if( found )
        return found;
    openssl::ErrorMark detour;
    // A thread may have another default context, but the entries are for all threads.
    found = make( OSSL_LIB_CTX_get0_global_default(), name );
    return found;
}

EVP_MAC_CTX *prepareHmac( OSSL_LIB_CTX *everybodys, const char *digestName )
{
    EVP_MAC        *mac          = EVP_MAC_fetch( everybodys, "HMAC", nullptr );
    EVP_MAC_CTX    *context      = mac ? EVP_MAC_CTX_new( mac ) : nullptr;
    pb::StdString<> digest       = digestName;
    OSSL_PARAM      parameters[] = { OSSL_PARAM_construct_utf8_string( OSSL_MAC_PARAM_DIGEST, digest.data(), 0 ), OSSL_PARAM_construct_end() };
    EVP_MAC_free( mac );
    if( context && EVP_MAC_CTX_set_params( context, parameters ) == 1 )
        return context;
    EVP_MAC_CTX_free( context );
    return nullptr;
}

OSSL_LIB_CTX *createLegacyContext()
{
    OSSL_LIB_CTX *legacy = OSSL_LIB_CTX_new();
    if( !legacy || !OSSL_PROVIDER_load( legacy, "default" ) )
        return nullptr;
    // If it is not installed, operations that need it fail with OpenSSL's own errors.
    OSSL_PROVIDER_load( legacy, "legacy" );
    return legacy;
}

PB_BOOL startup()
{
    static std::once_flag once;
    std::call_once( once, startProcess );
    return PB_TRUE;
}

openssl::Bytes view( const PB_BYTE *der, PB_INT length ) { return { der, (size_t)length }; }

// Runs a fast path and removes its errors from the queue.
template<class Parse>
auto tryFastPath( bool suitable, Parse parse ) -> decltype( parse( nullptr ) )
{
    OSSL_LIB_CTX *keyDecoding = keyDecodingInUse.load( std::memory_order_acquire );
    if( !keyDecoding || !suitable )
        return nullptr;
    openssl::ErrorMark detour;
    return parse( keyDecoding );
}

}

PB_MODULE_DEFINE( openssl, "OpenSSL", "0.2", "pb", startup, pb::doNothing, pb::doNothing )

PB_STRING *opensslVersion() { return pbStringCreateFromCstr( OpenSSL_version( OPENSSL_VERSION ), -1 ); }

PB_BOOL opensslKeyDecodingContextUsed() { return keyDecodingInUse.load( std::memory_order_acquire ) != nullptr; }

PB_STRING *opensslKeyDecodingContextState()
{
    if( opensslKeyDecodingContextUsed() )
        return pbStringCreateFromCstr( "used", -1 );
    const char *problem = process().problem;
    return pbStringCreateFromFormatCstr( "not used: %lc", -1, problem ? problem : "switched off" );
}

const EVP_MD *openssl___Digest( const char *name )
{
    PB_CHECK( name );
    return kept(
        process().digests, name, []( OSSL_LIB_CTX *everybodys, const char *wanted ) { return EVP_MD_fetch( everybodys, wanted, nullptr ); } );
}

PB_BOOL openssl___IsDefaultProviders( const EVP_MD *md ) { return PB_CHECK( md ), openssl::isDefaultProvider( EVP_MD_get0_provider( md ) ); }

const EVP_CIPHER *openssl___Cipher( const char *name )
{
    PB_CHECK( name );
    return kept(
        process().ciphers, name, []( OSSL_LIB_CTX *everybodys, const char *wanted ) { return EVP_CIPHER_fetch( everybodys, wanted, nullptr ); } );
}

const EVP_MAC_CTX *openssl___Hmac( const char *digestName ) { return PB_CHECK( digestName ), kept( process().hmacs, digestName, prepareHmac ); }

X509 *openssl___TryParseCertificate( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    if( X509 *x509 = tryFastPath( openssl::isFastPathCertificate( view( der, length ) ),
            [=]( OSSL_LIB_CTX *keyDecoding ) { return openssl::parseCertificateIn( keyDecoding, der, length ); } ) )
        return x509;
    return d2i_X509( nullptr, &der, (long)length );
}

EVP_PKEY *openssl___TryParsePrivateKeyFast( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return tryFastPath( openssl::isFastPathPrivateKey( view( der, length ) ),
        [=]( OSSL_LIB_CTX *keyDecoding ) { return openssl::parsePrivateKeyIn( keyDecoding, der, length ); } );
}

EVP_PKEY *openssl___TryParsePublicKeyFast( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return tryFastPath( openssl::isFastPathPublicKey( view( der, length ) ),
        [=]( OSSL_LIB_CTX *keyDecoding ) { return openssl::parsePublicKeyIn( keyDecoding, der, length ); } );
}

PB_BOOL openssl___IsCanonicalPublicKey( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return openssl::isCanonicalPublicKey( view( der, length ) );
}

OSSL_LIB_CTX *openssl___ContextOf( const EVP_PKEY *pkey )
{
    return PB_CHECK( pkey ), openssl::isKeyDecodingProvider( EVP_PKEY_get0_provider( pkey ) ) ? process().keyDecoding : nullptr;
}

OSSL_LIB_CTX *openssl___LegacyContext()
{
    Process           &own = process();
    std::scoped_lock   lock( own.mutex );
    openssl::ErrorMark detour;
    if( !own.legacy )
        own.legacy = createLegacyContext();
    return own.legacy;
}

PB_BOOL openssl___SetKeyDecodingContextUsed( PB_BOOL used )
{
    Process &own = process();
    return keyDecodingInUse.exchange( used && !own.problem ? own.keyDecoding : nullptr ) != nullptr;
}

PB_BOOL openssl___ShortcutsUsed() { return openssl::shortcutsUsed(); }

PB_BOOL openssl___SetShortcutsUsed( PB_BOOL used ) { return openssl::shortcutsInUse.exchange( used != PB_FALSE ); }
