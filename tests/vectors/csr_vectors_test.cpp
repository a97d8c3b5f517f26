// Requests from public corpora, compared with plain OpenSSL and with the facts that the corpora
// record.
#include <cry/internal/cry_pkey_public.h>

#include "cry/x509/requests.hpp"
#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/key_decoding.hpp"
#include "support/signatures.hpp"

#include <map>

using namespace support;
namespace fs = std::filesystem;

namespace
{

nlohmann::json readJson( const fs::path &path ) { return support::parseJson( support::read( path ) ); }

// Whether the request is signed with its own key, as the library returns that key. False if the key
// does not decode.
bool isSigned( const Request &csr )
{
    X509_REQ *req  = cry___X509CsrPeekOpensslX509Req( csr.get() );
    bool      good = false;
    if( X509_REQ_get0_pubkey( req ) )
    {
        PublicKey pub = pb::adopt( cryX509CsrPublicKey( csr.get() ) );
        good          = pub && X509_REQ_verify( req, cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ) == 1;
    }
    ERR_clear_error();
    return good;
}

// Verdict, errors, canonical text and key are those of plain OpenSSL, under both labels and in both
// contexts. Returns the request, or null.
Request expectAsOpenssl( const std::string &body, const std::string &name )
{
    Request taken;
    for( const char *label : { "CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST" } )
    {
        pb::Ref<CRY_PEM>           block = pem( label, body );
        std::vector<unsigned long> errors;
        takeErrors();
        Req wanted = requestByOpenssl( pemText( label, body ), errors );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            taken = requestFromPem( block );
            EXPECT_EQ( takeErrors(), errors ) << name << ", fast " << fast;
            EXPECT_EQ( (bool)taken, (bool)wanted ) << name << ", fast " << fast;
            if( !taken || !wanted )
                continue;
            EXPECT_EQ( canonical( taken ), pemText( wanted.get() ) ) << name << ", fast " << fast;
            Request restored = pb::adopt( cryX509CsrTryRestore( pb::adopt( cryX509CsrStore( taken.get() ) ).get() ) );
            EXPECT_TRUE( cryX509CsrEquals( restored.get(), taken.get() ) ) << name << ", fast " << fast;
            EVP_PKEY *pkey = X509_REQ_get0_pubkey( wanted.get() );
            takeErrors();
            if( !pkey )
                continue;
            std::vector<unsigned long> keyErrors;
            std::string                key = publicByOpenssl( spkiText( pkey ), keyErrors );
            PublicKey                  pub = pb::adopt( cryX509CsrPublicKey( taken.get() ) );
            EXPECT_EQ( takeErrors(), keyErrors ) << name << ", fast " << fast;
            EXPECT_EQ( pub ? textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ) : "", key ) << name << ", fast " << fast;
            EXPECT_EQ( isSigned( taken ), X509_REQ_verify( wanted.get(), pkey ) == 1 ) << name << ", fast " << fast;
            takeErrors();
        }
    }
    return taken;
}

std::string rfc2253( const X509_NAME *name )
{
    return written( [&]( BIO *bio ) { return X509_NAME_print_ex( bio, name, 0, XN_FLAG_RFC2253 ) >= 0; } );
}

std::vector<std::pair<std::string, bool>> extensionsOf( X509_REQ *req )
{
    std::vector<std::pair<std::string, bool>> out;
    STACK_OF( X509_EXTENSION ) *extensions = X509_REQ_get_extensions( req );
    for( int index = 0; index < sk_X509_EXTENSION_num( extensions ); index++ )
    {
        X509_EXTENSION *extension = sk_X509_EXTENSION_value( extensions, index );
        char            oid[100];
        OBJ_obj2txt( oid, sizeof oid, X509_EXTENSION_get_object( extension ), 1 );
        out.emplace_back( oid, X509_EXTENSION_get_critical( extension ) != 0 );
    }
    sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
    return out;
}

// Checks the recorded facts about a request that OpenSSL read.
void expectFacts( const Request &csr, const nlohmann::json &facts, const std::string &name )
{
    X509_REQ *req = cry___X509CsrPeekOpensslX509Req( csr.get() );
    EXPECT_EQ( X509_REQ_get_version( req ) + 1, facts.at( "version" ).get<long>() ) << name;
    EXPECT_EQ( rfc2253( X509_REQ_get_subject_name( req ) ), facts.at( "subject_rfc2253" ).get<std::string>() ) << name;
    EXPECT_EQ( isSigned( csr ), facts.at( "sig_ok" ) == 1 ) << name;
    std::vector<std::pair<std::string, bool>> wanted;
    for( const nlohmann::json &extension : facts.at( "exts" ) )
        wanted.emplace_back( extension.at( 0 ), extension.at( 1 ) == 1 );
    EXPECT_EQ( extensionsOf( req ), wanted ) << name;
    PublicKey pub = pb::adopt( cryX509CsrPublicKey( csr.get() ) );
    ASSERT_TRUE( pub ) << name;
    EVP_PKEY *pkey = cry___PkeyPublicPeekOpensslEvpPkey( pub.get() );
    EXPECT_EQ( cryPkeyInfoBits( pb::adopt( cryPkeyPublicInfo( pub.get() ) ).get() ), facts.at( "key_bits" ).get<PB_INT>() ) << name;
    EXPECT_TRUE( EVP_PKEY_is_a( pkey, facts.at( "key" ).get<std::string>().c_str() ) ) << name;
    char   group[80] = "";
    size_t length    = 0;
    EVP_PKEY_get_group_name( pkey, group, sizeof group, &length );
    EXPECT_EQ( group, facts.at( "group" ).get<std::string>() ) << name;
    ERR_clear_error();
}

const char *verdict( bool taken ) { return taken ? "taken" : "refused"; }
const char *signature( bool good ) { return good ? "good signature" : "no good signature"; }

}

TEST( CsrVectors, RequestsOfManyToolsAreAsOpensslReadsThemAndAsRecorded )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "csr_exceptions.json" );
    int        taken = 0, refused = 0, good = 0;
    for( const fs::path &path : filesBelow( *folder / "x509parse" ) )
    {
        if( path.filename().string().find( "-csr.json" ) == std::string::npos )
            continue;
        for( const nlohmann::json &row : readJson( path ) )
        {
            std::string id = "x509parse/" + row.at( "id" ).get<std::string>(), body = fromBase64( row.at( "der_b64" ) );
            EXPECT_EQ( row.at( "kind" ), "csr" ) << id;
            Request csr = expectAsOpenssl( body, id );
            EXPECT_EQ( (bool)csr, row.at( "openssl" ).at( "parse" ) == true ) << id;
            ( csr ? taken : refused )++;
            // The corpus's own expectation, and another decoder's.
            if( row.contains( "upstream_result" ) )
                exceptions.check( id + "/upstream", verdict( row.at( "upstream_result" ) == "0" ), verdict( (bool)csr ) );
            const nlohmann::json &other = row.at( "pyca" );
            exceptions.check( id + "/parse", verdict( other.at( "parse" ) == true ), verdict( (bool)csr ) );
            if( !csr )
                continue;
            expectFacts( csr, row.at( "openssl" ), id );
            good += isSigned( csr );
            if( other.contains( "sig_ok" ) )
                exceptions.check( id + "/signature", signature( other.at( "sig_ok" ) == true ), signature( isSigned( csr ) ) );
        }
    }
    exceptions.checkMet( "x509parse/" );
    EXPECT_GE( taken, 25 );
    EXPECT_GE( refused, 15 );
    EXPECT_GE( good, 15 );
}

TEST( CsrVectors, ARequestWithATelephoneNumberAuthorizationListIsTaken )
{
    NEED_VECTORS( folder );
    int seen = 0;
    for( const nlohmann::json &row : readJson( *folder / "tnauthlist" / "cases.json.xz" ) )
    {
        if( row.at( "form" ) != "csr" )
            continue;
        std::string id  = row.at( "id" );
        Request     csr = expectAsOpenssl( fromBase64( row.at( "der_b64" ) ), id );
        ASSERT_TRUE( csr ) << id;
        EXPECT_EQ( hex( der( csr ) ), hex( fromBase64( row.at( "der_b64" ) ) ) ) << id;
        EXPECT_TRUE( isSigned( csr ) ) << id;
        EXPECT_EQ( extensionsOf( cry___X509CsrPeekOpensslX509Req( csr.get() ) ),
            ( std::vector<std::pair<std::string, bool>>{ { "1.3.6.1.5.5.7.1.26", false } } ) )
            << id;
        seen++;
    }
    EXPECT_GE( seen, 1 );
}

TEST( CsrVectors, RequestsOfTheInstalledVectorsAreAsOpensslReadsThem )
{
    Exceptions                     exceptions( "csr_exceptions.json" );
    std::map<std::string, Request> requests;
    // The file names show which requests are good. Some of the others were changed after they were
    // signed.
    const std::map<std::string, bool> signatures = { { "invalid_signature", false }, { "rsa_sha1", true }, { "rsa_sha256", true },
        { "san_rsa_sha1", true }, { "dsa_sha1", true }, { "ec_sha256", true }, { "ec_sha256_old_header", true } };
    for( const fs::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        if( path.parent_path().filename() != "requests" )
            continue;
        std::string name = path.filename(), content = support::read( path ), body = content;
        if( path.extension() == ".pem" )
        {
            std::vector<unsigned long> errors;
            Req                        plain = requestByOpenssl( content, errors );
            pb::Ref<CRY_PEM>           block = pb::adopt( cryPemTryDecode( buf( content ).get() ) );
            Request                    csr   = block ? requestFromPem( block ) : Request();
            ERR_clear_error();
            // The whole text, and then the blocks in it.
            exceptions.check( "requests/" + name + "/text", verdict( (bool)plain ), verdict( (bool)csr ) );
            if( csr && plain )
                EXPECT_EQ( canonical( csr ), pemText( plain.get() ) ) << name;
            body = block ? bytes( pb::adopt( cryPemData( block.get() ) ) ) : plain ? der( plain ) : "";
        }
        else
            EXPECT_EQ( path.extension(), ".der" ) << name;
        requests[name] = expectAsOpenssl( body, name );
        // The corpus expects that all of them but one are accepted.
        exceptions.check( "requests/" + name, verdict( name != "bad-version.pem" ), verdict( (bool)requests[name] ) );
        auto known = signatures.find( path.stem() );
        if( known != signatures.end() && requests[name] )
            exceptions.check( "requests/" + name + "/signature", signature( known->second ), signature( isSigned( requests[name] ) ) );
    }
    if( requests.empty() )
        GTEST_SKIP() << "python3-cryptography-vectors is not installed";
    exceptions.checkMet( "requests/" );
    EXPECT_GE( requests.size(), 20u );
    // The same request, read from text and from bytes, is equal, also under the old label.
    int pairs = 0;
    for( const auto &[name, csr] : requests )
    {
        auto pair = requests.find( fs::path( name ).replace_extension( ".pem" ).string() );
        if( !name.ends_with( ".der" ) || pair == requests.end() )
            continue;
        EXPECT_TRUE( cryX509CsrEquals( csr.get(), pair->second.get() ) ) << name;
        pairs++;
    }
    EXPECT_GE( pairs, 5 );
    ASSERT_TRUE( requests["ec_sha256.pem"] && requests["ec_sha256_old_header.pem"] );
    EXPECT_TRUE( cryX509CsrEquals( requests["ec_sha256.pem"].get(), requests["ec_sha256_old_header.pem"].get() ) );
}
