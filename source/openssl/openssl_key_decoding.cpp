#include "openssl_key_decoding.hpp"

#include "openssl_ec_decoder.hpp"
#include "openssl_verify_operation.hpp"

#include <pb/containers.hpp>

#include <array>
#include <cstring>
#include <initializer_list>
#include <openssl/core_dispatch.h>
#include <openssl/core_names.h>
#include <openssl/provider.h>
#include <string_view>
#include <strings.h>

// OpenSSL 3.0 finds the decoder of a key by walking every key manager and every decoder of the
// library context. If the only provider of a context offers few of them, this walk is short. The
// provider here gives out some entries of the tables of the default provider. That provider is
// loaded into a context of its own, so that the process's default context does not change. The
// entries for signatures and for EC public keys are wrapped.
namespace openssl
{

namespace
{

constexpr size_t operations = 32;

struct Filter
{
    OSSL_LIB_CTX                                                            *library;
    OSSL_PROVIDER                                                           *source;
    std::array<pb::StdVector<OSSL_ALGORITHM, pb::ProcessMemory>, operations> chosen;
};

// Made once per process and never freed, like the context that uses it.
Filter        *filter;
OSSL_PROVIDER *filtering;

bool isNamed( const char *names, std::initializer_list<std::string_view> wanted )
{
    for( std::string_view rest = names; !rest.empty(); )
    {
        std::string_view name = rest.substr( 0, rest.find( ':' ) );
        for( std::string_view each : wanted )
        {
            if( each.size() == name.size() && strncasecmp( each.data(), name.data(), name.size() ) == 0 )
                return true;
        }
        rest.remove_prefix( name.size() == rest.size() ? name.size() : name.size() + 1 );
    }
    return false;
}

bool has( const char *properties, std::string_view wanted )
{
    return properties && std::string_view( properties ).find( wanted ) != std::string_view::npos;
}

bool isChosen( int operation, const OSSL_ALGORITHM &algorithm )
{
    const char *names = algorithm.algorithm_names;
    switch( operation )
    {
    case OSSL_OP_DIGEST:
        // A host may ask for any digest of a certificate that was lent to it. OpenSSL looks the
        // digest up again, by its name, in the certificate's context.
        return true;
    case OSSL_OP_KEYMGMT:
    case OSSL_OP_ENCODER:
        return isNamed( names, { "RSA", "EC" } );
    case OSSL_OP_SIGNATURE:
        return isNamed( names, { "RSA", "ECDSA" } );
    case OSSL_OP_DECODER:
        return isNamed( names, { "RSA", "EC" } ) && has( algorithm.property_definition, "input=der" ) &&
            ( has( algorithm.property_definition, "structure=SubjectPublicKeyInfo" ) ||
                has( algorithm.property_definition, "structure=PrivateKeyInfo" ) );
    default:
        return false;
    }
}

const OSSL_ALGORITHM *query( void *, int operation, int *noCache )
{
    *noCache = 0;
    if( operation < 0 || (size_t)operation >= operations || filter->chosen[(size_t)operation].size() < 2 )
        return nullptr;
    return filter->chosen[(size_t)operation].data();
}

void wrapOperations( const OSSL_DISPATCH *core )
{
    for( OSSL_ALGORITHM &each : filter->chosen[OSSL_OP_SIGNATURE] )
    {
        if( each.implementation )
            each.implementation = wrapSignatureFunctions(
                isNamed( each.algorithm_names, { "RSA" } ) ? KeyKind::Rsa : KeyKind::Ec, each.implementation );
    }
    for( OSSL_ALGORITHM &each : filter->chosen[OSSL_OP_DECODER] )
    {
        if( each.implementation && isNamed( each.algorithm_names, { "EC" } ) && has( each.property_definition, "structure=SubjectPublicKeyInfo" ) )
            each.implementation = wrapEcDecoder( each.implementation, filter->library, core );
    }
}

const OSSL_DISPATCH providerFunctions[] = { { OSSL_FUNC_PROVIDER_QUERY_OPERATION, (void ( * )())query }, { 0, nullptr } };

// The entries are called with the context of the provider to which they belong.
int startProvider( const OSSL_CORE_HANDLE *, const OSSL_DISPATCH *core, const OSSL_DISPATCH **functions, void **providerContext )
{
    if( isReviewedVersion() )
        wrapOperations( core );
    *functions       = providerFunctions;
    *providerContext = OSSL_PROVIDER_get0_provider_ctx( filter->source );
    return 1;
}

bool fillFilter()
{
    OSSL_LIB_CTX *own = OSSL_LIB_CTX_new();
    filter            = pb::make<Filter, pb::ProcessMemory>();
    filter->library   = own;
    filter->source    = own ? OSSL_PROVIDER_load( own, "default" ) : nullptr;
    if( !filter->source )
        return false;
    for( int operation : { OSSL_OP_DIGEST, OSSL_OP_KEYMGMT, OSSL_OP_SIGNATURE, OSSL_OP_ENCODER, OSSL_OP_DECODER } )
    {
        pb::StdVector<OSSL_ALGORITHM, pb::ProcessMemory> &chosen = filter->chosen[(size_t)operation];
        int                                               noCache;
        const OSSL_ALGORITHM                             *all = OSSL_PROVIDER_query_operation( filter->source, operation, &noCache );
        for( ; all && all->algorithm_names; all++ )
        {
            if( isChosen( operation, *all ) )
                chosen.push_back( *all );
        }
        if( chosen.empty() )
            return false;
        chosen.push_back( OSSL_ALGORITHM{} );
    }
    return true;
}

}

OSSL_LIB_CTX *createKeyDecodingContext( const char **reason )
{
    static constexpr char providerName[] = "cry-key-decoding";

    *reason = "the default provider cannot be loaded";
    if( !fillFilter() )
        return nullptr;
    *reason                   = "the filtering provider cannot be loaded";
    OSSL_LIB_CTX *keyDecoding = OSSL_LIB_CTX_new();
    filtering = keyDecoding && OSSL_PROVIDER_add_builtin( keyDecoding, providerName, startProvider ) ? OSSL_PROVIDER_load( keyDecoding, providerName )
                                                                                                     : nullptr;
    if( !filtering )
        return nullptr;
    *reason = nullptr;
    return keyDecoding;
}

void setProviderShortcutsUsed( bool knownSignatures, bool keptGroups )
{
    setKnownSignaturesUsed( knownSignatures && isReviewedVersion() );
    setKeptGroupsUsed( keptGroups && isReviewedVersion() );
}

bool isReviewedVersion()
{
    static const bool reviewed = OpenSSL_version_num() >> 20 == 0x300;
    return reviewed;
}

bool isKeyDecodingProvider( const OSSL_PROVIDER *provider ) { return provider && provider == filtering; }

// The context of the source reads no configuration file and nobody adds providers to it, so the
// source is surely the built-in one. Every instance of it has the same table of functions.
bool isDefaultProvider( const OSSL_PROVIDER *provider )
{
    const OSSL_PROVIDER *builtIn = filter ? filter->source : nullptr;
    return provider && builtIn && std::string_view( OSSL_PROVIDER_get0_name( provider ) ) == "default" &&
        OSSL_PROVIDER_get0_dispatch( provider ) == OSSL_PROVIDER_get0_dispatch( builtIn );
}

X509 *parseCertificateIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length )
{
    X509 *x509 = X509_new_ex( keyDecoding, nullptr );
    if( x509 && d2i_X509( &x509, &der, (long)length ) && X509_get0_pubkey( x509 ) )
        return x509;
    X509_free( x509 );
    return nullptr;
}

EVP_PKEY *parsePrivateKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length )
{
    PKCS8_PRIV_KEY_INFO *info = d2i_PKCS8_PRIV_KEY_INFO( nullptr, &der, (long)length );
    EVP_PKEY            *pkey = info ? EVP_PKCS82PKEY_ex( info, keyDecoding, nullptr ) : nullptr;
    PKCS8_PRIV_KEY_INFO_free( info );
    return pkey;
}

EVP_PKEY *parsePublicKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length )
{
    return d2i_PUBKEY_ex( nullptr, &der, (long)length, keyDecoding, nullptr );
}

}
