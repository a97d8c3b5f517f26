#include <openssl_module/internal/openssl_module.h>
#include <pb/module.hpp>
#include <pb/pb_string.h>

#include <atomic>
#include <map>
#include <mutex>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <string>

#include "openssl_der.hpp"
#include "openssl_lean.hpp"

namespace
{

// Everything is made once per process: algorithms, contexts and what was parsed with them may be in use after the module's shut-down.
struct Process
{
    std::mutex                      mutex;
    std::map<std::string, EVP_MD *> digests;
    OSSL_LIB_CTX                   *lean    = nullptr;
    const char                     *problem = nullptr; // why the lean context is not used
};

Process &process()
{
    static Process *only = new Process;
    return *only;
}

// What the short ways look at: null while they are not to be used.
constinit std::atomic<OSSL_LIB_CTX *> leanInUse{ nullptr };

void startProcess()
{
    // OPENSSL_NO_ATEXIT: objects that a host holds when it exits must not outlive libcrypto's tables.
    OPENSSL_init_crypto( OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_NO_ATEXIT, nullptr );
    Process &own = process();
    ERR_set_mark();
    own.lean = openssl::createLeanContext( &own.problem );
    if( own.lean )
        own.problem = openssl::selfCheck( own.lean );
    ERR_pop_to_mark();
    if( !own.problem )
        leanInUse.store( own.lean, std::memory_order_release );
}

PB_BOOL startup()
{
    static std::once_flag once;
    std::call_once( once, startProcess );
    return PB_TRUE;
}

openssl::Bytes view( const PB_BYTE *der, PB_INT length ) { return { der, (size_t)length }; }

// Runs a short way; the errors of a detour are taken back.
template<class Parse>
auto tryShort( bool suitable, Parse parse ) -> decltype( parse( nullptr ) )
{
    OSSL_LIB_CTX *lean = leanInUse.load( std::memory_order_acquire );
    if( !lean || !suitable )
        return nullptr;
    ERR_set_mark();
    auto parsed = parse( lean );
    ERR_pop_to_mark();
    return parsed;
}

}

PB_MODULE_DEFINE( openssl, "OpenSSL", "0.2", "pb", startup, pb::doNothing, pb::doNothing )

PB_STRING *opensslVersion() { return pbStringCreateFromCstr( OpenSSL_version( OPENSSL_VERSION ), -1 ); }

PB_BOOL opensslLeanContextUsed() { return leanInUse.load( std::memory_order_acquire ) != nullptr; }

PB_STRING *opensslLeanContextState()
{
    if( opensslLeanContextUsed() )
        return pbStringCreateFromCstr( "used", -1 );
    const char *problem = process().problem;
    return pbStringCreateFromFormatCstr( "not used: %lc", -1, problem ? problem : "switched off" );
}

const EVP_MD *openssl___Digest( const char *name )
{
    PB_CHECK( name );
    Process         &own = process();
    std::scoped_lock lock( own.mutex );
    EVP_MD         *&digest = own.digests[name];
    if( digest )
        return digest;
    ERR_set_mark();
    // A thread may have made another context its default one; what is kept here is everybody's.
    digest = EVP_MD_fetch( OSSL_LIB_CTX_get0_global_default(), name, nullptr );
    ERR_pop_to_mark();
    return digest;
}

X509 *openssl___TryParseCertificate( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    if( X509 *x509 = tryShort( openssl::isShortCertificate( view( der, length ) ),
            [=]( OSSL_LIB_CTX *lean ) { return openssl::parseCertificateIn( lean, der, length ); } ) )
        return x509;
    return d2i_X509( nullptr, &der, (long)length );
}

EVP_PKEY *openssl___TryParsePrivateKeyShort( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return tryShort(
        openssl::isShortPrivateKey( view( der, length ) ), [=]( OSSL_LIB_CTX *lean ) { return openssl::parsePrivateKeyIn( lean, der, length ); } );
}

EVP_PKEY *openssl___TryParsePublicKeyShort( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return tryShort(
        openssl::isShortPublicKey( view( der, length ) ), [=]( OSSL_LIB_CTX *lean ) { return openssl::parsePublicKeyIn( lean, der, length ); } );
}

PB_BOOL openssl___SetLeanContextUsed( PB_BOOL used )
{
    Process &own = process();
    return leanInUse.exchange( used && !own.problem ? own.lean : nullptr ) != nullptr;
}
