#include "ours.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_info.h>
#include <cry/internal/cry_x509_sans.h>
#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>

#include <fstream>
#include <memory>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <vector>

namespace
{

using bench::Chain;

// What a program writes that verifies a chain: store, parameters, context, the result copied.
void plainVerify( X509 *leaf, X509 *intermediate, X509 *root )
{
    X509_STORE *store = X509_STORE_new();
    X509_STORE_add_cert( store, root );
    bench::plainVerify( store, leaf, intermediate );
    X509_STORE_free( store );
}

// The form of names that the library gives.
constexpr unsigned long nameFlags = ASN1_STRFLGS_ESC_2253 | ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_ESC_QUOTE | ASN1_STRFLGS_UTF8_CONVERT |
    ASN1_STRFLGS_DUMP_UNKNOWN | ASN1_STRFLGS_DUMP_DER | XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV;

// What a program writes that looks at names, serial number, validity and usage extensions.
void plainInfo( const X509 *x509 )
{
    for( const X509_NAME *name : { X509_get_subject_name( x509 ), X509_get_issuer_name( x509 ) } )
    {
        BIO *bio = BIO_new( BIO_s_mem() );
        X509_NAME_print_ex( bio, name, 0, nameFlags );
        BIO_free( bio );
    }
    BN_free( ASN1_INTEGER_to_BN( X509_get0_serialNumber( x509 ), nullptr ) );
    for( const ASN1_TIME *time : { X509_get0_notBefore( x509 ), X509_get0_notAfter( x509 ) } )
    {
        tm parts;
        ASN1_TIME_to_tm( time, &parts );
    }
    auto extension = [x509]( int nid ) { return X509_get_ext_d2i( x509, nid, nullptr, nullptr ); };
    BASIC_CONSTRAINTS_free( (BASIC_CONSTRAINTS *)extension( NID_basic_constraints ) );
    ASN1_BIT_STRING_free( (ASN1_BIT_STRING *)extension( NID_key_usage ) );
    EXTENDED_KEY_USAGE_free( (EXTENDED_KEY_USAGE *)extension( NID_ext_key_usage ) );
    ASN1_BIT_STRING_free( (ASN1_BIT_STRING *)extension( NID_netscape_cert_type ) );
    GENERAL_NAMES_free( (GENERAL_NAMES *)extension( NID_subject_alt_name ) );
}

struct OursChain
{
    bench::Presented               presented;
    pb::Ref<CRY_X509_CERTIFICATES> trusted;

    explicit OursChain( const Chain &chain ) : presented( chain ), trusted( bench::collectionOf( chain[2].der ) ) {}

    void verify( PB_TIME *now ) const { presented.verify( trusted.get(), now ); }
};

// As fast as libcrypto can be: the certificates of the key-decoding context, whose keys cost least,
// and a store that is kept. Each signature is computed.
class TunedChain
{
public:
    explicit TunedChain( const Chain &chain ) : store( X509_STORE_new() )
    {
        bench::WithoutShortcuts without;
        for( size_t place = 0; place < chain.size(); place++ )
        {
            objects[place] = bench::certificateFromDer( chain[place].der );
            x509s[place]   = cry___X509CertificatePeekOpensslX509( objects[place].get() );
        }
        X509_STORE_add_cert( store, x509s[2] );
    }
    ~TunedChain() { X509_STORE_free( store ); }
    TunedChain( const TunedChain & )            = delete;
    TunedChain &operator=( const TunedChain & ) = delete;

    void verify() const
    {
        bench::WithoutShortcuts without;
        bench::plainVerify( store, x509s[0], x509s[1] );
    }

private:
    std::array<pb::Ref<CRY_X509_CERTIFICATE>, 3> objects;
    std::array<X509 *, 3>                        x509s{};
    X509_STORE                                  *store;
};

std::string hostName( int number ) { return "host-" + std::to_string( number ) + ".example.com"; }

// A certificate that has only names: host-0.example.com and so on, and a wildcard as the last one.
std::shared_ptr<X509> certificateWithNames( int count )
{
    std::shared_ptr<X509>          x509( X509_new(), X509_free );
    std::shared_ptr<GENERAL_NAMES> names( GENERAL_NAMES_new(), GENERAL_NAMES_free );
    for( int number = 0; number < count; number++ )
    {
        std::string     host = number < count - 1 ? hostName( number ) : "*.example.org";
        ASN1_IA5STRING *text = ASN1_IA5STRING_new();
        ASN1_STRING_set( text, host.data(), (int)host.size() );
        GENERAL_NAME *name = GENERAL_NAME_new();
        GENERAL_NAME_set0_value( name, GEN_DNS, text );
        sk_GENERAL_NAME_push( names.get(), name );
    }
    X509_add1_ext_i2d( x509.get(), NID_subject_alt_name, names.get(), 0, 0 );
    return x509;
}

pb::Ref<CRY_X509_SANS> namesOf( X509 *x509 )
{
    GENERAL_NAMES         *names = (GENERAL_NAMES *)X509_get_ext_d2i( x509, NID_subject_alt_name, nullptr, nullptr );
    pb::Ref<CRY_X509_SANS> sans  = pb::adopt( cry___X509SansCreateFromOpensslSubjectAltNames( names ) );
    GENERAL_NAMES_free( names );
    return sans;
}

// What a program writes that looks at all names.
void plainNames( const X509 *x509 )
{
    GENERAL_NAMES *names = (GENERAL_NAMES *)X509_get_ext_d2i( x509, NID_subject_alt_name, nullptr, nullptr );
    for( int index = 0; index < sk_GENERAL_NAME_num( names ); index++ )
    {
        unsigned char *text;
        ASN1_STRING_to_UTF8( &text, sk_GENERAL_NAME_value( names, index )->d.dNSName );
        OPENSSL_free( text );
    }
    GENERAL_NAMES_free( names );
}

// The host must match the wildcard, which is the last name.
void checkHost( CRY_X509_SANS *names, const char *host )
{
    pb::Ref<PB_STRING>     text   = pb::adopt( pbStringCreateFromCstr( host, -1 ) );
    pb::Ref<CRY_X509_SAN>  san    = pb::adopt( cryX509SanTryCreateFromHost( text.get() ) );
    pb::Ref<CRY_X509_SANS> wanted = pb::adopt( cryX509SansCreate() );
    cryX509SansSet( wanted.handle(), san.get() );
    if( !cryX509SansHasMatch( names, wanted.get(), PB_TRUE ) )
        std::abort();
}

void plainCheckHost( X509 *x509, const char *host )
{
    if( X509_check_host( x509, host, 0, 0, nullptr ) != 1 )
        std::abort();
}

// None of the hosts may match.
void checkOtherHosts( CRY_X509_SANS *names, int count )
{
    pb::Ref<CRY_X509_SANS> wanted = pb::adopt( cryX509SansCreate() );
    for( int number = 0; number < count; number++ )
    {
        pb::Ref<PB_STRING>    text = pb::adopt( pbStringCreateFromCstr( ( "other-" + hostName( number ) ).c_str(), -1 ) );
        pb::Ref<CRY_X509_SAN> san  = pb::adopt( cryX509SanTryCreateFromHost( text.get() ) );
        cryX509SansSet( wanted.handle(), san.get() );
    }
    if( cryX509SansHasMatch( names, wanted.get(), PB_TRUE ) )
        std::abort();
}

void plainCheckOtherHosts( X509 *x509, int count )
{
    for( int number = 0; number < count; number++ )
    {
        if( X509_check_host( x509, ( "other-" + hostName( number ) ).c_str(), 0, 0, nullptr ) != 0 )
            std::abort();
    }
}

void registerNames()
{
    static constexpr char host[]    = "www.example.org";
    std::shared_ptr<X509> x509      = certificateWithNames( 100 );
    auto                  names     = std::make_shared<pb::Ref<CRY_X509_SANS>>( namesOf( x509.get() ) );
    auto                  plainWork = [x509] { plainCheckHost( x509.get(), host ); };
    bench::pair(
        "one host against a hundred names, names read", [x509] { checkHost( namesOf( x509.get() ).get(), host ); }, plainWork );
    bench::pair(
        "one host against a hundred names", [names] { checkHost( names->get(), host ); }, plainWork );

    constexpr int         count    = 1000;
    std::shared_ptr<X509> thousand = certificateWithNames( count );
    auto                  read     = std::make_shared<pb::Ref<CRY_X509_SANS>>( namesOf( thousand.get() ) );
    bench::pair(
        "a thousand hosts against a thousand names, no match", [read] { checkOtherHosts( read->get(), count ); },
        [thousand] { plainCheckOtherHosts( thousand.get(), count ); } );

    for( int count : { 10'000, 100'000, 1'000'000 } )
    {
        std::shared_ptr<X509> large = certificateWithNames( count );
        bench::pair(
            "names of a certificate read, " + std::to_string( count ), [large] { namesOf( large.get() ); }, [large] { plainNames( large.get() ); } );
    }
}

// Few names need an escape.
void registerEscapedName( const bench::Certificate &leaf )
{
    std::shared_ptr<X509> x509( bench::plainCertificate( leaf.der ), X509_free );
    for( X509_NAME *name : { X509_get_subject_name( x509.get() ), X509_get_issuer_name( x509.get() ) } )
        X509_NAME_add_entry_by_txt( name, "O", MBSTRING_ASC, (const unsigned char *)"Example \\ Inc.", -1, -1, 0 );
    bench::pair(
        "info of a leaf with escapes in its names", [x509] { cryX509InfoRelease( cry___X509InfoCreateFromOpensslX509( x509.get() ) ); },
        [x509] { plainInfo( x509.get() ); } );
}

// Leaf and intermediate were never seen. The other side is ours without the shortcuts, as a
// certificate that comes once should cost no more because others come again.
void registerColdChain( const std::string &kind, const Chain &chain, std::shared_ptr<pb::Ref<PB_TIME>> now )
{
    auto chains  = std::make_shared<bench::NewChains>( chain, true );
    auto trusted = std::make_shared<pb::Ref<CRY_X509_CERTIFICATES>>( bench::collectionOf( chain[2].der ) );
    auto verify  = [chains, now]( CRY_X509_CERTIFICATES *trust ) { bench::Presented( chains->next() ).verify( trust, now->get() ); };

    pb::Ref<CRY_X509_CERTIFICATES> computed;
    {
        bench::WithoutShortcuts without;
        computed = bench::collectionOf( chain[2].der );
    }
    bench::pair(
        "cold chain from DER, trust kept, " + kind, [verify, trusted] { verify( trusted->get() ); },
        [verify, trusted = std::make_shared<pb::Ref<CRY_X509_CERTIFICATES>>( computed )] {
            bench::WithoutShortcuts without;
            verify( trusted->get() );
        },
        1, [chains] { chains->make(); }, 0, bench::NewChains::count );
}

void registerKind( const std::string &kind, const Chain &chain )
{
    const std::string &der = chain[0].der;
    auto               buf = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( der ) );
    for( int threads : { 1, 2 } )
    {
        bench::pair(
            "certificate from DER, " + kind, [buf] { cryX509CertificateRelease( cryX509CertificateTryCreateFromDer( buf->get() ) ); },
            [&der] { X509_free( bench::plainCertificate( der ) ); }, threads );
    }

    const std::string &text    = chain[0].pem;
    auto               textBuf = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( text ) );
    bench::pair(
        "certificate from PEM, " + kind, [textBuf] { bench::certificateFromPem( textBuf->get() ); },
        [&text] {
            BIO *bio = BIO_new_mem_buf( text.data(), (int)text.size() );
            X509_free( PEM_read_bio_X509( bio, nullptr, nullptr, nullptr ) );
            BIO_free( bio );
        } );

    const std::string &key    = chain[0].keyPem;
    auto               keyBuf = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( key ) );
    bench::pair(
        "private key from PEM, " + kind, [keyBuf] { bench::privateKeyFromPem( keyBuf->get() ); },
        [&key] {
            BIO *bio = BIO_new_mem_buf( key.data(), (int)key.size() );
            EVP_PKEY_free( PEM_read_bio_PrivateKey( bio, nullptr, nullptr, nullptr ) );
            BIO_free( bio );
        } );

    auto now = std::make_shared<pb::Ref<PB_TIME>>( pb::adopt( pbTimeNow() ) );
    bench::pair(
        "chain of three from DER, parsed and verified, " + kind, [now, &chain] { OursChain( chain ).verify( now->get() ); },
        [&chain] {
            X509 *leaf = bench::plainCertificate( chain[0].der ), *intermediate = bench::plainCertificate( chain[1].der ),
                 *root = bench::plainCertificate( chain[2].der );
            plainVerify( leaf, intermediate, root );
            X509_free( leaf );
            X509_free( intermediate );
            X509_free( root );
        } );

    registerColdChain( kind, chain, now );

    auto                ours = std::make_shared<OursChain>( chain );
    std::vector<X509 *> plain;
    for( const bench::Certificate &each : chain )
        plain.push_back( bench::plainCertificate( each.der ) );
    // The leaf has an alternative name, the root has the usage extensions.
    for( size_t place : { 0, 2 } )
    {
        auto cert = std::make_shared<pb::Ref<CRY_X509_CERTIFICATE>>( bench::certificateFromDer( chain[place].der ) );
        bench::pair(
            std::string( place ? "info of a root, " : "info of a leaf, " ) + kind,
            [cert] { cryX509InfoRelease( cryX509CertificateInfo( cert->get() ) ); }, [x509 = plain[place]] { plainInfo( x509 ); } );
    }
    bench::pair(
        "chain of three verified, " + kind, [now, ours] { ours->verify( now->get() ); }, [plain] { plainVerify( plain[0], plain[1], plain[2] ); } );
    auto tuned = std::make_shared<TunedChain>( chain );
    bench::pair(
        "chain of three verified again, kept store, " + kind, [now, ours] { ours->verify( now->get() ); }, [tuned] { tuned->verify(); } );
}

}

void bench::registerX509()
{
    registerKind( "RSA", material().rsa );
    registerKind( "EC", material().ec );
    registerEscapedName( material().ec[0] );
    registerNames();

    const char *bundle = cry___x509SystemPlaces[0];
    if( !std::ifstream( bundle ) )
        return;
    auto plainRoots = [bundle] {
        X509_STORE *store = X509_STORE_new();
        X509_STORE_load_file( store, bundle );
        X509_STORE_free( store );
    };
    pair(
        "platform roots loaded, store included",
        [] {
            pb::Ref<CRY_X509_CERTIFICATES> roots = pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() );
            X509_STORE_free( cry___X509CertificatesCreateOpensslX509Store( roots.get() ) );
        },
        plainRoots );
    pair( "platform roots reloaded, unchanged", cry___X509SystemTrustedCertificatesReload, plainRoots );
}
