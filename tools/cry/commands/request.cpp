#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/subject.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/general_names.hpp"
#include "output/key_facts.hpp"
#include "output/notices.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_generate_csr.h>
#include <cry/internal/cry_x509_csr.h>
#include <memory>
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
    {
        nlohmann::ordered_json json{ { "pem", tool::textOf( text.get() ) }, { "key", tool::KeyFacts( subject.key.peek() ).json() } };
        options.output.addTo( json );
        tool::printJson( json );
    }
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

// The value of an extension as OpenSSL prints it, in one line; empty if it cannot.
std::string textOf( X509_EXTENSION *extension )
{
    std::unique_ptr<BIO, decltype( &BIO_free )> bio( BIO_new( BIO_s_mem() ), BIO_free );
    X509V3_EXT_print( bio.get(), extension, X509V3_EXT_DUMP_UNKNOWN, 0 );
    ERR_clear_error();
    char       *bytes  = nullptr;
    long        length = BIO_get_mem_data( bio.get(), &bytes );
    std::string line;
    for( char c : std::string_view( bytes, (size_t)length ) )
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

// One extension that is asked for.
struct Extension
{
    std::string                            oid, name, hex, text; // text is empty if OpenSSL cannot print it, and for names
    bool                                   critical = false;
    std::optional<std::vector<tool::Name>> names;

    explicit Extension( X509_EXTENSION *extension ) :
        oid( tool::oidText( X509_EXTENSION_get_object( extension ) ) ), hex( tool::hexText( X509_EXTENSION_get_data( extension ) ) ),
        critical( X509_EXTENSION_get_critical( extension ) == 1 )
    {
        int nid = OBJ_obj2nid( X509_EXTENSION_get_object( extension ) );
        name    = nid == NID_undef ? oid : OBJ_nid2ln( nid );
        if( nid == NID_subject_alt_name || nid == NID_issuer_alt_name )
            names = tool::namesIn( X509_EXTENSION_get_data( extension ) );
        else
            text = tool::printable( textOf( extension ) );
    }

    nlohmann::ordered_json json() const
    {
        nlohmann::ordered_json json{ { "oid", oid }, { "name", name }, { "critical", critical }, { "hex", hex } };
        if( names )
            json["names"] = tool::namesJson( *names );
        else if( !text.empty() )
            json["text"] = text;
        else
            json["problem"] = "OpenSSL cannot read it";
        return json;
    }

    // A line; for names one line each, since a name may look like two.
    void print() const
    {
        std::string start = "asks for   " + name + ( critical ? " (critical): " : ": " );
        if( !names || names->empty() )
            return tool::print( start + ( names ? "(no names)" : text.empty() ? "(unreadable) " + hex : text ) + "\n" );
        for( const tool::Name &each : *names )
            tool::print( start + each.type + " " + each.value + "\n" );
    }
};

bool asksForExtensions( X509_ATTRIBUTE *attribute )
{
    int nid = OBJ_obj2nid( X509_ATTRIBUTE_get0_object( attribute ) );
    return nid == NID_ext_req || nid == NID_ms_ext_req;
}

// The extensions that are asked for, in all the places for them. What cannot be read is reported.
std::vector<Extension> extensionsOf( X509_REQ *req, const std::string &path )
{
    std::vector<Extension> all;
    for( int index = 0; index < X509_REQ_get_attr_count( req ); index++ )
    {
        X509_ATTRIBUTE *attribute = X509_REQ_get_attr( req, index );
        for( int part = 0; asksForExtensions( attribute ) && part < X509_ATTRIBUTE_count( attribute ); part++ )
        {
            ASN1_TYPE *value                 = X509_ATTRIBUTE_get0_type( attribute, part );
            STACK_OF( X509_EXTENSION ) *list = nullptr;
            if( ASN1_TYPE_get( value ) == V_ASN1_SEQUENCE )
            {
                const unsigned char *at = ASN1_STRING_get0_data( value->value.sequence );
                list                    = d2i_X509_EXTENSIONS( nullptr, &at, ASN1_STRING_length( value->value.sequence ) );
            }
            if( !list )
                tool::report( { path, "extensions that it asks for cannot be read" + tool::opensslReasonInBrackets() } );
            for( int each = 0; each < sk_X509_EXTENSION_num( list ); each++ )
                all.emplace_back( sk_X509_EXTENSION_value( list, each ) );
            sk_X509_EXTENSION_pop_free( list, X509_EXTENSION_free );
        }
    }
    ERR_clear_error();
    return all;
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
    std::string reason = signedWell ? "" : tool::opensslReason();
    if( options.key )
    {
        tool::Key key = tool::readPrivateKey( *options.key, options.password );
        matches       = pkey && cryX509CsrCheckPrivateKey( csr.get(), key.privateKey.get() );
    }
    ERR_clear_error();
    tool::KeyFacts         keyFacts( X509_REQ_get0_pubkey( req ) );
    std::string            subject    = tool::nameText( X509_REQ_get_subject_name( req ) );
    std::vector<Extension> extensions = extensionsOf( req, options.file );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "verdict", signedWell && matches ? "good" : "bad" },
            { "signatureVerdict", signedWell ? "good" : "bad" } };
        if( !reason.empty() )
            json["reason"] = reason;
        if( options.key )
            json["keyVerdict"] = matches ? "good" : "bad";
        json["subject"]    = subject;
        json["key"]        = keyFacts.json();
        json["extensions"] = nlohmann::ordered_json::array();
        for( const Extension &each : extensions )
            json["extensions"].push_back( each.json() );
        tool::printJson( json );
        return signedWell && matches ? tool::exitGood : tool::exitNegative;
    }
    tool::print( "subject    " + tool::nameOrNone( subject ) + "\nkey        " + keyFacts.text() + "\n" );
    for( const Extension &each : extensions )
        each.print();
    tool::print( "signature  " + verdict( signedWell, "good", "bad" ) + ( reason.empty() ? "" : " (" + tool::printable( reason ) + ")" ) + "\n" );
    if( options.key )
        tool::print( "key match  " + verdict( matches, "yes, the private key is the request's", "no, the private key is another one" ) + "\n" );
    return signedWell && matches ? tool::exitGood : tool::exitNegative;
}

}

void tool::addRequestGenerate( CLI::App &command, int &exit )
{
    GenerateOptions &options = addOptions( command, exit, generate,
        "It is signed with SHA-256. Its names are those of 'cry certificate generate'.\n"
        "Exit: 0 done; 2 wrong use, a name that is not valid, or a key that cannot sign." );
    options.subject.addTo( command );
    options.output.addTo( command, "the request" );
}

void tool::addRequestCheck( CLI::App &command, int &exit )
{
    CheckOptions &options = addOptions( command, exit, check,
        "Each alternative name has its own line: its type (dns, email, uri, ip, dirname, rid, other, x400 or ediparty) and its\n"
        "value. In a value, \\\\ is a backslash, \\u{2C} the character with this hexadecimal number, and \\x{FF} a byte that is not\n"
        "part of UTF-8. In dns, email and uri everything but visible ASCII characters is written so, and also commas.\n"
        "Exit: 0 the signature is good, and the key, if one is given, is the request's; 1 it is not; 2 wrong use, or a file that cannot be read." );
    addArgument( command, "FILE", options.file, "the request, in PEM or DER; - is standard input" )->required();
    addOption( command, "--key", options.key, "FILE", "the private key that it should be for" );
    options.password.addTo( command, "a protected private key" );
}
