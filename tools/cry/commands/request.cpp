#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/subject.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/extensions.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_generate_csr.h>
#include <cry/internal/cry_x509_csr.h>
#include <openssl/err.h>
#include <openssl/x509.h>
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
    tool::KeyFacts               keyFacts( X509_REQ_get0_pubkey( req ) );
    std::string                  subject    = tool::nameText( X509_REQ_get_subject_name( req ) );
    std::vector<tool::Extension> extensions = tool::requestedExtensions( req, options.file );
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
        json["extensions"] = tool::extensionsJson( extensions );
        tool::printJson( json );
        return signedWell && matches ? tool::exitGood : tool::exitNegative;
    }
    tool::print( "subject    " + tool::nameOrNone( subject ) + "\nkey        " + keyFacts.text() + "\n" );
    for( const tool::Extension &each : extensions )
    {
        for( const std::string &line : each.lines() )
            tool::print( "asks for   " + each.name + ( each.critical ? " (critical): " : ": " ) + line + "\n" );
    }
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
