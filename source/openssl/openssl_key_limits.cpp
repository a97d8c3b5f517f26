#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_key_limits.h>

#include <memory>
#include <openssl/asn1.h>

namespace
{

struct Freer
{
    void operator()( PBEPARAM *parameters ) const { PBEPARAM_free( parameters ); }
    void operator()( PBE2PARAM *parameters ) const { PBE2PARAM_free( parameters ); }
    void operator()( PBKDF2PARAM *parameters ) const { PBKDF2PARAM_free( parameters ); }
    void operator()( SCRYPT_PARAMS *parameters ) const { SCRYPT_PARAMS_free( parameters ); }
};
template<class T>
using Own = std::unique_ptr<T, Freer>;

int64_t product( int64_t a, int64_t b )
{
    int64_t result;
    return __builtin_mul_overflow( a, b, &result ) ? INT64_MAX : result;
}

template<class T>
Own<T> parametersOf( const X509_ALGOR *algorithm, const ASN1_ITEM *item )
{
    return Own<T>( algorithm->parameter ? (T *)ASN1_TYPE_unpack_sequence( item, algorithm->parameter ) : nullptr );
}

// The derivation for one key.
struct Derivation
{
    int64_t rounds       = 0;
    int64_t scryptBlocks = 0; // N * r * p, each of 128 bytes; 0 if it is not scrypt
};

Derivation derivationOf( const X509_ALGOR *algorithm )
{
    openssl::ErrorMark detour;
    if( OBJ_obj2nid( algorithm->algorithm ) != NID_pbes2 )
    {
        Own<PBEPARAM> parameters = parametersOf<PBEPARAM>( algorithm, ASN1_ITEM_rptr( PBEPARAM ) );
        return { parameters ? openssl___RoundsOf( parameters->iter ) : 0 };
    }
    Own<PBE2PARAM> parameters = parametersOf<PBE2PARAM>( algorithm, ASN1_ITEM_rptr( PBE2PARAM ) );
    if( !parameters )
        return {};
    switch( OBJ_obj2nid( parameters->keyfunc->algorithm ) )
    {
    case NID_id_pbkdf2: {
        Own<PBKDF2PARAM> function = parametersOf<PBKDF2PARAM>( parameters->keyfunc, ASN1_ITEM_rptr( PBKDF2PARAM ) );
        return { function ? openssl___RoundsOf( function->iter ) : 0 };
    }
    case NID_id_scrypt: {
        Own<SCRYPT_PARAMS> function = parametersOf<SCRYPT_PARAMS>( parameters->keyfunc, ASN1_ITEM_rptr( SCRYPT_PARAMS ) );
        if( !function )
            return {};
        int64_t each   = product( openssl___RoundsOf( function->blockSize ), openssl___RoundsOf( function->parallelizationParameter ) );
        int64_t blocks = product( openssl___RoundsOf( function->costParameter ), each );
        return { product( 2, blocks ), blocks };
    }
    default:
        return {};
    }
}

// No key is nested deeper.
constexpr int deepest = 16;

// Elements one after the other. An indefinite length counts as all that follows, one level deeper.
OPENSSL___KEY_PROBLEM problemIn( const unsigned char *at, long length, int depth )
{
    while( length > 0 )
    {
        const unsigned char *content = at;
        long                 size;
        int                  tag, kind, form = ASN1_get_object( &content, &size, &tag, &kind, length );
        if( form & 0x80 )
            break;
        bool constructed = form & V_ASN1_CONSTRUCTED, indefinite = form & 1, universal = kind == V_ASN1_UNIVERSAL;
        long left = length - ( content - at );
        bool text = universal && ( tag == V_ASN1_OCTET_STRING || tag == V_ASN1_BIT_STRING );
        // Nobody writes a key in pieces; a number may lie across them.
        if( text && constructed )
            return OPENSSL___KEY_PROBLEM_FORM;
        if( universal && tag == V_ASN1_INTEGER && size > OPENSSL___MOST_KEY_BITS / 8 + 1 )
            return OPENSSL___KEY_PROBLEM_NUMBER;
        // A shorter string holds no number that is too large. It may be random octets, for example
        // a point on a curve, and those can look like anything.
        if( constructed || ( text && size > OPENSSL___MOST_KEY_BITS / 8 ) )
        {
            if( depth == deepest )
                return OPENSSL___KEY_PROBLEM_FORM;
            long                  skipped = text && tag == V_ASN1_BIT_STRING && size > 0 ? 1 : 0;
            OPENSSL___KEY_PROBLEM problem = problemIn( content + skipped, ( indefinite ? left : size ) - skipped, depth + 1 );
            if( problem != OPENSSL___KEY_PROBLEM_NONE )
                return problem;
        }
        if( indefinite )
            break;
        at     = content + size;
        length = left - size;
    }
    return OPENSSL___KEY_PROBLEM_NONE;
}

}

int64_t openssl___RoundsOf( const ASN1_INTEGER *rounds )
{
    openssl::ErrorMark detour;
    int64_t            value = 0;
    if( rounds && !ASN1_INTEGER_get_int64( &value, rounds ) )
        value = ASN1_STRING_type( rounds ) == V_ASN1_NEG_INTEGER ? 0 : INT64_MAX;
    // OpenSSL keeps the lower 32 bits, which may be positive again.
    return value > 0 ? value : value < INT32_MIN ? INT64_MAX : 0;
}

int64_t openssl___DerivationRounds( const X509_ALGOR *algorithm ) { return PB_CHECK( algorithm ), derivationOf( algorithm ).rounds; }

PB_BOOL openssl___DerivationIsBounded( const X509_ALGOR *algorithm )
{
    PB_CHECK( algorithm );
    Derivation derivation = derivationOf( algorithm );
    return derivation.scryptBlocks ? derivation.scryptBlocks <= OPENSSL___MOST_SCRYPT_BYTES / 128
                                   : derivation.rounds <= OPENSSL___MOST_DERIVATION_ROUNDS;
}

OPENSSL___KEY_PROBLEM openssl___KeyProblem( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der || !length );
    openssl::ErrorMark detour;
    return problemIn( der, (long)length, 0 );
}

PB_BOOL openssl___PrivateKeyIsBounded( const PKCS8_PRIV_KEY_INFO *info )
{
    PB_CHECK( info );
    const ASN1_OBJECT *algorithm;
    if( !PKCS8_pkey_get0( &algorithm, nullptr, nullptr, nullptr, info ) )
        return PB_TRUE;
    int kind = OBJ_obj2nid( algorithm );
    if( kind != NID_dsa && kind != NID_dhKeyAgreement && kind != NID_dhpublicnumber )
        return PB_TRUE;
    openssl::ErrorMark detour;
    unsigned char     *bytes   = nullptr;
    int                length  = i2d_PKCS8_PRIV_KEY_INFO( info, &bytes );
    bool               bounded = length <= 0 || openssl___KeyProblem( bytes, length ) == OPENSSL___KEY_PROBLEM_NONE;
    if( length > 0 )
        OPENSSL_clear_free( bytes, (size_t)length );
    return bounded;
}
