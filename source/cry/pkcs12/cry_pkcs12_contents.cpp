#include "pkcs12/cry_pkcs12_contents.hpp"

#include <pb/pb_base.h>

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_key_limits.h>
#include <openssl_module/internal/openssl_module.h>

// PKCS12_parse decodes keys and certificates in the slow way, and it runs each key derivation with
// the number of rounds in the file. So this code reads the file itself, with the same functions for
// all cryptography. It adds up the cost of the derivations before it runs them, and it decodes keys
// and certificates in the fast way. If it finds anything unexpected, PKCS12_parse decides and gives
// the reason.

namespace
{

using namespace cry::ossl;
using cry::pkcs12::Contents;

struct Freer
{
    void operator()( STACK_OF( PKCS7 ) * safes ) const { sk_PKCS7_pop_free( safes, PKCS7_free ); }
    void operator()( STACK_OF( PKCS12_SAFEBAG ) * bags ) const { sk_PKCS12_SAFEBAG_pop_free( bags, PKCS12_SAFEBAG_free ); }
    void operator()( STACK_OF( X509 ) * certificates ) const { sk_X509_pop_free( certificates, X509_free ); }
};
template<class T>
using Own = std::unique_ptr<T, Freer>;

// ---- the cost of derivations

int64_t product( int64_t a, int64_t b )
{
    int64_t result;
    return __builtin_mul_overflow( a, b, &result ) ? INT64_MAX : result;
}

class Budget
{
public:
    // Adds one derivation, which may run several times.
    void add( int64_t count, int times = 1 )
    {
        tooMany = tooMany || count > cry::pkcs12::mostRoundsAtOnce;
        if( __builtin_add_overflow( rounds, product( count, times ), &rounds ) )
            rounds = INT64_MAX;
    }
    void add( const X509_ALGOR *algorithm ) { add( openssl___DerivationRounds( algorithm ) ); }

    // Adds the derivations of the keys in bags.
    void addBags( const STACK_OF( PKCS12_SAFEBAG ) * bags )
    {
        for( int index = 0; index < sk_PKCS12_SAFEBAG_num( bags ); index++ )
        {
            const PKCS12_SAFEBAG *bag = sk_PKCS12_SAFEBAG_value( bags, index );
            const X509_ALGOR     *algorithm;
            // OpenSSL's decoder limits the depth.
            if( PKCS12_SAFEBAG_get_nid( bag ) == NID_safeContentsBag )
                addBags( PKCS12_SAFEBAG_get0_safes( bag ) );
            else if( const X509_SIG *sig = PKCS12_SAFEBAG_get_nid( bag ) == NID_pkcs8ShroudedKeyBag ? PKCS12_SAFEBAG_get0_pkcs8( bag ) : nullptr )
            {
                X509_SIG_get0( sig, &algorithm, nullptr );
                add( algorithm );
            }
            else if( PKCS12_SAFEBAG_get_nid( bag ) == NID_keyBag )
                addKey( PKCS12_SAFEBAG_get0_p8inf( bag ) );
        }
    }

    // A key that was decrypted.
    void addKey( const PKCS8_PRIV_KEY_INFO *info ) { tooLarge = tooLarge || ( info && !openssl___PrivateKeyIsBounded( info ) ); }

    bool hasTooLargeKey() const { return tooLarge; }
    bool exceeded() const { return tooLarge || tooMany || rounds > cry::pkcs12::mostRounds; }

private:
    int64_t rounds   = 0;
    bool    tooMany  = false; // in one derivation
    bool    tooLarge = false;
};

bool isEncrypted( const PKCS7 *safe ) { return OBJ_obj2nid( safe->type ) == NID_pkcs7_encrypted; }
bool isData( const PKCS7 *safe ) { return OBJ_obj2nid( safe->type ) == NID_pkcs7_data; }

// ---- certificates and keys

// A piece of DER. inner() gives the content of its first element if that has the tag `wanted`; else
// the length is negative.
struct Der
{
    const unsigned char *at;
    long                 length;

    Der inner( int wanted ) const
    {
        const unsigned char *content = at;
        long                 size;
        int                  tag, kind;
        if( length <= 0 || ( ASN1_get_object( &content, &size, &tag, &kind, length ) & 0x81 ) || tag != wanted )
            return { nullptr, -1 };
        return { content, size };
    }
    // The bytes after the first element.
    Der next() const
    {
        const unsigned char *content = at;
        long                 size;
        int                  tag, kind;
        if( length <= 0 || ( ASN1_get_object( &content, &size, &tag, &kind, length ) & 0x81 ) )
            return { nullptr, -1 };
        return { content + size, length - ( content + size - at ) };
    }
};

// The certificate of a bag: SEQUENCE { certBag, [0] { SEQUENCE { x509Certificate, [0] { OCTET
// STRING } } } }.
Ptr<X509> certificateOf( const PKCS12_SAFEBAG *bag )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_PKCS12_SAFEBAG( bag, &bytes );
    Der            cert =
        Der{ bytes, length }.inner( V_ASN1_SEQUENCE ).next().inner( 0 ).inner( V_ASN1_SEQUENCE ).next().inner( 0 ).inner( V_ASN1_OCTET_STRING );
    Ptr<X509> x509( cert.at ? openssl___TryParseCertificate( cert.at, cert.length ) : nullptr );
    OPENSSL_free( bytes );
    return x509;
}

// The key id and the name that a bag gives to its content; null if it does not give one.
struct Labels
{
    const ASN1_OCTET_STRING *keyId = nullptr;
    const ASN1_BMPSTRING    *name  = nullptr;

    // False if one of them has another type; PKCS12_parse fails then.
    bool read( const PKCS12_SAFEBAG *bag )
    {
        const ASN1_TYPE *bagKeyId = PKCS12_SAFEBAG_get0_attr( bag, NID_localKeyID ), *bagName = PKCS12_SAFEBAG_get0_attr( bag, NID_friendlyName );
        if( ( bagKeyId && bagKeyId->type != V_ASN1_OCTET_STRING ) || ( bagName && bagName->type != V_ASN1_BMPSTRING ) )
            return false;
        keyId = bagKeyId ? bagKeyId->value.octet_string : nullptr;
        name  = bagName ? bagName->value.bmpstring : nullptr;
        return true;
    }

    // A name that is not text is left out, as PKCS12_parse does.
    bool giveTo( X509 *x509 ) const
    {
        if( keyId && !X509_keyid_set1( x509, ASN1_STRING_get0_data( keyId ), ASN1_STRING_length( keyId ) ) )
            return false;
        unsigned char *text   = nullptr;
        int            length = name ? ASN1_STRING_to_UTF8( &text, name ) : -1;
        bool           given  = length < 0 || X509_alias_set1( x509, text, length );
        OPENSSL_free( text );
        return given;
    }
};

// Key id and name are not part of the DER, so they are copied.
bool copyLabels( X509 *from, X509 *to )
{
    int                  keyIdLength = 0, nameLength = 0;
    const unsigned char *keyId = X509_keyid_get0( from, &keyIdLength ), *name = X509_alias_get0( from, &nameLength );
    return ( !keyId || X509_keyid_set1( to, keyId, keyIdLength ) ) && ( !name || X509_alias_set1( to, name, nameLength ) );
}

// The key of an unprotected PrivateKeyInfo, in one of the contexts in which keys are parsed.
Ptr<EVP_PKEY> keyOf( const PKCS8_PRIV_KEY_INFO *info )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_PKCS8_PRIV_KEY_INFO( info, &bytes );
    Ptr<EVP_PKEY>  key( length > 0 ? openssl___TryParsePrivateKeyFast( bytes, length ) : nullptr );
    if( length > 0 )
        OPENSSL_clear_free( bytes, (size_t)length );
    return key ? std::move( key ) : Ptr<EVP_PKEY>( EVP_PKCS82PKEY( info ) );
}

// The objects that PKCS12_parse read belong to the context of old algorithms. These functions make
// the same objects in the ordinary contexts.
Ptr<X509> inOrdinaryContext( Ptr<X509> x509 )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_X509( x509.get(), &bytes );
    Ptr<X509>      again( length > 0 ? openssl___TryParseCertificate( bytes, length ) : nullptr );
    OPENSSL_free( bytes );
    return again && copyLabels( x509.get(), again.get() ) ? std::move( again ) : std::move( x509 );
}

Ptr<EVP_PKEY> inOrdinaryContext( Ptr<EVP_PKEY> key )
{
    Ptr<PKCS8_PRIV_KEY_INFO> info( key ? EVP_PKEY2PKCS8( key.get() ) : nullptr );
    Ptr<EVP_PKEY>            again = info ? keyOf( info.get() ) : nullptr;
    return again ? std::move( again ) : std::move( key );
}

// ---- the walk

struct Walk
{
    PKCS12                  *pkcs;
    const char              *password;
    OSSL_LIB_CTX            *library = openssl___LegacyContext();
    Budget                   budget{};
    Ptr<EVP_PKEY>            key{};
    pb::StdVector<Ptr<X509>> certificates{};

    // Adds the costs that can be known without the password.
    void addPlainCosts( const STACK_OF( PKCS7 ) * safes )
    {
        if( PKCS12_mac_present( pkcs ) )
        {
            const ASN1_INTEGER *rounds;
            PKCS12_get0_mac( nullptr, nullptr, nullptr, &rounds, pkcs );
            // Without a password the MAC is checked twice.
            budget.add( rounds ? openssl___RoundsOf( rounds ) : 1, password && *password ? 1 : 2 );
        }
        for( int index = 0; index < sk_PKCS7_num( safes ); index++ )
        {
            PKCS7 *safe = sk_PKCS7_value( safes, index );
            if( isEncrypted( safe ) && safe->d.encrypted )
                budget.add( safe->d.encrypted->enc_data->algorithm );
            else if( isData( safe ) )
                budget.addBags( Own<STACK_OF( PKCS12_SAFEBAG )>( PKCS12_unpack_p7data( safe ) ).get() );
        }
    }

    bool checkMac()
    {
        if( !PKCS12_mac_present( pkcs ) )
        {
            // With a password, PKCS12_parse may need a MAC.
            if( password && *password )
                return false;
            password = nullptr;
            return true;
        }
        if( password && *password )
            return PKCS12_verify_mac( pkcs, password, -1 );
        for( const char *each : { (const char *)nullptr, "" } )
        {
            password = each;
            if( PKCS12_verify_mac( pkcs, password, 0 ) )
                return true;
        }
        return false;
    }

    bool readBag( const PKCS12_SAFEBAG *bag )
    {
        // Only certificates use the labels, but the labels of every bag must be valid.
        Labels labels;
        if( !labels.read( bag ) )
            return false;
        switch( PKCS12_SAFEBAG_get_nid( bag ) )
        {
        case NID_keyBag:
            if( !key )
                key = keyOf( PKCS12_SAFEBAG_get0_p8inf( bag ) );
            return (bool)key;
        case NID_pkcs8ShroudedKeyBag:
            if( !key )
            {
                Ptr<PKCS8_PRIV_KEY_INFO> info( PKCS12_decrypt_skey_ex( bag, password, -1, library, nullptr ) );
                if( info )
                    budget.addKey( info.get() );
                if( info && !budget.exceeded() )
                    key = keyOf( info.get() );
            }
            return (bool)key;
        case NID_certBag:
            if( PKCS12_SAFEBAG_get_bag_nid( bag ) != NID_x509Certificate )
                return true;
            certificates.push_back( certificateOf( bag ) );
            return certificates.back() && labels.giveTo( certificates.back().get() );
        case NID_safeContentsBag:
            return readBags( PKCS12_SAFEBAG_get0_safes( bag ) );
        default:
            return true;
        }
    }

    bool readBags( const STACK_OF( PKCS12_SAFEBAG ) * bags )
    {
        for( int index = 0; index < sk_PKCS12_SAFEBAG_num( bags ); index++ )
        {
            if( !readBag( sk_PKCS12_SAFEBAG_value( bags, index ) ) )
                return false;
        }
        return true;
    }

    bool readSafe( PKCS7 *safe )
    {
        if( !isData( safe ) && !isEncrypted( safe ) )
            return true;
        Own<STACK_OF( PKCS12_SAFEBAG )> bags( isData( safe ) ? PKCS12_unpack_p7data( safe ) : PKCS12_unpack_p7encdata( safe, password, -1 ) );
        if( bags && isEncrypted( safe ) )
            budget.addBags( bags.get() );
        return bags && !budget.exceeded() && readBags( bags.get() );
    }

    // Adds the costs of the keys in the encrypted safes from this index on, since PKCS12_parse may
    // read them.
    void addHiddenCosts( const STACK_OF( PKCS7 ) * safes, int index )
    {
        for( ; index < sk_PKCS7_num( safes ) && !budget.exceeded(); index++ )
        {
            PKCS7 *safe = sk_PKCS7_value( safes, index );
            if( isEncrypted( safe ) )
                budget.addBags( Own<STACK_OF( PKCS12_SAFEBAG )>( PKCS12_unpack_p7encdata( safe, password, -1 ) ).get() );
        }
    }

    // False if PKCS12_parse has to decide or the budget is exceeded.
    bool read()
    {
        Own<STACK_OF( PKCS7 )> safes( PKCS12_unpack_authsafes( pkcs ) );
        addPlainCosts( safes.get() );
        if( !safes || budget.exceeded() )
            return false;
        if( !checkMac() )
        {
            // Without a MAC, some versions of PKCS12_parse go on.
            if( !PKCS12_mac_present( pkcs ) )
                addHiddenCosts( safes.get(), 0 );
            return false;
        }
        for( int index = 0; index < sk_PKCS7_num( safes.get() ); index++ )
        {
            if( !readSafe( sk_PKCS7_value( safes.get(), index ) ) )
            {
                addHiddenCosts( safes.get(), index + 1 );
                return false;
            }
        }
        return true;
    }
};

bool belongs( X509 *certificate, EVP_PKEY *key )
{
    openssl::ErrorMark detour;
    return key && X509_check_private_key( certificate, key ) == 1;
}

// OpenSSL has no reason codes for these, so this adds them, under a library number that nobody else
// in the process uses. OpenSSL uses the codes below 100 for all libraries.
constexpr int tooManyRounds = 100, tooLargeKey = 101;

void raise( int reason )
{
    static ERR_STRING_DATA texts[] = { { 0, "cry" }, { ERR_PACK( 0, 0, tooManyRounds ), "too many rounds of key derivation" },
        { ERR_PACK( 0, 0, tooLargeKey ), "a key with numbers that are too large" }, { 0, nullptr } };
    static const int       library = [] {
        int number     = ERR_get_next_error_library();
        texts[0].error = ERR_PACK( number, 0, 0 );
        ERR_load_strings( number, texts );
        return number;
    }();
    ERR_raise( library, reason );
}

bool readWithOpenssl( PKCS12 *pkcs, const char *password, Contents &contents )
{
    EVP_PKEY *key            = nullptr;
    X509     *certificate    = nullptr;
    STACK_OF( X509 ) *others = nullptr;
    // PKCS12_parse decrypts keys in the thread's default context, even if the file was decoded in
    // another one.
    OSSL_LIB_CTX *before = OSSL_LIB_CTX_set0_default( openssl___LegacyContext() );
    bool          parsed = PKCS12_parse( pkcs, password, &key, &certificate, &others ) == 1;
    OSSL_LIB_CTX_set0_default( before );
    if( !parsed )
        return false;
    contents.key = inOrdinaryContext( Ptr<EVP_PKEY>( key ) );
    if( certificate )
        contents.certificate = inOrdinaryContext( Ptr<X509>( certificate ) );
    for( Own<STACK_OF( X509 )> owned( others ); sk_X509_num( owned.get() ) > 0; )
        contents.others.push_back( inOrdinaryContext( Ptr<X509>( sk_X509_shift( owned.get() ) ) ) );
    return true;
}

}

cry::pkcs12::Outcome cry::pkcs12::tryRead( PKCS12 *pkcs, const char *password, Contents &contents )
{
    Walk walk{ pkcs, password };
    bool read;
    {
        openssl::ErrorMark detour;
        read = walk.read();
    }
    if( walk.budget.exceeded() )
    {
        raise( walk.budget.hasTooLargeKey() ? tooLargeKey : tooManyRounds );
        return walk.budget.hasTooLargeKey() ? Outcome::refusedKey : Outcome::refused;
    }
    if( !read )
        return readWithOpenssl( pkcs, password, contents ) ? Outcome::read : Outcome::failed;
    contents.key = std::move( walk.key );
    for( Ptr<X509> &each : walk.certificates )
    {
        if( !contents.certificate && belongs( each.get(), contents.key.get() ) )
            contents.certificate = std::move( each );
        else
            contents.others.push_back( std::move( each ) );
    }
    return Outcome::read;
}
