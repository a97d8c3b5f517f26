// For the tests of all types that hold an OpenSSL object and its canonical PEM: a struct of traits
// for each type, and the results of plain OpenSSL for their texts.
//
// A new type needs a struct like those below, and a place in PemObjectTypes (pem_object_test.cpp).
#pragma once

#include <cry/cry_hash.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate.h>

#include "cry/pkey/keys.hpp"
#include "cry/x509/crls.hpp"
#include "cry/x509/requests.hpp"
#include "support/key_decoding.hpp"

#include <array>

namespace support
{

// Sample: an OpenSSL object. `shared`: whether the library's object shares the PEM object from
// which it is made, if that is canonical.
template<class Handle>
struct Sample
{
    std::string             name;
    std::shared_ptr<Handle> handle;
    bool                    shared = true;
};

// Block: the parts of a PEM object.
struct Block
{
    std::string label, body;
};

// The names of the functions of a type. The traits of a type that has UpRef add `upRef`. All traits
// add:
//
//   label                  the label of the canonical PEM
//   sensitive              whether all that is made of an object is sensitive
//   sharesSensitive        whether a canonical PEM object is shared if it is sensitive
//   read, write            OpenSSL's functions for a text
//   dup, destroy           OpenSSL's functions for a handle
//   unwritable()           a handle that OpenSSL cannot write
//   watch( handle )        tells if the handle was freed
//   samples()              handles of several kinds
//   otherForms( handle )   other PEM objects that give the same object
//   bodiesToDamage()       some bodies that are judged with each byte changed
//   works( object )        for the first sample: whether the getters and checks agree with OpenSSL
#define PEM_OBJECT_FUNCTIONS( STRUCT, Type, HANDLE, OpensslType )                           \
    using Object                          = STRUCT;                                         \
    using Handle                          = HANDLE;                                         \
    static constexpr const char *name     = #STRUCT;                                        \
    static constexpr auto        create   = cry##Type##TryCreateFromPem;                    \
    static constexpr auto        restore  = cry##Type##TryRestore;                          \
    static constexpr auto        pem      = cry##Type##Pem;                                 \
    static constexpr auto        store    = cry##Type##Store;                               \
    static constexpr auto        sort     = cry##Type##Sort;                                \
    static constexpr auto        obj      = cry##Type##Obj;                                 \
    static constexpr auto        from     = cry##Type##From;                                \
    static constexpr auto        retain   = cry##Type##Retain;                              \
    static constexpr auto        release  = cry##Type##Release;                             \
    static constexpr auto        compare  = cry##Type##Compare;                             \
    static constexpr auto        equals   = cry##Type##Equals;                              \
    static constexpr auto        toString = cry##Type##ToString;                            \
    static constexpr auto        use      = cry___##Type##TryCreateFrom##OpensslType##Use;  \
    static constexpr auto        copy     = cry___##Type##TryCreateFrom##OpensslType##Copy; \
    static constexpr auto        peek     = cry___##Type##Peek##OpensslType;

inline int noPassPhrase( char *, int, int, void * ) { return 0; }

inline std::string traditionalText( EVP_PKEY *pkey )
{
    return written( [&]( BIO *bio ) { return PEM_write_bio_PrivateKey_traditional( bio, pkey, nullptr, nullptr, 0, nullptr, nullptr ); } );
}

inline std::string protectedText( EVP_PKEY *pkey, std::string_view phrase )
{
    return written( [&]( BIO *bio ) {
        return PEM_write_bio_PKCS8PrivateKey( bio, pkey, EVP_aes_128_cbc(), phrase.data(), (int)phrase.size(), nullptr, nullptr );
    } );
}

inline std::string publicText( CRY_PKEY_PUBLIC *pub ) { return pub ? textOf( pb::adopt( cryPkeyPublicPem( pub ) ).get() ) : "(none)"; }

// The DER, whose outer length has one byte more than necessary.
inline std::string withLongerLength( const std::string &der )
{
    unsigned char first = (unsigned char)der[1];
    std::string   more  = first < 0x80 ? std::string( "\x81" ) + der[1] : std::string( 1, (char)( first + 1 ) ) + '\0';
    return der[0] + more + der.substr( 2 );
}

// So many alternative names that the DER has more than 4096 bytes.
inline std::string manyNames()
{
    std::string names = "DNS:a.example";
    for( int number = 0; number < 300; number++ )
        names += ", DNS:host-" + std::to_string( number ) + ".example";
    return names;
}

struct CertificateType
{
    PEM_OBJECT_FUNCTIONS( CRY_X509_CERTIFICATE, X509Certificate, X509, OpensslX509 )
    static constexpr auto        upRef     = cry___X509CertificateTryCreateFromOpensslX509UpRef;
    static constexpr const char *label     = PEM_STRING_X509;
    static constexpr bool        sensitive = false, sharesSensitive = false;

    static X509     *read( BIO *bio ) { return PEM_read_bio_X509( bio, nullptr, noPassPhrase, nullptr ); }
    static int       write( BIO *bio, X509 *x509 ) { return PEM_write_bio_X509( bio, x509 ); }
    static X509     *dup( X509 *x509 ) { return X509_dup( x509 ); }
    static void      destroy( X509 *x509 ) { X509_free( x509 ); }
    static X509     *unwritable() { return X509_new(); }
    static FreeWatch watch( X509 *x509 ) { return FreeWatch( x509 ); }

    static std::vector<Sample<X509>> samples()
    {
        std::vector<Sample<X509>> list;
        for( KeyKind kind : allKeyKinds )
        {
            Chain chain = chainOf( kind );
            list.push_back( { nameOf( kind ) + " leaf", chain.leaf } );
            list.push_back( { nameOf( kind ) + " intermediate", chain.intermediate } );
            list.push_back( { nameOf( kind ) + " root", chain.root } );
        }
        Cert large = makeCertificate(
            { .subject = "CN=large", .subjectKey = key( KeyKind::p256 ), .extensions = { { "subjectAltName", manyNames() } } } );
        list.push_back( { "large", large, openssl___ShortcutsUsed() == PB_TRUE } );
        return list;
    }

    static std::vector<Block> otherForms( X509 *x509 )
    {
        // A certificate with trust settings after it.
        X509          *trusted = X509_dup( x509 );
        unsigned char *bytes   = nullptr;
        EXPECT_EQ( X509_alias_set1( trusted, (const unsigned char *)"alias", 5 ), 1 );
        int         length = i2d_X509_AUX( trusted, &bytes );
        std::string plain  = der( x509 ), withTrust( (const char *)bytes, (size_t)length );
        OPENSSL_free( bytes );
        X509_free( trusted );
        return { { PEM_STRING_X509_OLD, plain }, { label, plain + "tail" }, { label, withLongerLength( plain ) }, { label, withTrust } };
    }

    static std::vector<std::string> bodiesToDamage() { return { der( chainOf( KeyKind::p256 ).leaf ) }; }

    static bool works( CRY_X509_CERTIFICATE *cert )
    {
        X509              *x509  = cry___X509CertificatePeekOpensslX509( cert );
        std::string        plain = der( x509 );
        unsigned char      digest[EVP_MAX_MD_SIZE];
        size_t             length = 0;
        pb::Ref<PB_BUFFER> print  = pb::adopt( cryX509CertificateTryFingerprint( cert, CRY_HASH_ALGORITHM_SHA2_256 ) );
        return EVP_Q_digest( nullptr, "SHA256", nullptr, plain.data(), plain.size(), digest, &length ) == 1 &&
            bytes( print ) == std::string( (const char *)digest, length ) && X509_check_ca( x509 ) == 0 &&
            publicText( pb::adopt( cryX509CertificatePublicKey( cert ) ).get() ) == spkiText( X509_get0_pubkey( x509 ) );
    }
};

struct CsrType
{
    PEM_OBJECT_FUNCTIONS( CRY_X509_CSR, X509Csr, X509_REQ, OpensslX509Req )
    static constexpr const char *label     = PEM_STRING_X509_REQ;
    static constexpr bool        sensitive = false, sharesSensitive = false;

    static X509_REQ *read( BIO *bio ) { return PEM_read_bio_X509_REQ( bio, nullptr, noPassPhrase, nullptr ); }
    static int       write( BIO *bio, X509_REQ *req ) { return PEM_write_bio_X509_REQ( bio, req ); }
    static X509_REQ *dup( X509_REQ *req ) { return X509_REQ_dup( req ); }
    static void      destroy( X509_REQ *req ) { X509_REQ_free( req ); }
    // OpenSSL keeps no user data with a request, so the watch is on the key that the request holds.
    static FreeWatch watch( X509_REQ *req ) { return FreeWatch( X509_REQ_get0_pubkey( req ) ); }

    // A request in which only a key is set.
    static X509_REQ *unwritable()
    {
        X509_REQ *req = X509_REQ_new();
        EVP_PKEY *own = EVP_PKEY_dup( key( KeyKind::p256 ).get() );
        EXPECT_EQ( X509_REQ_set_pubkey( req, own ), 1 );
        EVP_PKEY_free( own );
        return req;
    }

    static std::vector<Sample<X509_REQ>> samples()
    {
        std::vector<Sample<X509_REQ>> list;
        for( KeyKind kind : allKeyKinds )
        {
            for( int number : { 0, 1 } )
                list.push_back(
                    { nameOf( kind ) + std::to_string( number ), makeRequest( { .commonName = nameOf( kind ), .key = key( kind, number ) } ) } );
        }
        list.push_back( { "extensions", withExtensions() } );
        list.push_back( { "large", makeRequest( { .key = key( KeyKind::p256 ), .extensions = { { "subjectAltName", manyNames() } } } ), false } );
        return list;
    }

    static std::vector<Block> otherForms( X509_REQ *req )
    {
        std::string plain = der( req );
        return { { PEM_STRING_X509_REQ_OLD, plain }, { label, plain + "tail" }, { label, withLongerLength( plain ) } };
    }

    static std::vector<std::string> bodiesToDamage() { return { der( withExtensions() ) }; }

    static bool works( CRY_X509_CSR *csr )
    {
        pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::rsa ).get() ) );
        return cryX509CsrCheckPrivateKey( csr, priv.get() ) &&
            publicText( pb::adopt( cryX509CsrPublicKey( csr ) ).get() ) == spkiText( key( KeyKind::rsa ).get() );
    }

    static Req withExtensions()
    {
        return makeRequest( { .key = key( KeyKind::p256 ),
            .extensions            = { { "subjectAltName", "DNS:a.example" } },
            .attributes            = { { NID_pkcs9_challengePassword, "challenge" } } } );
    }
};

struct CrlType
{
    PEM_OBJECT_FUNCTIONS( CRY_X509_CRL, X509Crl, X509_CRL, OpensslX509Crl )
    static constexpr const char *label     = PEM_STRING_X509_CRL;
    static constexpr bool        sensitive = false, sharesSensitive = false;

    static X509_CRL *read( BIO *bio ) { return PEM_read_bio_X509_CRL( bio, nullptr, noPassPhrase, nullptr ); }
    static int       write( BIO *bio, X509_CRL *crl ) { return PEM_write_bio_X509_CRL( bio, crl ); }
    static X509_CRL *dup( X509_CRL *crl )
    {
        return watchableCrl( [&] { return X509_CRL_dup( crl ); } );
    }
    static void      destroy( X509_CRL *crl ) { X509_CRL_free( crl ); }
    static X509_CRL *unwritable() { return watchableCrl( X509_CRL_new ); }
    static FreeWatch watch( X509_CRL *crl ) { return FreeWatch( crl ); }

    static std::vector<Sample<X509_CRL>> samples()
    {
        std::vector<Sample<X509_CRL>> list = { { "two", makeCrl( { .serials = { "7", "5" } } ) }, { "none", makeCrl( {} ) },
            { "no next update", makeCrl( { .nextUpdate = "" } ) }, { "large", makeCrl( { .serials = manySerials() } ) },
            { "extensions", withExtensions() } };
        for( KeyKind kind : allKeyKinds )
            list.push_back( { nameOf( kind ), makeCrl( { .issuer = "CN=" + nameOf( kind ), .serials = { "1" }, .signer = key( kind ) } ) } );
        return list;
    }

    static std::vector<Block> otherForms( X509_CRL *crl )
    {
        std::string plain = der( crl );
        return { { label, plain + "tail" }, { label, withLongerLength( plain ) } };
    }

    static std::vector<std::string> bodiesToDamage() { return { der( withExtensions() ) }; }

    static bool works( CRY_X509_CRL *crl )
    {
        return cryX509CrlRevokedBySerial( crl, number( "5" ).get() ) && !cryX509CrlRevokedBySerial( crl, number( "6" ).get() ) &&
            pbDictLength( pb::adopt( cryX509CrlRevokedSerials( crl ) ).get() ) == 2;
    }

    static OpensslCrl withExtensions()
    {
        return makeCrl( { .serials = { "3", "-1", "600000000000000000000" }, .extensions = { { "2.5.29.20", "DER:02:01:11" } }, .reason = 1 } );
    }

    // So many entries that the DER has more than 4096 bytes.
    static std::vector<std::string> manySerials()
    {
        std::vector<std::string> list;
        for( int serial = 0; serial < 300; serial++ )
            list.push_back( std::to_string( serial ) );
        return list;
    }
};

// Common to private and public keys.
struct PkeyType
{
    using Handle = EVP_PKEY;

    static EVP_PKEY *dup( EVP_PKEY *pkey ) { return EVP_PKEY_dup( pkey ); }
    static void      destroy( EVP_PKEY *pkey ) { EVP_PKEY_free( pkey ); }
    static EVP_PKEY *unwritable() { return EVP_PKEY_new(); }
    static FreeWatch watch( EVP_PKEY *pkey ) { return FreeWatch( pkey ); }

    // `sharing`: whether canonical texts of keys that the fast path knows are shared.
    static std::vector<Sample<EVP_PKEY>> samplesOf( bool sharing )
    {
        std::vector<Sample<EVP_PKEY>> list;
        for( KeyKind kind : allKeyKinds )
        {
            for( int number : { 0, 1 } )
                list.push_back( { nameOf( kind ) + std::to_string( number ), key( kind, number ) } );
        }
        for( const char *type : { "ED448", "X25519", "X448", "SM2" } )
            list.push_back( { type, newKey( type ) } );
        for( Sample<EVP_PKEY> &each : list )
            each.shared = sharing && ( EVP_PKEY_is_a( each.handle.get(), "RSA" ) || EVP_PKEY_is_a( each.handle.get(), "EC" ) );
        return list;
    }
};

struct PrivateType : PkeyType
{
    PEM_OBJECT_FUNCTIONS( CRY_PKEY_PRIVATE, PkeyPrivate, EVP_PKEY, OpensslEvpPkey )
    static constexpr auto        upRef     = cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef;
    static constexpr const char *label     = PEM_STRING_PKCS8INF;
    static constexpr bool        sensitive = true, sharesSensitive = true;

    // A canonical text is shared if the key is not parsed before its first use.
    static std::vector<Sample<EVP_PKEY>> samples() { return samplesOf( openssl___ShortcutsUsed() ); }

    static EVP_PKEY *read( BIO *bio ) { return PEM_read_bio_PrivateKey( bio, nullptr, noPassPhrase, nullptr ); }
    static int       write( BIO *bio, EVP_PKEY *pkey ) { return PEM_write_bio_PKCS8PrivateKey( bio, pkey, nullptr, nullptr, 0, nullptr, nullptr ); }

    static std::vector<Block> otherForms( EVP_PKEY *pkey )
    {
        // If the caller has no pass phrase, OpenSSL gets an empty one. So a key that an empty pass
        // phrase protects loads.
        std::vector<Block> list = { { PEM_STRING_PKCS8, bodyOf( protectedText( pkey, "" ) ) } };
        if( EVP_PKEY_is_a( pkey, "RSA" ) )
            list.push_back( { PEM_STRING_RSA, bodyOf( traditionalText( pkey ) ) } );
        if( EVP_PKEY_is_a( pkey, "EC" ) )
            list.push_back( { PEM_STRING_ECPRIVATEKEY, bodyOf( traditionalText( pkey ) ) } );
        return list;
    }

    static std::vector<std::string> bodiesToDamage()
    {
        return { bodyOf( pkcs8Text( key( KeyKind::p256 ).get() ) ), bodyOf( pkcs8Text( key( KeyKind::ed25519 ).get() ) ) };
    }

    static bool works( CRY_PKEY_PRIVATE *priv )
    {
        return publicText( pb::adopt( cryPkeyPrivatePublicKey( priv ) ).get() ) == spkiText( cry___PkeyPrivatePeekOpensslEvpPkey( priv ) );
    }
};

struct PublicType : PkeyType
{
    PEM_OBJECT_FUNCTIONS( CRY_PKEY_PUBLIC, PkeyPublic, EVP_PKEY, OpensslEvpPkey )
    static constexpr auto        upRef     = cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef;
    static constexpr const char *label     = PEM_STRING_PUBLIC;
    static constexpr bool        sensitive = false, sharesSensitive = true;

    static EVP_PKEY *read( BIO *bio ) { return PEM_read_bio_PUBKEY( bio, nullptr, noPassPhrase, nullptr ); }
    static int       write( BIO *bio, EVP_PKEY *pkey ) { return PEM_write_bio_PUBKEY( bio, pkey ); }

    static std::vector<Sample<EVP_PKEY>> samples() { return samplesOf( true ); }

    static std::vector<Block> otherForms( EVP_PKEY *pkey ) { return { { label, withLongerLength( spkiOf( pkey ) ) } }; }

    static std::vector<std::string> bodiesToDamage()
    {
        Pkey                     rsa( EVP_RSA_gen( 512 ), EVP_PKEY_free );
        std::vector<std::string> list;
        for( const Pkey &pkey : { newEcKey( "secp112r1" ), newEcKey( "sect113r1" ), rsa, key( KeyKind::p256 ), key( KeyKind::ed25519 ) } )
            list.push_back( spkiOf( pkey.get() ) );
        return list;
    }

    static bool works( CRY_PKEY_PUBLIC *pub )
    {
        return cryPkeyInfoBits( pb::adopt( cryPkeyPublicInfo( pub ) ).get() ) == EVP_PKEY_get_bits( cry___PkeyPublicPeekOpensslEvpPkey( pub ) );
    }
};

// The names of the types in typed suites.
struct PemObjectNames
{
    template<class Type>
    static std::string GetName( int )
    {
        return Type::name;
    }
};

// PemObjects: makes objects of a type in several ways.
template<class Type>
struct PemObjects
{
    using Object = pb::Ref<typename Type::Object>;
    using Handle = typename Type::Handle;

    static Object fromPem( const pb::Ref<CRY_PEM> &pem ) { return pb::adopt( Type::create( pem.get() ) ); }
    static Object fromBlock( const Block &block ) { return fromPem( support::pem( block.label, block.body ) ); }
    static Object fromText( std::string_view text )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
        EXPECT_TRUE( pem ) << text;
        return pem ? fromPem( pem ) : Object();
    }
    static Object fromStore( const Block &block )
    {
        pb::Ref<PB_STORE> store = pb::adopt( cryPemStore( support::pem( block.label, block.body ).get() ) );
        return pb::adopt( Type::restore( store.get() ) );
    }

    static pb::Ref<CRY_PEM> pemOf( const Object &obj ) { return pb::adopt( Type::pem( obj.get() ) ); }
    static std::string      canonical( const Object &obj ) { return obj ? textOf( pemOf( obj ).get() ) : std::string(); }

    // Empty if OpenSSL cannot write it.
    static std::string text( Handle *handle )
    {
        return written( [&]( BIO *bio ) { return Type::write( bio, handle ); } );
    }
    static Block block( Handle *handle ) { return { Type::label, bodyOf( text( handle ) ) }; }

    // The object that OpenSSL reads from a text, or null.
    static Handle *readText( const std::string &source )
    {
        BIO    *bio    = BIO_new_mem_buf( source.data(), (int)source.size() );
        Handle *handle = Type::read( bio );
        BIO_free( bio );
        return handle;
    }

    // The text that OpenSSL writes of that object, and the errors that OpenSSL leaves.
    static std::string byOpenssl( const std::string &source, std::vector<unsigned long> &errors )
    {
        Handle     *handle = readText( source );
        std::string out    = handle ? text( handle ) : std::string();
        Type::destroy( handle );
        errors = takeErrors();
        return out;
    }

    // Checks that the result, the canonical text and the errors for a refused text are those of
    // OpenSSL, and that older errors stay in front. Gives the object that is read without the
    // key-decoding context and the one that is read with it.
    static std::array<Object, 2> judge( const Block &block, const std::string &name, bool errorsToo = true )
    {
        takeErrors();
        pb::Ref<CRY_PEM>           pem = support::pem( block.label, block.body );
        std::vector<unsigned long> errors;
        std::string                wanted = byOpenssl( bytes( pb::adopt( cryPemEncode( pem.get() ) ) ), errors );
        if( !wanted.empty() )
            errors.clear();
        errors.insert( errors.begin(), raisedError );
        std::array<Object, 2> made;
        for( bool fast : { false, true } )
        {
            std::string where = block.label + ": " + name + ", fast " + std::to_string( fast );
            KeyDecoding used( fast );
            raiseError();
            made[fast]                      = fromPem( pem );
            std::vector<unsigned long> left = takeErrors();
            if( errorsToo )
                EXPECT_EQ( left, errors ) << where;
            EXPECT_EQ( canonical( made[fast] ), wanted ) << where;
            if( made[fast] )
                EXPECT_EQ( text( Type::peek( made[fast].get() ) ), wanted ) << where;
        }
        return made;
    }

    // The same; gives whether the block was accepted.
    static bool isTaken( const Block &block, const std::string &name ) { return (bool)judge( block, name )[1]; }
};

}
