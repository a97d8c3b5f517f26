#include "commands/commands.hpp"
#include "input/key_file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/curve.hpp"
#include "options/value.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/notices.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "output/progress.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <chrono>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <future>
#include <memory>
#include <openssl/err.h>

namespace
{

struct Options
{
    std::string           kind, size; // generate
    std::string           file;       // public and info
    tool::Output          output;
    tool::PasswordOptions password;
    bool                  json = false;
};

// ---- generate

// Makes a key on another thread, since it takes long, and shows that the work goes on.
pb::Ref<CRY_PKEY_PRIVATE> generateSlowly( PB_INT bits )
{
    auto          made = std::async( std::launch::async, [bits] { return cryTryGenerateRsaKeyPair( bits ); } );
    tool::Waiting waiting( "making an RSA key of " + std::to_string( bits ) + " bits" );
    while( made.wait_for( std::chrono::milliseconds( 200 ) ) != std::future_status::ready )
        waiting.show();
    return pb::adopt( made.get() );
}

pb::Ref<CRY_PKEY_PRIVATE> generateKey( const Options &options )
{
    constexpr PB_INT quick = 4096, weak = 2048;

    std::string kind = tool::lowerCase( options.kind );
    if( kind == "ec" )
        return pb::adopt( cryTryGenerateEcKeyPair( tool::curveOf( options.size, "key generate ec" ) ) );
    if( kind != "rsa" )
        throw tool::InputError( tool::shown( options.kind ) + " is not a kind of key; known are rsa and ec" );
    PB_INT bits = tool::number( options.size, "the bits of an RSA key", 1024, 16384 );
    if( bits < weak )
        tool::warn( { "an RSA key of fewer than 2048 bits is too weak for anything but tests", {}, {} } );
    return bits <= quick ? pb::adopt( cryTryGenerateRsaKeyPair( bits ) ) : generateSlowly( bits );
}

int generate( Options &options )
{
    options.output.check();
    ERR_clear_error();
    pb::Ref<CRY_PKEY_PRIVATE> key = generateKey( options );
    if( !key )
        throw tool::InputError( "OpenSSL cannot make such a key" + tool::opensslReasonInBrackets() );
    pb::Ref<CRY_PEM>   pem  = pb::adopt( cryPkeyPrivatePem( key.get() ) );
    pb::Ref<PB_BUFFER> text = tool::pemText( pem.get() );
    options.output.writeBeside( options.json, text.get(), tool::Secrecy::secret );
    if( options.json )
    {
        pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cryPkeyPrivatePublicKey( key.get() ) );
        nlohmann::ordered_json   json{ { "key", tool::KeyFacts( tool::Key{ key, pub, "", "" }.peek() ).json() } };
        if( pub )
            json["publicKey"] = tool::textOf( tool::pemText( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ).get() );
        if( !options.output.toFile() )
            json["privateKey"] = tool::textOf( text.get() );
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

// ---- public

int publicKey( Options &options )
{
    options.output.check();
    tool::Key          key  = tool::readKey( options.file, options.password );
    pb::Ref<CRY_PEM>   pem  = pb::adopt( cryPkeyPublicPem( key.publicKey.get() ) );
    pb::Ref<PB_BUFFER> text = tool::pemText( pem.get() );
    options.output.writeBeside( options.json, text.get(), tool::Secrecy::open );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "key", tool::KeyFacts( key.peek() ).json() },
            { "publicKey", tool::textOf( text.get() ) } };
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

// ---- info

// The reason why OpenSSL calls the numbers of a key wrong; empty if it does not.
std::string whatIsWrong( const tool::Key &key )
{
    ERR_clear_error();
    std::unique_ptr<EVP_PKEY_CTX, decltype( &EVP_PKEY_CTX_free )> context( EVP_PKEY_CTX_new( key.peek(), nullptr ), EVP_PKEY_CTX_free );
    int result = !context ? 0 : key.privateKey ? EVP_PKEY_check( context.get() ) : EVP_PKEY_public_check( context.get() );
    // OpenSSL does not know how to check keys of some kinds, and says so with -2.
    if( result == 1 || result == -2 )
    {
        ERR_clear_error();
        return "";
    }
    std::string reason = tool::opensslReason();
    return reason.empty() ? "OpenSSL does not say what" : reason;
}

int info( Options &options )
{
    tool::Key      key = tool::readKey( options.file, options.password );
    tool::KeyFacts facts( key.peek() );
    std::string    wrong = whatIsWrong( key ), holds = key.privateKey ? "private key" : "public key";
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "verdict", wrong.empty() ? "good" : "bad" }, { "holds", holds },
            { "form", key.form }, { "key", facts.json() } };
        if( !wrong.empty() )
            json["reason"] = wrong;
        tool::printJson( json );
    }
    else
    {
        tool::print( holds + " (" + key.form + ")\ntype    " + facts.type + "\nbits    " + std::to_string( facts.bits ) + "\n" );
        if( !facts.curve.empty() )
            tool::print( "curve   " + facts.curve + " (" + tool::curveDescription( facts.curve ) + ")\n" );
        tool::print( "check   " + ( wrong.empty() ? tool::green( "good" ) : tool::red( "bad" ) + ": " + tool::printable( wrong ) ) + "\n" );
        tool::print( "sha256  " + facts.fingerprint + " (of the public key)\n" );
    }
    return wrong.empty() ? tool::exitGood : tool::exitNegative;
}

// ---- curves

int curves( Options &options )
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( CRY_PKEY_EC_NAMED_CURVE curve = 0; CRY_PKEY_EC_NAMED_CURVE_OK( curve ); curve++ )
    {
        std::string name = tool::shortNameOf( curve ), nist = tool::nistNameOf( curve ), text = tool::take( cryPkeyEcNamedCurveDisplayName( curve ) );
        if( options.json )
        {
            nlohmann::ordered_json entry{ { "curve", name }, { "number", curve }, { "constant", tool::take( cryPkeyEcNamedCurveToString( curve ) ) },
                { "description", text } };
            if( !nist.empty() )
                entry["nist"] = nist;
            list.push_back( entry );
            continue;
        }
        std::string column = name + ( nist.empty() ? "" : " (" + nist + ")" );
        column.resize( std::max<size_t>( column.size() + 2, 28 ), ' ' );
        tool::print( column + text + "\n" );
    }
    if( options.json )
        tool::printJson( { { "curves", list } } );
    return tool::exitGood;
}

void addKeyFile( CLI::App &command, Options &options )
{
    tool::addArgument( command, "FILE", options.file, "a file with a private key, a public key or a certificate; - is standard input" )->required();
    options.password.addTo( command, "a protected private key" );
}

}

void tool::addKeyGenerate( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, generate,
        "The key is written as PKCS#8 in PEM, without a password; a file is made readable by its owner only.\n"
        "Exit: 0 done; 2 wrong use, or OpenSSL cannot make such a key." );
    addArgument( command, "KIND", options.kind, "rsa or ec" )->required();
    addArgument( command, "SIZE", options.size, "for rsa the bits, 1024 to 16384; for ec the curve (see 'cry key curves')" )->required();
    addKnown( command, "KIND", { "rsa", "ec" } );
    valuesOf( command.get_option( "SIZE" ) ).known = [] {
        std::vector<std::string> sizes = curveNames();
        sizes.insert( sizes.end(), { "2048", "3072", "4096", "8192", "16384" } );
        return sizes;
    };
    options.output.addTo( command, "the key" );
}

void tool::addKeyPublic( CLI::App &command, int &exit )
{
    Options &options = addOptions(
        command, exit, publicKey, "It is written as SubjectPublicKeyInfo in PEM.\nExit: 0 done; 2 wrong use, or a file without a key." );
    addKeyFile( command, options );
    options.output.addTo( command, "the public key" );
}

void tool::addKeyInfo( CLI::App &command, int &exit )
{
    addKeyFile( command,
        addOptions( command, exit, info,
            "Says of what kind it is, its bits and curve, and the SHA-256 fingerprint of its SubjectPublicKeyInfo.\n"
            "Exit: 0 the key is good; 1 its numbers do not fit together; 2 wrong use, or a file without a key." ) );
}

void tool::addKeyCurves( CLI::App &command, int &exit )
{
    addOptions( command, exit, curves,
        "They have OpenSSL's names and those of NIST. Commands take either, in all usual spellings.\nExit: 0 done; 2 wrong use." );
}
