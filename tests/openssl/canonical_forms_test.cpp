// Certificates and keys that the walkers accept, from files and from mutations: OpenSSL accepts
// them, too, and writes the same bytes. CRY_MUTATIONS gives the number of mutations of each test.
#include "common/cry_ossl.hpp"
#include "support/canonical.hpp"
#include "support/certificates.hpp"
#include "support/der_tree.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/text.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <random>
#include <set>

using namespace support;
using cry::ossl::Ptr;
using nlohmann::json;

namespace
{

size_t mutationCount( size_t usual )
{
    const char *text = std::getenv( "CRY_MUTATIONS" );
    return text ? std::strtoull( text, nullptr, 10 ) : usual;
}

// The default context takes longest, so it sees one of this number of accepted mutations.
constexpr size_t defaultContextStep = 20;

class Mutator
{
public:
    explicit Mutator( std::vector<std::string> wanted ) : inputs( std::move( wanted ) ) {}

    std::string next();

private:
    size_t below( size_t count ) { return generator() % count; }

    template<class List>
    const auto &one( const List &list )
    {
        return list[below( std::size( list ) )];
    }

    char byte()
    {
        static constexpr char special[] = { 0, 1, 5, 6, 0x30, 0x7F, (char)0x80, (char)0x81, (char)0x82, (char)0xFF };
        return below( 2 ) ? one( special ) : (char)below( 256 );
    }

    std::string mutated( const std::string &der )
    {
        std::vector<Node> roots;
        if( der.empty() || below( 3 ) == 0 || !parseNodes( der, roots ) || roots.empty() )
            return withOtherBytes( der );
        std::vector<const Node *> all;
        collect( roots[0], all );
        const Node *target  = one( all );
        std::string changed = elementFor( *target );
        return writeNode(
            roots[0], [&]( const Node &node, const std::string &content ) { return &node == target ? changed : plainly( node, content ); } );
    }

    std::string withOtherBytes( std::string der )
    {
        for( size_t left = 1 + below( 3 ); left && !der.empty(); left-- )
        {
            char &target = der[below( der.size() )];
            target       = below( 2 ) ? byte() : (char)( target ^ 1 << below( 8 ) );
        }
        return der;
    }

    // All lengths around the result are mended by the caller.
    std::string elementFor( const Node &node )
    {
        static constexpr unsigned char tags[]  = { 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x12, 0x13, 0x14, 0x16, 0x17, 0x18, 0x1A,
             0x1C, 0x1E, 0x1F, 0x23, 0x24, 0x30, 0x31, 0x80, 0x81, 0x82, 0xA0, 0xA1, 0xA2, 0xA3 };
        static const std::string       parts[] = { "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82\xac", "\xc3\xa4", "\xf0\x9f\x98\x80",
                  "\xf8\x88\x80\x80\x80", "\xd8", "\x80", "\x81\x80", "\xff", std::string( 2, '\0' ) };
        std::string                    whole = writeNode( node, plainly ), content = node.content;
        switch( below( 10 ) )
        {
        case 0:
            return element( one( tags ), content );
        case 1:
            return element( node.tag, content.insert( below( content.size() + 1 ), one( parts ) ) );
        case 2:
            return element( node.tag, content.insert( below( 2 ) ? 0 : content.size(), 1 + below( 3 ), byte() ) );
        case 3:
            return element( node.tag, content.empty() ? content : content.erase( below( content.size() ), 1 + below( 3 ) ) );
        case 4:
            return anotherLike( node );
        case 5:
            return below( 2 ) ? "" : whole + whole;
        case 6:
            return element( node.tag, "" );
        case 7:
            return std::string( 1, (char)node.tag ) + lengthOf( content.size(), 1 + (int)below( 3 ) ) + content;
        case 8:
            return std::string( 1, (char)( node.tag | 0x20 ) ) + "\x80" + content + std::string( 2, '\0' );
        default:
            return element( node.tag, withOtherBytes( content ) );
        }
    }

    // An element of another input, mostly with the same tag.
    std::string anotherLike( const Node &node )
    {
        std::vector<Node>         roots;
        std::vector<const Node *> all;
        if( !parseNodes( one( inputs ), roots ) )
            return "";
        collect( roots.at( 0 ), all );
        const Node *found = one( all );
        for( int left = 30; left > 0 && found->tag != node.tag && below( 8 ); left-- )
            found = one( all );
        return writeNode( *found, plainly );
    }

    std::vector<std::string> inputs;
    std::mt19937             generator{ 20240701 };
};

std::string Mutator::next()
{
    std::string out = mutated( one( inputs ) );
    return below( 4 ) ? out : mutated( out );
}

void checkMutations( const std::vector<std::string> &inputs, size_t count, bool ( *isCanonical )( const std::string & ),
    std::string ( *problemOf )( const std::string &, Context ) )
{
    for( const std::string &each : inputs )
    {
        ASSERT_TRUE( isCanonical( each ) ) << hex( each );
        for( Context context : { Context::keyDecoding, Context::everybodys } )
            ASSERT_EQ( problemOf( each, context ), "" ) << hex( each );
    }
    Mutator mutator( inputs );
    size_t  accepted = 0, wrong = 0;
    for( size_t left = count; left > 0 && wrong < 10; left-- )
    {
        std::string der = mutator.next();
        if( !isCanonical( der ) )
            continue;
        accepted++;
        std::string problem = problemOf( der, Context::keyDecoding );
        if( problem.empty() && accepted % defaultContextStep == 0 )
            problem = problemOf( der, Context::everybodys );
        wrong += !problem.empty();
        EXPECT_EQ( problem, "" ) << hex( der );
    }
    EXPECT_EQ( ERR_peek_error(), 0u );
    // The mutations are not all refused at once.
    EXPECT_GT( accepted, count / 20 );
    EXPECT_LT( accepted, count );
    if( std::getenv( "CRY_MUTATIONS" ) )
        std::printf( "%zu mutations, %zu accepted, %zu wrong\n", count, accepted, wrong );
}

// The DER of all PEM blocks of certificates in a text.
void addCertificates( const std::string &text, std::set<std::string> &ders )
{
    Ptr<BIO>       bio( BIO_new_mem_buf( text.data(), (int)text.size() ) );
    unsigned char *data = nullptr;
    long           length;
    while( PEM_bytes_read_bio( &data, &length, nullptr, PEM_STRING_X509, bio.get(), nullptr, nullptr ) )
    {
        ders.emplace( (char *)data, (size_t)length );
        OPENSSL_free( data );
    }
    ERR_clear_error();
}

// Checks those that are accepted, and that they are at least 97 % of those that OpenSSL would write
// again in the same bytes.
void checkCertificates( const std::set<std::string> &ders )
{
    size_t kept = 0, accepted = 0;
    for( const std::string &der : ders )
    {
        std::string problem = problemOfCertificate( der, Context::keyDecoding );
        kept += problem.empty();
        if( !isCanonicalCertificate( der ) )
            continue;
        if( accepted++ % defaultContextStep == 0 && problem.empty() )
            problem = problemOfCertificate( der, Context::everybodys );
        EXPECT_EQ( problem, "" ) << hex( der );
    }
    EXPECT_GE( accepted * 100, kept * 97 ) << accepted << " of " << kept;
}

std::string pkcs8Of( EVP_PKEY *pkey )
{
    std::string text = pkcs8Text( pkey );
    size_t      from = text.find( '\n' ), to = text.rfind( "-----END" );
    std::string body = text.substr( from, to - from );
    std::erase( body, '\n' );
    return fromBase64( body );
}

}

TEST( CanonicalForms, MostCertificatesOfThePlatformAreAccepted )
{
    std::set<std::string> ders;
    for( const std::filesystem::path &path : packageFiles( "ca-certificates" ) )
    {
        if( path.extension() == ".crt" )
            addCertificates( read( path ), ders );
    }
    if( ders.empty() )
        GTEST_SKIP() << "the package ca-certificates is not installed";
    checkCertificates( ders );
}

TEST( CanonicalForms, MostCertificatesOfChainsAreAccepted )
{
    NEED_VECTORS( folder );
    std::set<std::string> ders;
    for( const char *name : { "limbo", "paths" } )
    {
        for( const std::filesystem::path &path : filesBelow( *folder / name ) )
        {
            if( path.extension() != ".xz" )
                continue;
            json cases = json::parse( read( path ) );
            for( const json &each : cases["testcases"] )
            {
                addCertificates( each["peer_certificate"], ders );
                for( const char *list : { "untrusted_intermediates", "trusted_certs" } )
                {
                    for( const json &text : each[list] )
                        addCertificates( text, ders );
                }
            }
        }
    }
    EXPECT_GT( ders.size(), 5000u );
    checkCertificates( ders );
}

TEST( CanonicalForms, MutatedCertificatesAreAcceptedOnlyIfOpensslKeepsThem )
{
    std::vector<std::string> inputs;
    for( KeyKind kind : allKeyKinds )
    {
        Chain chain = chainOf( kind );
        for( const Cert &cert : { chain.root, chain.intermediate, chain.leaf } )
            inputs.push_back( der( cert ) );
        inputs.push_back( der( makeCertificate( { .subject = "C=DE/O=B\xc3\xbc"
                                                             "cher \xe2\x82\xac/DC=org/serialNumber=12/emailAddress=a@example.org",
            .subjectKey                                    = key( kind ),
            .notAfter                                      = "20600101000000Z",
            .serial                                        = "-300",
            .extensions                                    = { { "basicConstraints", "critical,CA:TRUE" }, { "keyUsage", "keyCertSign" } } } ) ) );
    }
    checkMutations( inputs, mutationCount( 5000 ), isCanonicalCertificate, problemOfCertificate );
}

TEST( CanonicalForms, MutatedPrivateKeysAreAcceptedOnlyIfOpensslKeepsThem )
{
    std::vector<std::string> inputs;
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
        inputs.push_back( pkcs8Of( key( kind ).get() ) );
    for( const char *curve : { "P-521", "secp256k1", "brainpoolP256r1", "secp112r2", "sect163k1", "sect571r1", "wap-wsg-idm-ecid-wtls8" } )
    {
        Pkey made( EVP_EC_gen( curve ), EVP_PKEY_free );
        inputs.push_back( pkcs8Of( made.get() ) );
    }
    checkMutations( inputs, mutationCount( 5000 ), isCanonicalPrivateKey, problemOfPrivateKey );
}
