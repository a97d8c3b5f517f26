#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/subject.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_generate_csr.h>
#include <cry/internal/cry_x509_csr.h>
#include <cry/internal/cry_x509_decode.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <optional>

namespace
{

struct GenerateOptions
{
    tool::SubjectOptions subject;
    tool::Output         output;
    bool                 json = false;
};

struct CheckOptions
{
    std::string                file;
    std::optional<std::string> key;
    tool::PasswordOptions      password;
    bool                       json = false;
};

// ---- generate

int generate( GenerateOptions &options )
{
    options.output.check();
    tool::Subject subject( options.subject );
    ERR_clear_error();
    pb::Ref<CRY_X509_CSR> csr = pb::adopt( cryTryGenerateCsr( subject.key.privateKey.get(), subject.domain.get(), subject.commonName.get() ) );
    if( !csr )
        throw tool::InputError( "no request can be made of this" + tool::opensslReasonInBrackets() );
    pb::Ref<PB_BUFFER> text = tool::pemText( pb::adopt( cryX509CsrPem( csr.get() ) ).get() );
    options.output.writeBeside( options.json, text.get(), tool::Secrecy::open );
    if( options.json )
        tool::printJson( { { "format", 1 }, { "request", tool::textOf( text.get() ) } } );
    return tool::exitGood;
}

// ---- check

bool isRequest( const std::string &label ) { return label == "CERTIFICATE REQUEST" || label == "NEW CERTIFICATE REQUEST"; }

pb::Ref<CRY_X509_CSR> readRequest( const std::string &path )
{
    pb::Ref<PB_BUFFER> content = tool::readWhole( path );
    tool::OtherLabels  others;
    tool::Blocks       blocks( content.get() );
    tool::Block        block;
    while( blocks.next( block ) )
    {
        if( !isRequest( block.label ) && ( block.pem || block.headers ) )
        {
            others.add( block.label );
            continue;
        }
        if( !block.pem )
            throw tool::InputError( path, block.problem, block.problemLine );
        ERR_clear_error();
        pb::Ref<CRY_X509_CSR> csr = pb::adopt( cryX509CsrTryCreateFromPem( block.pem.get() ) );
        if( !csr )
            throw tool::InputError( path, "the request does not parse" + tool::opensslReasonInBrackets(), block.line );
        return csr;
    }
    if( !others.empty() )
        throw tool::InputError( path, "holds no CERTIFICATE REQUEST, only " + others.list() );
    const unsigned char *at = pbBufferBytes( content.get() );
    ERR_clear_error();
    X509_REQ             *req = d2i_X509_REQ( nullptr, &at, (long)pbBufferLength( content.get() ) );
    pb::Ref<CRY_X509_CSR> csr = pb::adopt( req ? cry___X509CsrTryCreateFromOpensslX509ReqUse( req ) : nullptr );
    if( !csr )
        throw tool::InputError( path, "is neither PEM text nor a request in DER" + tool::opensslReasonInBrackets() );
    return csr;
}

// The text that `print` writes to a BIO, in one line.
std::string printed( auto print )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    print( bio );
    char       *bytes  = nullptr;
    long        length = BIO_get_mem_data( bio, &bytes );
    std::string text( bytes, (size_t)length ), line;
    BIO_free( bio );
    for( char c : text )
    {
        if( c != '\n' )
            line += c;
        else if( !line.empty() && line.back() != ' ' )
            line += ' ';
    }
    while( line.ends_with( ' ' ) )
        line.pop_back();
    return line;
}

// The alternative names one by one, since a name may look like two. Empty if they cannot be read.
std::vector<std::string> namesOf( X509_EXTENSION *extension )
{
    std::vector<std::string> names;
    GENERAL_NAMES           *list = (GENERAL_NAMES *)X509V3_EXT_d2i( extension );
    for( int index = 0; index < sk_GENERAL_NAME_num( list ); index++ )
        names.push_back( printed( [&]( BIO *bio ) { GENERAL_NAME_print( bio, sk_GENERAL_NAME_value( list, index ) ); } ) );
    GENERAL_NAMES_free( list );
    return names;
}

// The extensions that are asked for, as OpenSSL prints them.
nlohmann::ordered_json extensionsOf( X509_REQ *req )
{
    nlohmann::ordered_json list            = nlohmann::ordered_json::array();
    STACK_OF( X509_EXTENSION ) *extensions = X509_REQ_get_extensions( req );
    for( int index = 0; index < sk_X509_EXTENSION_num( extensions ); index++ )
    {
        X509_EXTENSION *extension = sk_X509_EXTENSION_value( extensions, index );
        char            name[80];
        int             nid = OBJ_obj2nid( X509_EXTENSION_get_object( extension ) );
        if( nid == NID_undef )
            OBJ_obj2txt( name, sizeof name, X509_EXTENSION_get_object( extension ), 1 );
        nlohmann::ordered_json   entry{ { "name", nid == NID_undef ? name : OBJ_nid2ln( nid ) },
              { "critical", X509_EXTENSION_get_critical( extension ) == 1 } };
        std::vector<std::string> names = nid == NID_subject_alt_name ? namesOf( extension ) : std::vector<std::string>();
        std::string              value = printed( [&]( BIO *bio ) { X509V3_EXT_print( bio, extension, X509V3_EXT_DUMP_UNKNOWN, 0 ); } );
        entry["value"]                 = value.empty() ? "(unreadable)" : value;
        if( !names.empty() )
            entry["names"] = names;
        list.push_back( entry );
    }
    sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
    ERR_clear_error();
    return list;
}

void printExtension( const nlohmann::ordered_json &extension )
{
    std::string start = "asks for   " + tool::printable( extension["name"].get<std::string>() ) + ( extension["critical"] ? " (critical): " : ": " );
    if( !extension.contains( "names" ) )
        return tool::print( start + tool::printable( extension["value"].get<std::string>() ) + "\n" );
    for( const auto &each : extension["names"] )
        tool::print( start + tool::printable( each.get<std::string>() ) + "\n" );
}

std::string verdict( bool good, const char *yes, const char *no ) { return good ? tool::green( yes ) : tool::red( no ); }

int check( CheckOptions &options )
{
    tool::checkStandardInput( { options.file, options.key.value_or( "" ) } );
    pb::Ref<CRY_X509_CSR> csr  = readRequest( options.file );
    X509_REQ             *req  = cry___X509CsrPeekOpensslX509Req( csr.get() );
    EVP_PKEY             *pkey = X509_REQ_get0_pubkey( req );
    ERR_clear_error();
    bool        signedWell = pkey && X509_REQ_verify( req, pkey ) == 1, matches = true;
    std::string reason = signedWell ? "" : tool::opensslReasonInBrackets();
    if( options.key )
    {
        tool::Key key = tool::readPrivateKey( *options.key, options.password );
        matches       = pkey && cryX509CsrCheckPrivateKey( csr.get(), key.privateKey.get() );
    }
    PB_STRING             *name       = cry___X509TryDecodeX509Name( X509_REQ_get_subject_name( req ) );
    std::string            subject    = name ? tool::take( name ) : "(unreadable)";
    nlohmann::ordered_json extensions = extensionsOf( req );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "format", 1 }, { "file", options.file }, { "verdict", signedWell && matches ? "good" : "bad" },
            { "signature", signedWell ? "good" : "bad" } };
        if( options.key )
            json["keyMatches"] = matches;
        json["subject"]    = subject;
        json["key"]        = tool::keyText( pkey );
        json["extensions"] = extensions;
        tool::printJson( json );
        return signedWell && matches ? tool::exitGood : tool::exitNegative;
    }
    tool::print( "subject    " + tool::nameOrNone( subject ) + "\nkey        " + tool::printable( tool::keyText( pkey ) ) + "\n" );
    for( const auto &each : extensions )
        printExtension( each );
    tool::print( "signature  " + verdict( signedWell, "good", "bad" ) + tool::printable( reason ) + "\n" );
    if( options.key )
        tool::print( "key match  " + verdict( matches, "yes, the private key is the request's", "no, the private key is another one" ) + "\n" );
    return signedWell && matches ? tool::exitGood : tool::exitNegative;
}

}

void tool::addRequestGenerate( CLI::App &command, int &exit )
{
    GenerateOptions &options = addOptions(
        command, exit, generate, "It is signed with SHA-256.\nExit: 0 done; 2 wrong use, a name that is not valid, or a key that cannot sign." );
    options.subject.addTo( command );
    options.output.addTo( command, "the request" );
}

void tool::addRequestCheck( CLI::App &command, int &exit )
{
    CheckOptions &options = addOptions( command, exit, check,
        "Exit: 0 the signature is good, and the key, if one is given, is the request's; 1 it is not; 2 wrong use, or a file that cannot be read." );
    addArgument( command, "FILE", options.file, "the request, in PEM or DER; - is standard input" )->required();
    addOption( command, "--key", options.key, "FILE", "the private key that it should be for" );
    options.password.addTo( command, "a protected private key" );
}
