// Reference counts of the default provider's key data; openssl_known_signatures.cpp says why.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "openssl_verify_operation.hpp"

#include "openssl_shortcuts.hpp"

#include <pb/containers.hpp>

#include <array>
#include <cstring>
#include <openssl/core_dispatch.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/rsa.h>

// OpenSSL verifies the signature of a certificate in three steps: it makes a signature context,
// initialises it with key and digest, and hands over message and signature in one call, because
// the wrappers offer that call. The default provider does not offer it, so OpenSSL calls its
// functions for updating and finishing. The wrappers put off the first two steps until the real
// context is needed. That is never, if the signature is known.
namespace openssl
{

namespace
{

using Function = void ( * )();

constexpr int numbers = 32; // of functions of a signature operation in core_dispatch.h

struct Operation
{
    std::array<Function, numbers>      real    = {};
    std::array<OSSL_DISPATCH, numbers> wrapped = {};
    std::array<std::atomic<bool>, 16>  started = {}; // the digests that the real operation took
    OSSL_FUNC_signature_freectx_fn    *freeReal() const { return (OSSL_FUNC_signature_freectx_fn *)real[OSSL_FUNC_SIGNATURE_FREECTX]; }
};

constinit Operation operations[2];

template<KeyKind kind>
constexpr Operation &operation = operations[(size_t)kind];

constinit std::atomic<bool> knownUsed{ false };

bool isKnownUsed() { return shortcutsUsed() && knownUsed.load( std::memory_order_relaxed ); }

// The names that OpenSSL gives for the digests of certificates. Two names of one digest are two
// entries, because the real context can give the name back.
constexpr std::array digestNames = { "SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA2-224", "SHA2-256", "SHA2-384", "SHA2-512" };
static_assert( digestNames.size() <= std::tuple_size_v<decltype( Operation::started )> );

constexpr size_t noDigest = digestNames.size();

size_t digestOf( const char *name )
{
    size_t index = 0;
    while( index < digestNames.size() && !( name && std::strcmp( name, digestNames[index] ) == 0 ) )
        index++;
    return index;
}

void shareKey( KeyKind kind, void *key ) { kind == KeyKind::Rsa ? RSA_up_ref( (RSA *)key ) : EC_KEY_up_ref( (EC_KEY *)key ); }
void freeKey( KeyKind kind, void *key ) { kind == KeyKind::Rsa ? RSA_free( (RSA *)key ) : EC_KEY_free( (EC_KEY *)key ); }

// The context that OpenSSL has.
struct Context
{
    void *providerContext;
    void *real; // null as long as it is not needed
    // If the context was initialised for a plain verification and no message was given to it: the
    // key (a reference) and the digest. Otherwise null.
    void  *key;
    size_t digest;
    // A message whose signature was known. Later calls find the real context in the state after
    // this message.
    PB_BYTE *message;
    size_t   messageSize;
};

template<KeyKind kind, int number, class F>
F *realFunction()
{
    return (F *)operation<kind>.real[number];
}

template<KeyKind kind>
void dropKey( Context *context )
{
    if( context->key )
        freeKey( kind, std::exchange( context->key, nullptr ) );
}

template<KeyKind kind>
bool makeReal( Context *context )
{
    context->real = realFunction<kind, OSSL_FUNC_SIGNATURE_NEWCTX, OSSL_FUNC_signature_newctx_fn>()( context->providerContext, nullptr );
    if( !context->real || !context->key )
        return context->real;
    auto *start = realFunction<kind, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_INIT, OSSL_FUNC_signature_digest_verify_init_fn>();
    if( start( context->real, digestNames[context->digest], context->key, nullptr ) == 1 )
        return true;
    operation<kind>.freeReal()( std::exchange( context->real, nullptr ) );
    return false;
}

// The real context in the state in which it would be without the wrapper. Null if there is no
// memory for it.
template<KeyKind kind>
void *realOf( Context *context )
{
    if( !context->real && !makeReal<kind>( context ) )
        return nullptr;
    if( context->message )
    {
        auto *update = realFunction<kind, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_UPDATE, OSSL_FUNC_signature_digest_verify_update_fn>();
        int   done   = update( context->real, context->message, context->messageSize );
        OPENSSL_free( std::exchange( context->message, nullptr ) );
        dropKey<kind>( context );
        if( done <= 0 )
            return nullptr;
    }
    return context->real;
}

template<KeyKind kind>
void freeContext( void *own )
{
    auto *context = (Context *)own;
    if( context->real )
        operation<kind>.freeReal()( context->real );
    dropKey<kind>( context );
    OPENSSL_free( context->message );
    OPENSSL_free( context );
}

template<KeyKind kind>
void *createContext( void *providerContext, const char *properties )
{
    auto *context = (Context *)OPENSSL_zalloc( sizeof( Context ) );
    if( !context )
        return nullptr;
    context->providerContext = providerContext;
    if( properties || !isKnownUsed() )
    {
        context->real = realFunction<kind, OSSL_FUNC_SIGNATURE_NEWCTX, OSSL_FUNC_signature_newctx_fn>()( providerContext, properties );
        if( !context->real )
        {
            OPENSSL_free( context );
            return nullptr;
        }
    }
    return context;
}

template<KeyKind kind>
void *duplicateContext( void *own )
{
    auto *context = (Context *)own;
    void *real    = realOf<kind>( context );
    auto *copy    = real ? (Context *)OPENSSL_zalloc( sizeof( Context ) ) : nullptr;
    if( !copy )
        return nullptr;
    *copy      = *context;
    copy->real = realFunction<kind, OSSL_FUNC_SIGNATURE_DUPCTX, OSSL_FUNC_signature_dupctx_fn>()( real );
    if( !copy->real )
    {
        OPENSSL_free( copy );
        return nullptr;
    }
    if( copy->key )
        shareKey( kind, copy->key );
    return copy;
}

// The default provider's check of a key for verification looks at its type only, so a digest that
// it took once is taken for every comparable key. Its own start can then be put off.
template<KeyKind kind>
int startVerification( void *own, const char *digestName, void *key, const OSSL_PARAM parameters[] )
{
    auto *context = (Context *)own;
    auto *start   = realFunction<kind, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_INIT, OSSL_FUNC_signature_digest_verify_init_fn>();
    if( size_t digest = digestOf( digestName );
        digest != noDigest && !context->real && !context->key && !parameters && isKnownUsed() && isComparableKey( kind, key ) )
    {
        std::atomic<bool> &started = operation<kind>.started[digest];
        if( !started.load( std::memory_order_relaxed ) )
        {
            void *real   = realOf<kind>( context );
            int   result = real ? start( real, digestName, key, nullptr ) : 0;
            if( result != 1 )
                return result;
            started.store( true, std::memory_order_relaxed );
        }
        shareKey( kind, key );
        context->key    = key;
        context->digest = digest;
        return 1;
    }
    void *real = realOf<kind>( context );
    dropKey<kind>( context );
    return real ? start( real, digestName, key, parameters ) : 0;
}

// In one call: what OpenSSL does with the default provider's functions. It finishes a copy, because
// more of the message may follow.
template<KeyKind kind>
int verifyBytes( void *real, Bytes signature, Bytes message )
{
    auto *update = realFunction<kind, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_UPDATE, OSSL_FUNC_signature_digest_verify_update_fn>();
    if( update( real, message.data(), message.size() ) <= 0 )
        return -1;
    void *copy = realFunction<kind, OSSL_FUNC_SIGNATURE_DUPCTX, OSSL_FUNC_signature_dupctx_fn>()( real );
    if( !copy )
        return 0;
    auto *finish = realFunction<kind, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_FINAL, OSSL_FUNC_signature_digest_verify_final_fn>();
    int   result = finish( copy, signature.data(), signature.size() );
    operation<kind>.freeReal()( copy );
    return result;
}

template<KeyKind kind>
int verify( void *own, const unsigned char *signature, size_t signatureSize, const unsigned char *message, size_t messageSize )
{
    auto       *context = (Context *)own;
    SignedBytes given   = { kind, context->key, (PB_BYTE)context->digest, { signature, signatureSize }, { message, messageSize } };
    bool        kept    = context->key && !context->message && isKnownUsed() && isKeptMessage( given.message );
    if( kept && isKnownSignature( given ) )
    {
        context->message     = (PB_BYTE *)OPENSSL_memdup( message, messageSize );
        context->messageSize = messageSize;
        if( context->message )
            return 1;
    }
    void *real = realOf<kind>( context );
    if( !real )
        return 0;
    int result = verifyBytes<kind>( real, given.signature, given.message );
    if( result == 1 && kept )
        keepKnownSignature( given );
    dropKey<kind>( context );
    return result;
}

// All other functions call the real ones. Functions that cannot change the context leave its
// verification known.
template<KeyKind kind, int number, bool changes, class F>
struct Delegate;

template<KeyKind kind, int number, bool changes, class Result, class... Arguments>
struct Delegate<kind, number, changes, Result( void *, Arguments... )>
{
    static Result call( void *own, Arguments... arguments )
    {
        auto *context = (Context *)own;
        void *real    = context ? realOf<kind>( context ) : nullptr;
        if( context && changes )
            dropKey<kind>( context );
        // OpenSSL asks for the names of parameters without a context, too.
        if( context && !real )
            return {};
        return realFunction<kind, number, Result( void *, Arguments... )>()( real, arguments... );
    }
};

template<KeyKind kind>
Function wrapperOf( int number )
{
    switch( number )
    {
    case OSSL_FUNC_SIGNATURE_NEWCTX:
        return (Function)createContext<kind>;
    case OSSL_FUNC_SIGNATURE_FREECTX:
        return (Function)freeContext<kind>;
    case OSSL_FUNC_SIGNATURE_DUPCTX:
        return (Function)duplicateContext<kind>;
    case OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_INIT:
        return (Function)startVerification<kind>;
#define DELEGATE( NUMBER, name, changes ) \
    case NUMBER:                          \
        return (Function)Delegate<kind, NUMBER, changes, OSSL_FUNC_signature_##name##_fn>::call;
        DELEGATE( OSSL_FUNC_SIGNATURE_SIGN_INIT, sign_init, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_SIGN, sign, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_VERIFY_INIT, verify_init, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_VERIFY, verify, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_VERIFY_RECOVER_INIT, verify_recover_init, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_VERIFY_RECOVER, verify_recover, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_DIGEST_SIGN_INIT, digest_sign_init, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_DIGEST_SIGN_UPDATE, digest_sign_update, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_DIGEST_SIGN_FINAL, digest_sign_final, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_UPDATE, digest_verify_update, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_FINAL, digest_verify_final, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_SET_CTX_PARAMS, set_ctx_params, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_SET_CTX_MD_PARAMS, set_ctx_md_params, true )
        DELEGATE( OSSL_FUNC_SIGNATURE_GET_CTX_PARAMS, get_ctx_params, false )
        DELEGATE( OSSL_FUNC_SIGNATURE_GETTABLE_CTX_PARAMS, gettable_ctx_params, false )
        DELEGATE( OSSL_FUNC_SIGNATURE_SETTABLE_CTX_PARAMS, settable_ctx_params, false )
        DELEGATE( OSSL_FUNC_SIGNATURE_GET_CTX_MD_PARAMS, get_ctx_md_params, false )
        DELEGATE( OSSL_FUNC_SIGNATURE_GETTABLE_CTX_MD_PARAMS, gettable_ctx_md_params, false )
        DELEGATE( OSSL_FUNC_SIGNATURE_SETTABLE_CTX_MD_PARAMS, settable_ctx_md_params, false )
#undef DELEGATE
    default:
        return nullptr;
    }
}

template<KeyKind kind>
const OSSL_DISPATCH *wrap( const OSSL_DISPATCH *functions )
{
    Operation &own   = operation<kind>;
    size_t     count = 0;
    for( const OSSL_DISPATCH *each = functions; each->function_id; each++ )
    {
        Function wrapper = wrapperOf<kind>( each->function_id );
        // One place for the additional function and one for the end of the table.
        if( !wrapper || each->function_id >= numbers || count + 2 >= own.wrapped.size() )
            return functions;
        own.real[(size_t)each->function_id] = each->function;
        own.wrapped[count++]                = { each->function_id, wrapper };
    }
    for( int needed : { OSSL_FUNC_SIGNATURE_NEWCTX, OSSL_FUNC_SIGNATURE_FREECTX, OSSL_FUNC_SIGNATURE_DUPCTX, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_INIT,
             OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_UPDATE, OSSL_FUNC_SIGNATURE_DIGEST_VERIFY_FINAL } )
    {
        if( !own.real[(size_t)needed] )
            return functions;
    }
    own.wrapped[count++] = { OSSL_FUNC_SIGNATURE_DIGEST_VERIFY, (Function)verify<kind> };
    own.wrapped[count]   = {};
    return own.wrapped.data();
}

}

const OSSL_DISPATCH *wrapSignatureFunctions( KeyKind kind, const OSSL_DISPATCH *functions )
{
    return kind == KeyKind::Rsa ? wrap<KeyKind::Rsa>( functions ) : wrap<KeyKind::Ec>( functions );
}

void setKnownSignaturesUsed( bool used ) { knownUsed.store( used, std::memory_order_relaxed ); }

}
