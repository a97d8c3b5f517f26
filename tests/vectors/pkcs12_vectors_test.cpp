// PKCS#12 files from public corpora, compared with the results of OpenSSL with its legacy provider.
#include "cry/pkcs12/files.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/key_decoding.hpp"

#include <openssl/x509v3.h>

using namespace support;

namespace
{

using Json = nlohmann::json;

std::string subjectOf( const std::string &der )
{
    Cert        cert = parseDer( der );
    char       *line = X509_NAME_oneline( X509_get_subject_name( cert.get() ), nullptr, 0 );
    std::string out  = line;
    OPENSSL_free( line );
    return out;
}

std::string kindOf( CRY_PKCS12 *pkcs12 )
{
    pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cryPkcs12PrivateKey( pkcs12 ) );
    return EVP_PKEY_get0_type_name( cry___PkeyPrivatePeekOpensslEvpPkey( key.get() ) );
}

// The result that follows from the facts, as one text: the reason why a file is not read, or the
// kind of key, the subject of the certificate and the subjects of the others.
std::string expectedOf( const Json &facts )
{
    if( facts["d2i"] == false )
        return "d2i_PKCS12_bio() failed";
    if( facts["parse"] == false )
        return "PKCS12_parse() failed: " + facts["parse_error"].get<std::string>();
    if( facts["key"].is_null() )
        return "PKCS12_parse() returned no private key!";
    if( facts["cert"].is_null() )
        return "PKCS12_parse() returned no certificate!";
    std::string out = facts["key"].get<std::string>() + ", " + facts["cert"].get<std::string>();
    for( size_t index = facts["ca"].size(); index > 0; index-- )
        out += " + " + facts["ca"][index - 1].get<std::string>();
    return out;
}

std::string actualOf( const std::string &file, const Password &password )
{
    Read read = readByFamily( file, password );
    if( !read.read )
    {
        EXPECT_EQ( read.code != 0, read.said.starts_with( "PKCS12_parse() failed: " ) );
        return read.said;
    }
    EXPECT_EQ( read.said, read.others.empty() ? "(null)" : "sk_X509_pop() failed" );
    EXPECT_EQ( read.code, 0 );
    std::string out = kindOf( pkcs12Of( file, password ).get() ) + ", " + subjectOf( read.certificate );
    for( const std::string &other : read.others )
        out += " + " + subjectOf( other );
    return out;
}

}

TEST( Pkcs12Vectors, FilesAreReadAsOpensslWithItsOldAlgorithmsReadsThem )
{
    NEED_VECTORS( folder );
    NEED_OLD_ALGORITHMS;
    Json     cases = Json::parse( support::read( *folder / "pkcs12" / "cases.json" ) );
    Password wrong = "quite certainly not it";
    int      reads = 0, failures = 0;
    for( const Json &each : cases )
    {
        std::string id   = each["id"];
        std::string file = support::read( *folder / "pkcs12" / id );
        Password    password;
        if( each["password"].is_string() )
            password = each["password"].get<std::string>();
        std::string actual = actualOf( file, password );
        EXPECT_EQ( actual, expectedOf( each["openssl_legacy_provider"] ) ) << id;
        ( actual.find( "()" ) == actual.npos ? reads : failures )++;
        EXPECT_EQ( actualOf( file, wrong ), expectedOf( each["openssl_wrong_password"] ) ) << id;
        for( const Password &tried : { password, wrong, Password() } )
            EXPECT_EQ( readByFamily( file, tried ), readByOpenssl( file, tried ) ) << id << ", password " << tried.value_or( "(none)" );
        KeyDecoding used( false );
        EXPECT_EQ( actualOf( file, password ), actual ) << id << ", without the fast paths";
    }
    EXPECT_EQ( reads + failures, (int)cases.size() );
    EXPECT_GE( reads, 50 );
    EXPECT_GE( failures, 5 );
}

TEST( Pkcs12Vectors, PackagedFilesAreReadAsOpensslReadsThem )
{
    int files = 0, reads = 0;
    for( const std::filesystem::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( path.extension() != ".p12" )
            continue;
        std::string file = support::read( path );
        files++;
        for( const Password &password : { Password( "password" ), Password() } )
        {
            Read read = readByFamily( file, password );
            EXPECT_EQ( read, readByOpenssl( file, password ) ) << path << ", password " << password.value_or( "(none)" );
            EXPECT_FALSE( read.refused() ) << path;
            reads += read.read;
        }
    }
    if( !files )
        GTEST_SKIP() << "python3-cryptography-vectors is not installed";
    EXPECT_GT( files, 200 );
    EXPECT_GT( reads, 200 );
}
