#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>

#include "support/certificates.hpp"
#include "support/files.hpp"
#include "support/text.hpp"
#include "x509/cry_x509_system_linux.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <random>
#include <rfc/rfc_encapsulation.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// Each root is made once, since ECDSA signatures differ each time.
Cert root( int number )
{
    static std::map<int, Cert> roots;
    Cert                      &known = roots[number];
    if( !known )
        known = makeCertificate(
            { .subject = "CN=Root " + std::to_string( number ), .subjectKey = key( KeyKind::p256 ), .serial = std::to_string( number ) } );
    return known;
}

// The DER of every root in the first place that exists.
std::vector<std::string> load( const std::vector<fs::path> &places )
{
    std::vector<const char *> names;
    for( const fs::path &place : places )
        names.push_back( place.c_str() );
    pb::Ref<CRY_X509_CERTIFICATES> certs = pb::adopt( cry::x509::loadFirstPlace( names ) );
    EXPECT_TRUE( certs );
    return ders( certs.get() );
}

std::vector<std::string> loadText( std::string_view content )
{
    TemporaryFolder folder;
    write( folder.path / "roots.pem", content );
    return load( { folder.path / "roots.pem" } );
}

using Ders = std::vector<std::string>;

}

TEST( CryX509SystemLinux, NoPlaceGivesNoRoots )
{
    TemporaryFolder folder;
    EXPECT_EQ( load( {} ), Ders{} );
    EXPECT_EQ( load( { folder.path / "missing" } ), Ders{} );
    EXPECT_EQ( load( { folder.path / "missing", folder.path / "also" / "missing" } ), Ders{} );
}

TEST( CryX509SystemLinux, EmptyFileAndEmptyDirectoryGiveNoRoots )
{
    TemporaryFolder folder;
    EXPECT_EQ( loadText( "" ), Ders{} );
    EXPECT_EQ( load( { folder.path } ), Ders{} );
}

TEST( CryX509SystemLinux, TheFirstPlaceThatExistsIsTheOne )
{
    TemporaryFolder folder;
    write( folder.path / "a.pem", pemText( root( 1 ) ) );
    write( folder.path / "b.pem", pemText( root( 2 ) ) );
    write( folder.path / "empty.pem", "" );
    fs::create_symlink( folder.path / "nowhere", folder.path / "dangling.pem" );
    fs::create_symlink( folder.path / "b.pem", folder.path / "link.pem" );
    EXPECT_EQ( load( { folder.path / "missing", folder.path / "b.pem", folder.path / "a.pem" } ), Ders{ der( root( 2 ) ) } );
    EXPECT_EQ( load( { folder.path / "dangling.pem", folder.path / "a.pem" } ), Ders{ der( root( 1 ) ) } );
    EXPECT_EQ( load( { folder.path / "link.pem", folder.path / "a.pem" } ), Ders{ der( root( 2 ) ) } );
    EXPECT_EQ( load( { folder.path / "empty.pem", folder.path / "a.pem" } ), Ders{} ) << "it exists, so it is the one";
}

TEST( CryX509SystemLinux, OrderIsThatOfTheFile )
{
    EXPECT_EQ( loadText( pemText( root( 3 ) ) + pemText( root( 1 ) ) + pemText( root( 2 ) ) ),
        ( Ders{ der( root( 3 ) ), der( root( 1 ) ), der( root( 2 ) ) } ) );
}

TEST( CryX509SystemLinux, TextBetweenBlocksIsPassedOver )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    ASSERT_EQ( X509_print( bio, root( 1 ).get() ), 1 );
    char       *printed;
    long        length = BIO_get_mem_data( bio, &printed );
    std::string about( printed, (size_t)length );
    BIO_free( bio );
    EXPECT_EQ( loadText( "# Roots\n\n" + about + pemText( root( 1 ) ) + "\xEF\xBB\xBFGröße -----BEGIN nothing\n----- BEGIN CERTIFICATE-----\n" +
                   pemText( root( 2 ) ) + "the end, without a line end" ),
        ( Ders{ der( root( 1 ) ), der( root( 2 ) ) } ) );
}

TEST( CryX509SystemLinux, EveryKindOfLineEndIsTaken )
{
    for( const char *end : { "\n", "\r\n", "\r" } )
    {
        std::string content;
        for( char c : pemText( root( 1 ) ) + "text\n" + pemText( root( 2 ) ) )
            content += c == '\n' ? std::string( end ) : std::string( 1, c );
        EXPECT_EQ( loadText( content ), ( Ders{ der( root( 1 ) ), der( root( 2 ) ) } ) ) << hex( end );
        content.resize( content.find_last_not_of( "\r\n" ) + 1 );
        EXPECT_EQ( loadText( content ), ( Ders{ der( root( 1 ) ), der( root( 2 ) ) } ) ) << "no line end after the last line";
    }
}

TEST( CryX509SystemLinux, UsualAndOtherBlocksMayStandInAnyOrder )
{
    auto withEnds = []( std::string text, const std::string &end ) {
        for( size_t at = 0; ( at = text.find( '\n', at ) ) != text.npos; at += end.size() )
            text.replace( at, 1, end );
        return text;
    };
    std::vector<std::string> pieces = { "\n", "\r", "\r\n", "\x85", " ", "text\n", "# text\n", "-----BEGIN A-----\n",
        "-----BEGIN CERTIFICATE-----\nAAAA\n", "-----END CERTIFICATE-----\n", "-----END ", "-----BEGIN A-----\nAAAA\n-----END A-----\n" };
    for( int number = 1; number <= 3; number++ )
    {
        std::string text = pemText( root( number ) ), spaced = text;
        spaced.insert( text.find( '\n' ) + 5, " \n" );
        for( const std::string &piece : { text, withEnds( text, "\r\n" ), withEnds( text, "\r" ), withEnds( text, "\x85" ),
                 text.substr( 0, text.size() - 1 ), spaced, " " + text } )
            pieces.push_back( piece );
    }
    std::mt19937 random{ 20260611 };
    size_t       found = 0;
    for( int round = 0; round < 400; round++ )
    {
        std::string content;
        for( size_t count = 1 + random() % 8; count; count-- )
            content += pieces[random() % pieces.size()];
        // One block after the other, each found and read for itself.
        Ders              wanted;
        RFC_ENCAPSULATION block{};
        while( rfcEncapsulationFindNext( (const PB_BYTE *)content.data(), (PB_INT)content.size(), block.offset + block.length, 1, &block ) )
        {
            pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( content.substr( (size_t)block.offset, (size_t)block.length ) ).get() ) );
            pb::Ref<CRY_X509_CERTIFICATE> cert = pem ? pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) ) : pb::Ref<CRY_X509_CERTIFICATE>();
            std::string one = cert ? bytes( pb::adopt( cryPemData( pb::adopt( cryX509CertificatePem( cert.get() ) ).get() ) ) ) : "";
            if( cert && std::find( wanted.begin(), wanted.end(), one ) == wanted.end() )
                wanted.push_back( one );
        }
        ASSERT_EQ( loadText( content ), wanted ) << content;
        found += wanted.size();
    }
    ERR_clear_error();
    EXPECT_GT( found, 300u );
}

TEST( CryX509SystemLinux, BlocksThatDoNotParseAreLeftOut )
{
    std::string cut    = pemText( root( 9 ) );
    std::string noBody = "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n";
    std::string good1  = pemText( root( 1 ) );
    std::string good2  = pemText( root( 2 ) );
    Ders        wanted = { der( root( 1 ) ), der( root( 2 ) ) };
    for( const std::string &bad : { pemText( "CERTIFICATE", "nonsense" ), pemText( "CERTIFICATE", der( root( 9 ) ).substr( 0, 100 ) ), noBody,
             std::string( "-----BEGIN CERTIFICATE-----\nnot base 64!\n-----END CERTIFICATE-----\n" ),
             std::string( "-----BEGIN CERTIFICATE-----\nAAAA\n-----END X509 CRL-----\n" ), cut.substr( 0, 200 ) + "\n",
             std::string( "-----BEGIN CERTIFICATE-----\n" ), std::string( "-----END CERTIFICATE-----\n" ), std::string( "-----BEGIN \n" ),
             std::string( "-----BEGIN CERTIFICATE-----\nProc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,00\n\nAAAA\n-----END CERTIFICATE-----\n" ) } )
    {
        EXPECT_EQ( loadText( good1 + bad + good2 ), wanted ) << bad;
        EXPECT_EQ( loadText( bad + good1 + bad + good2 + bad ), wanted ) << bad;
    }
}

TEST( CryX509SystemLinux, HalfOfABundleMayBeUnreadable )
{
    std::string content;
    Ders        wanted;
    for( int number = 1; number <= 40; number++ )
    {
        if( number % 2 )
        {
            content += pemText( root( number ) );
            wanted.push_back( der( root( number ) ) );
        }
        else
            content += pemText( "CERTIFICATE", der( root( number ) ).substr( 0, (size_t)( 5 * number ) ) );
    }
    EXPECT_EQ( loadText( content ), wanted );
}

TEST( CryX509SystemLinux, ACertificateThatComesTwiceIsKeptOnce )
{
    Cert one = root( 1 );
    Cert two = root( 2 );
    EXPECT_EQ( loadText( pemText( one ) + pemText( two ) + pemText( one ) + pemText( "X509 CERTIFICATE", der( two ) ) +
                   pemText( "CERTIFICATE", der( one ) + "tail" ) ),
        ( Ders{ der( one ), der( two ) } ) );
}

TEST( CryX509SystemLinux, OtherLabelsAreSkipped )
{
    Cert           one     = root( 1 );
    unsigned char *trusted = nullptr;
    int            length  = i2d_X509_AUX( one.get(), &trusted );
    std::string    aux( (const char *)trusted, (size_t)length );
    OPENSSL_free( trusted );
    std::string content;
    for( const char *label : { "TRUSTED CERTIFICATE", "CERTIFICATE REQUEST", "X509 CRL", "PKCS7", "PUBLIC KEY" } )
        content += pemText( label, aux );
    EXPECT_EQ( loadText( content ), Ders{} );
    Cert two = root( 2 );
    EXPECT_EQ( loadText( content + pemText( two ) + content ), Ders{ der( two ) } );
    EXPECT_EQ( loadText( content + pemText( "X509 CERTIFICATE", der( two ) ) ), Ders{ der( two ) } );
}

TEST( CryX509SystemLinux, BinaryNoiseIsPassedOver )
{
    std::string noise( 200000, 0 );
    uint32_t    state = 4711;
    for( char &byte : noise )
        byte = (char)( ( state = state * 1664525u + 1013904223u ) >> 24 );
    EXPECT_EQ( loadText( noise ), Ders{} );
    EXPECT_EQ( loadText( std::string( 1000, '\0' ) ), Ders{} );
    Cert one = root( 1 );
    Cert two = root( 2 );
    EXPECT_EQ( loadText( noise + "\n" + pemText( one ) + noise + "\n" + pemText( two ) + noise ), ( Ders{ der( one ), der( two ) } ) );
    EXPECT_EQ( loadText( "-----BEGIN CERTIFICATE-----\n" + noise + "\n-----END CERTIFICATE-----\n" + pemText( two ) ), Ders{ der( two ) } );
    EXPECT_EQ( loadText( der( one ) ), Ders{} ) << "DER is no bundle";
}

TEST( CryX509SystemLinux, TakesTheHashedFilesOfADirectoryInTheOrderOfTheirNames )
{
    TemporaryFolder   folder;
    std::vector<Cert> roots;
    for( int number = 0; number < 10; number++ )
        roots.push_back( root( number ) );
    fs::path shelf = folder.path / "shelf";
    fs::path certs = folder.path / "certs";
    fs::create_directory( shelf );
    fs::create_directory( certs );
    auto put  = [&]( const char *name, int number ) { write( certs / name, pemText( roots[(size_t)number] ) ); };
    auto link = [&]( const char *name, int number ) {
        fs::path file = shelf / ( "root" + std::to_string( number ) + ".pem" );
        write( file, pemText( roots[(size_t)number] ) );
        fs::create_symlink( file, certs / name );
    };
    link( "ffffffff.0", 0 );
    put( "00000000.0", 1 );
    link( "1a2b3c4d.1", 2 );
    link( "1a2b3c4d.0", 3 );
    put( "1a2b3c4d.10", 4 );
    // The names of these files are not hashes.
    for( const char *name : { "root.pem", "ca-certificates.crt", "README", "1A2B3C4D.0", "1a2b3c4d", "1a2b3c4d.", "1a2b3c4d.r0", "1a2b3c4d.0.bak",
             "1a2b3c4.0", "1a2b3c4d5.0", "g0000000.0", ".0", "1a2b3c4d.a" } )
        put( name, 5 );
    // Entries that are named by a hash but cannot be read as a file are skipped.
    fs::create_symlink( shelf / "missing", certs / "aaaaaaaa.0" );
    fs::create_symlink( certs / "aaaaaaaa.2", certs / "aaaaaaaa.2" );
    fs::create_directory( certs / "bbbbbbbb.0" );
    ASSERT_EQ( mkfifo( ( certs / "cccccccc.0" ).c_str(), 0600 ), 0 );
    write( certs / "dddddddd.0", "no certificate" );
    // Several blocks in one file, of which one is known already.
    write( certs / "eeeeeeee.0", pemText( roots[6] ) + pemText( roots[3] ) + pemText( roots[7] ) );

    Ders wanted;
    for( int number : { 1, 3, 2, 4, 6, 7, 0 } )
        wanted.push_back( der( roots[(size_t)number] ) );
    EXPECT_EQ( load( { certs } ), wanted );
    fs::create_directory_symlink( certs, folder.path / "link" );
    EXPECT_EQ( load( { folder.path / "link" } ), wanted );
    EXPECT_EQ( load( { folder.path / "certs" / "" } ), wanted );
}

TEST( CryX509SystemLinux, APlaceThatIsNoFileDoesNotBlock )
{
    TemporaryFolder folder;
    ASSERT_EQ( mkfifo( ( folder.path / "pipe" ).c_str(), 0600 ), 0 );
    EXPECT_EQ( load( { folder.path / "pipe" } ), Ders{} );
    EXPECT_EQ( load( { "/dev/zero" } ), Ders{} );
}

TEST( CryX509SystemLinux, AnUnreadableFileGivesNoRoots )
{
    if( geteuid() == 0 )
        GTEST_SKIP() << "root reads every file";
    TemporaryFolder folder;
    write( folder.path / "roots.pem", pemText( root( 1 ) ) );
    fs::permissions( folder.path / "roots.pem", fs::perms::none );
    EXPECT_EQ( load( { folder.path / "roots.pem" } ), Ders{} );
}

TEST( CryX509SystemLinux, AFileBeyondTheLargestBundleIsNotRead )
{
    TemporaryFolder folder;
    Cert            one = root( 1 );
    write( folder.path / "roots.pem", pemText( one ) );
    EXPECT_EQ( load( { folder.path / "roots.pem" } ), Ders{ der( one ) } );
    fs::resize_file( folder.path / "roots.pem", (uintmax_t)CRY___X509_SYSTEM_PLACE_MAX_LENGTH + 1 );
    EXPECT_EQ( load( { folder.path / "roots.pem" } ), Ders{} );
}

TEST( CryX509SystemLinux, ABundleOfTenThousandBlocksIsReadWhole )
{
    // One certificate with other serial numbers. The signature is not checked.
    Cert        one   = makeCertificate( { .subject = "CN=Root", .subjectKey = key( KeyKind::p256 ), .serial = "65537" } );
    std::string plain = der( one );
    size_t      at    = plain.find( std::string_view( "\x02\x03\x01\x00\x01", 5 ) );
    ASSERT_NE( at, plain.npos );
    std::string content;
    Ders        wanted;
    for( int number = 0; number < 5000; number++ )
    {
        plain[at + 3] = (char)( number >> 8 );
        plain[at + 4] = (char)number;
        content += pemText( "CERTIFICATE", plain );
        wanted.push_back( plain );
    }
    // The file has all of them twice.
    EXPECT_EQ( loadText( content + content ), wanted );
}

TEST( CryX509SystemLinux, LeavesTheErrorQueueAsItWas )
{
    std::string content = pemText( "CERTIFICATE", "nonsense" ) + pemText( root( 1 ) ) + pemText( "X509 CRL", "nonsense" );
    takeErrors();
    raiseError();
    EXPECT_EQ( loadText( content ).size(), 1u );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    EXPECT_EQ( loadText( content ).size(), 1u );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
}

TEST( CryX509SystemLinux, ReadsFromThePlatformsBundleWhatOpensslReads )
{
    const char *place = nullptr;
    for( const char *each : cry___x509SystemPlaces )
    {
        if( !place && fs::exists( each ) )
            place = each;
    }
    if( !place || !fs::is_regular_file( place ) )
        GTEST_SKIP() << "this machine has no bundle of roots";

    Ders                  wanted;
    std::set<std::string> known;
    BIO                  *bio    = BIO_new_file( place, "r" );
    char                 *name   = nullptr;
    char                 *header = nullptr;
    unsigned char        *data   = nullptr;
    long                  length = 0;
    for( ; PEM_read_bio( bio, &name, &header, &data, &length ) == 1; )
    {
        Cert cert = std::string_view( name ) == "CERTIFICATE" ? parseDer( { (const char *)data, (size_t)length } ) : Cert();
        if( cert && known.insert( der( cert ) ).second )
            wanted.push_back( der( cert ) );
        OPENSSL_free( name );
        OPENSSL_free( header );
        OPENSSL_free( data );
    }
    BIO_free( bio );
    ERR_clear_error();

    pb::Ref<CRY_X509_CERTIFICATES> certs = pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() );
    EXPECT_EQ( ders( certs.get() ), wanted );
    EXPECT_FALSE( wanted.empty() );

    X509_STORE *store = X509_STORE_new();
    ASSERT_EQ( X509_STORE_load_file( store, place ), 1 );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( certs.get() ), sk_X509_OBJECT_num( X509_STORE_get0_objects( store ) ) );
    X509_STORE_free( store );
}
