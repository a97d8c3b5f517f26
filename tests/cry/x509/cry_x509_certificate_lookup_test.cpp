#include "x509/cry_x509_certificate_lookup.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_session.h>
#include <openssl_module/internal/openssl_module.h>

#include "cry/x509/stacks.hpp"
#include "support/certificates.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"
#include "x509/cry_x509_certificate.hpp"
#include "x509/cry_x509_certificate_chain.hpp"
#include "x509/cry_x509_certificates.hpp"
#include "x509/cry_x509_session.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <thread>

using namespace support;

namespace
{

using Certificate  = pb::Ref<CRY_X509_CERTIFICATE>;
using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;

constexpr time_t leafSeconds = 1719792000; // 2024-07-01

Certificate fresh( const Cert &cert ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( cert ) ).get() ) ); }

std::vector<Certificate> freshAll( const std::vector<Cert> &certs )
{
    std::vector<Certificate> list;
    for( const Cert &cert : certs )
        list.push_back( fresh( cert ) );
    return list;
}

Cert authority( const std::string &subject, int number, CertificateFields more = {} )
{
    more.subject    = subject;
    more.subjectKey = key( KeyKind::p256, number );
    if( more.extensions.empty() )
        more.extensions = { { "basicConstraints", "critical,CA:TRUE" } };
    return makeCertificate( more );
}

Cert issued( const std::string &subject, int number, const Cert &issuer, int issuerNumber, CertificateFields more = {} )
{
    more.issuer    = issuer;
    more.issuerKey = key( KeyKind::p256, issuerNumber );
    return authority( subject, number, more );
}

struct Case
{
    std::string       name;
    Cert              leaf;
    std::vector<Cert> extra;
    std::vector<Cert> trusted;
    time_t            seconds = leafSeconds;
};

// The place of an object among those of a case: "leaf", "extra 0", "trusted 1"; "new" if it is none
// of them.
std::string placeOf(
    CRY_X509_CERTIFICATE *cert, const Certificate &leaf, const std::vector<Certificate> &extra, const std::vector<Certificate> &trusted )
{
    if( cert == leaf.get() )
        return "leaf";
    for( size_t index = 0; index < extra.size(); index++ )
        if( cert == extra[index].get() )
            return "extra " + std::to_string( index );
    for( size_t index = 0; index < trusted.size(); index++ )
        if( cert == trusted[index].get() )
            return "trusted " + std::to_string( index );
    return "new";
}

// Everything that a verification tells, twice with the same objects.
std::string verdictOf( const Case &each )
{
    Certificate              leaf  = fresh( each.leaf );
    std::vector<Certificate> extra = freshAll( each.extra ), trusted = freshAll( each.trusted );
    Certificates             extras = certificates( extra ), trust = certificates( trusted );
    std::string              told;
    for( int round = 0; round < 2; round++ )
    {
        ERR_clear_error();
        cry::x509::Verdict verdict = cry::x509::verifyChain(
            { leaf.get(), extras.get(), trust.get(), cry::x509::cachedStore( trust.get() ) }, each.seconds );
        told += std::to_string( verdict.code ) + " at " + std::to_string( verdict.depth ) + ":";
        if( verdict.certificate )
            told += " " + placeOf( verdict.certificate.get(), leaf, extra, trusted );
        if( verdict )
            for( const Certificate &cert : members( verdict.chain.get() ) )
                told += " " + placeOf( cert.get(), leaf, extra, trusted ) + ",";
        for( unsigned long error : takeErrors() )
            told += " error " + std::to_string( error );
        told += "\n";
    }
    return told;
}

std::string bmp( std::string_view text )
{
    std::string wide;
    for( char c : text )
        wide += std::string( 1, '\0' ) + c;
    return wide;
}

std::vector<Case> cases()
{
    std::vector<Case> list;
    Chain             chain = chainOf( KeyKind::rsa );
    Cert              other = authority( "CN=Other", 5 );
    list.push_back( { "three", chain.leaf, { chain.intermediate }, { other, chain.root } } );
    list.push_back( { "no root", chain.leaf, { chain.intermediate }, { other } } );
    list.push_back( { "no intermediate", chain.leaf, {}, { other, chain.root } } );
    list.push_back( { "nothing trusted", chain.leaf, { chain.intermediate }, {} } );
    list.push_back( { "the leaf is trusted", chain.leaf, {}, { other, chain.leaf } } );
    list.push_back( { "the intermediate is trusted", chain.leaf, {}, { other, chain.intermediate } } );
    list.push_back( { "the intermediate is extra and trusted", chain.leaf, { chain.intermediate }, { chain.intermediate, other } } );
    list.push_back(
        { "all are extra and trusted", chain.leaf, { chain.leaf, chain.intermediate, chain.root }, { chain.leaf, chain.root, chain.intermediate } } );
    list.push_back( { "each comes twice", chain.leaf, { chain.intermediate, chain.intermediate }, { chain.root, other, chain.root, other } } );
    list.push_back( { "too early", chain.leaf, { chain.intermediate }, { chain.root }, 1000000000 } );
    list.push_back( { "the root is the leaf", chain.root, {}, { other, chain.root } } );

    // Roots of one subject: other keys, other times, in each order.
    std::vector<Cert>   roots = { authority( "CN=Same", 0 ), authority( "CN=Same", 1 ), authority( "CN=Same", 0, { .serial = "7" } ),
          authority( "CN=Same", 0, { .notAfter = "20210101000000Z", .serial = "8" } ),
          authority( "CN=Same", 0, { .notBefore = "20230101000000Z", .notAfter = "20300101000000Z", .serial = "9" } ) };
    Cert                leaf  = issued( "CN=leaf", 9, roots[0], 0, { .extensions = { { "basicConstraints", "CA:FALSE" } } } );
    std::vector<size_t> order = { 0, 1, 2, 3, 4 };
    int                 taken = 0;
    do
    {
        // Each seventh of the 120 orders.
        if( taken++ % 7 )
            continue;
        std::vector<Cert> trusted = { other };
        for( size_t index : order )
            trusted.push_back( roots[index] );
        list.push_back( { "roots of one subject, order " + std::to_string( taken ), leaf, {}, trusted } );
        trusted.resize( 3 );
        list.push_back( { "two roots of one subject, order " + std::to_string( taken ), leaf, {}, trusted } );
    }
    while( std::next_permutation( order.begin(), order.end() ) );

    // Names that are equal only in their canonical form.
    auto named = [&]( const std::string &subject, int type, int number = 0 ) { return authority( subject, number, { .nameType = type } ); };
    std::vector<std::pair<std::string, Cert>> spellings = { { "plain", named( "CN=Example Root", V_ASN1_UTF8STRING ) },
        { "other case", named( "CN=EXAMPLE rOOT", V_ASN1_UTF8STRING ) }, { "more blanks", named( "CN=  Example    Root ", V_ASN1_UTF8STRING ) },
        { "a tab", named( "CN=Example\tRoot", V_ASN1_UTF8STRING ) }, { "PrintableString", named( "CN=Example Root", V_ASN1_PRINTABLESTRING ) },
        { "IA5String", named( "CN=example root", V_ASN1_IA5STRING ) }, { "T61String", named( "CN=Example Root", V_ASN1_T61STRING ) },
        { "BMPString", named( "CN=" + bmp( "Example Root" ), V_ASN1_BMPSTRING ) }, { "no blank", named( "CN=ExampleRoot", V_ASN1_UTF8STRING ) },
        { "other key", named( "CN=Example Root", V_ASN1_UTF8STRING, 1 ) }, { "other field", named( "O=Example Root", V_ASN1_UTF8STRING ) } };
    for( const auto &[issuerName, issuer] : spellings )
    {
        Cert ofIssuer = issued( "CN=leaf", 9, issuer, 0, { .extensions = { { "basicConstraints", "CA:FALSE" } } } );
        for( const auto &[name, root] : spellings )
        {
            list.push_back( { issuerName + " under " + name, ofIssuer, {}, { other, root } } );
            list.push_back( { issuerName + " under " + name + " and another", ofIssuer, {}, { spellings[9].second, root, other } } );
        }
    }
    Cert latin = named( "CN=J\xF6rg", V_ASN1_T61STRING ), utf8 = named( "CN=J\xC3\xB6rg", V_ASN1_UTF8STRING );
    list.push_back( { "T61String outside of ASCII", issued( "CN=leaf", 9, latin, 0 ), {}, { other, utf8 } } );
    list.push_back( { "UTF8String outside of ASCII", issued( "CN=leaf", 9, utf8, 0 ), {}, { utf8, other } } );
    Cert sets = authority( "O=One/CN=Two", 0 ), turned = authority( "CN=Two/O=One", 0 );
    list.push_back( { "entries in another order", issued( "CN=leaf", 9, sets, 0 ), {}, { turned, other } } );
    Cert nameless = authority( "", 0 );
    list.push_back( { "an empty subject", issued( "CN=leaf", 9, nameless, 0 ), {}, { other, nameless } } );
    return list;
}

// The OpenSSL certificates that a store holds.
std::vector<X509 *> held( X509_STORE *x509Store )
{
    std::vector<X509 *> list;
    STACK_OF( X509_OBJECT ) *objects = X509_STORE_get0_objects( x509Store );
    for( int index = 0; index < sk_X509_OBJECT_num( objects ); index++ )
        list.push_back( X509_OBJECT_get0_X509( sk_X509_OBJECT_value( objects, index ) ) );
    return list;
}

bool verifies( X509_STORE *x509Store, const Certificate &leaf )
{
    X509_STORE_CTX *ctx = X509_STORE_CTX_new();
    EXPECT_EQ( X509_STORE_CTX_init( ctx, x509Store, cry___X509CertificatePeekOpensslX509( leaf.get() ), nullptr ), 1 );
    X509_VERIFY_PARAM_set_flags( X509_STORE_CTX_get0_param( ctx ), X509_V_FLAG_PARTIAL_CHAIN );
    bool good = X509_verify_cert( ctx ) == 1;
    X509_STORE_CTX_free( ctx );
    return good;
}

bool made( const Certificate &cert ) { return cry::x509::peekIfMade( cert.get() ) != nullptr; }

}

TEST( CryX509CertificateLookup, GivesTheVerdictsAndTheObjectsOfAFilledStore )
{
    for( const Case &each : cases() )
    {
        std::string filled, found;
        {
            Shortcuts off( false );
            filled = verdictOf( each );
        }
        {
            Shortcuts on( true );
            found = verdictOf( each );
        }
        EXPECT_EQ( found, filled ) << each.name;
    }
}

TEST( CryX509CertificateLookup, OnlyCertificatesThatAreUsedAreParsed )
{
    Shortcuts                on( true );
    Chain                    chain   = chainOf( KeyKind::rsa );
    std::vector<Certificate> trusted = freshAll( { authority( "CN=Other", 5 ), chain.root, authority( "CN=Other", 6 ) } );
    Certificates             trust   = certificates( trusted );
    Certificate              leaf    = fresh( chain.leaf );
    EXPECT_TRUE( verifies( cry::x509::cachedStore( trust.get() ), fresh( chain.root ) ) );
    EXPECT_FALSE( made( trusted[0] ) );
    EXPECT_TRUE( made( trusted[1] ) );
    EXPECT_FALSE( made( trusted[2] ) );
    EXPECT_EQ( held( cry::x509::cachedStore( trust.get() ) ), std::vector<X509 *>{ cry___X509CertificatePeekOpensslX509( trusted[1].get() ) } );
    // The store that is given out holds all, in order.
    X509_STORE         *filled = cry___X509CertificatesCreateOpensslX509Store( trust.get() );
    std::vector<X509 *> wanted;
    for( const Certificate &cert : trusted )
        wanted.push_back( cry___X509CertificatePeekOpensslX509( cert.get() ) );
    EXPECT_EQ( held( filled ), wanted );
    X509_STORE_free( filled );
}

TEST( CryX509CertificateLookup, AnEditedCollectionIsSearchedAnew )
{
    Shortcuts    on( true );
    Chain        chain = chainOf( KeyKind::p256 );
    Certificates trust = certificates( freshAll( { authority( "CN=Other", 5 ) } ) );
    EXPECT_FALSE( verifies( cry::x509::cachedStore( trust.get() ), fresh( chain.root ) ) );
    cryX509CertificatesAppendCertificate( trust.handle(), fresh( chain.root ).get() );
    EXPECT_TRUE( verifies( cry::x509::cachedStore( trust.get() ), fresh( chain.root ) ) );
    cryX509CertificatesClearCertificates( trust.handle() );
    EXPECT_FALSE( verifies( cry::x509::cachedStore( trust.get() ), fresh( chain.root ) ) );
}

TEST( CryX509CertificateLookup, TheStoreOfASessionHoldsAllCertificates )
{
    Shortcuts                on( true );
    Chain                    chain   = chainOf( KeyKind::p256 );
    std::vector<Certificate> trusted = freshAll( { authority( "CN=Z", 5 ), chain.root, authority( "CN=A", 6 ) } );
    Session                  sess    = sessionOf( stackOf( options( trusting( trusted ) ) ) );
    for( const Certificate &cert : trusted )
        EXPECT_FALSE( made( cert ) );
    X509_STORE *x509Store = cry::x509::verificationStore( sess.get() );
    EXPECT_TRUE( held( x509Store ).empty() );
    std::vector<X509 *> wanted;
    EXPECT_EQ( cry___X509SessionPeekOpensslX509Store( sess.get() ), x509Store );
    for( const Certificate &cert : trusted )
        wanted.push_back( cry___X509CertificatePeekOpensslX509( cert.get() ) );
    EXPECT_EQ( held( x509Store ), wanted );
    EXPECT_EQ( held( cry___X509SessionPeekOpensslX509Store( sess.get() ) ), wanted );
    EXPECT_TRUE( verifies( x509Store, fresh( chain.root ) ) );

    // The same after a verification: each once, sorted as OpenSSL does it.
    Session used = sessionOf(
        stackOf( options( trusting( freshAll( { authority( "CN=Z", 5 ), chain.root, chain.root, authority( "CN=A", 6 ) } ) ) ) ) );
    EXPECT_TRUE( verifies( cry::x509::verificationStore( used.get() ), fresh( chain.root ) ) );
    EXPECT_EQ( held( cry::x509::verificationStore( used.get() ) ).size(), 1u );
    EXPECT_EQ( held( cry___X509SessionPeekOpensslX509Store( used.get() ) ).size(), 3u );
    EXPECT_TRUE( verifies( cry::x509::verificationStore( used.get() ), fresh( chain.root ) ) );
}

TEST( CryX509CertificateLookup, AStoreKeepsTheCollectionThatItHolds )
{
    Shortcuts   on( true );
    Chain       chain = chainOf( KeyKind::p256 );
    X509_STORE *x509Store;
    {
        Certificates trust = certificates( freshAll( { chain.root } ) );
        x509Store          = cry::x509::createLookupStore( trust.get(), cry::x509::Collection::held );
    }
    EXPECT_TRUE( verifies( x509Store, fresh( chain.root ) ) );
    X509_STORE_free( x509Store );
}

TEST( CryX509CertificateLookup, ManyThreadsFindTheSameCertificates )
{
    Shortcuts         on( true );
    std::vector<Cert> roots;
    std::vector<Cert> leaves;
    // Pairs of one subject: only the second one has issued the leaf. Their key identifiers tell.
    CertificateFields withId{ .extensions = { { "basicConstraints", "critical,CA:TRUE" }, { "subjectKeyIdentifier", "hash" } } };
    for( int number = 0; number < 8; number++ )
    {
        std::string subject = "CN=Pair " + std::to_string( number );
        roots.push_back( authority( subject, 1, withId ) );
        roots.push_back( authority( subject, 0, withId ) );
        leaves.push_back( issued( "CN=leaf", 9, roots.back(), 0, { .extensions = { { "authorityKeyIdentifier", "keyid" } } } ) );
    }
    for( int round = 0; round < 20; round++ )
    {
        Certificates             trust = certificates( freshAll( roots ) );
        std::vector<std::thread> threads;
        std::atomic<int>         good = 0;
        for( int thread = 0; thread < 4; thread++ )
            threads.emplace_back( [&, thread] {
                for( size_t index = 0; index < leaves.size(); index++ )
                {
                    Certificate leaf = fresh( leaves[( index + (size_t)thread ) % leaves.size()] );
                    good += verifies( cry::x509::cachedStore( trust.get() ), leaf );
                    if( thread == 3 && index == 4 )
                        cry::x509::fillLookupStore( cry::x509::cachedStore( trust.get() ) );
                }
            } );
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( good, 4 * (int)leaves.size() );
        EXPECT_EQ( held( cry::x509::cachedStore( trust.get() ) ).size(), roots.size() );
    }
}
