#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/key_file.hpp"
#include "input/signing_check.hpp"
#include "options/algorithm.hpp"
#include "options/command.hpp"
#include "options/curve.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_sign.h>
#include <cry/cry_sign_convert.h>
#include <openssl/asn1.h>
#include <rfc/rfc.h>

namespace
{

struct Options
{
    std::string           key, algorithm = "sha256", signature, file = "-", curve, to;
    tool::FormOptions     form;
    tool::Output          output;
    tool::PasswordOptions password;
    bool                  json = false;
};

std::string formName( tool::Form form ) { return form == tool::Form::base64 ? "base64" : "hex"; }

void print( const Options &options, const char *member, PB_BUFFER *bytes, nlohmann::ordered_json json )
{
    tool::Form form = options.form.form();
    if( options.output.toFile() || !options.json )
        tool::writeBytes( options.output, bytes, form, tool::Secrecy::open );
    if( options.json )
    {
        form = form == tool::Form::raw ? tool::Form::hex : form;
        options.output.addTo( json );
        json[member] = { { "length", pbBufferLength( bytes ) }, { formName( form ), tool::textInForm( bytes, form ) } };
        tool::printJson( json );
    }
}

// ---- make

int make( Options &options )
{
    CRY_HASH_ALGORITHM algorithm = tool::algorithmOf( options.algorithm );
    tool::checkStandardInput( { options.key, options.file } );
    options.output.check();
    tool::Key key = tool::readPrivateKey( options.key, options.password );
    tool::checkCanSign( key, algorithm ); // most errors show before the file is read
    tool::SigningCheck       signingCheck( algorithm );
    pb::Ref<CRY_SIGN_SIGNER> signer = pb::adopt( crySignSignerTryCreate( algorithm, key.privateKey.get() ) );
    if( !signer )
        throw tool::algorithmMissing();
    tool::forEachPiece( options.file, [&]( const PB_BYTE *bytes, PB_INT count ) {
        signingCheck.update( bytes, count );
        crySignSignerUpdateBytes( signer.get(), bytes, count );
    } );
    signingCheck.checkCanSign( key );
    pb::Ref<PB_BUFFER> signature = pb::adopt( crySignSignerFinal( signer.get() ) );
    signingCheck.checkSignature( key, signature.get() );
    print( options, "signature", signature.get(),
        { { "file", options.file }, { "algorithm", tool::nameOfAlgorithm( algorithm ) }, { "key", tool::KeyFacts( key.peek() ).json() } } );
    return tool::exitGood;
}

// ---- check

// Bytes as they stand in a file, or in the text form that the options name.
pb::Ref<PB_BUFFER> readBytes( const std::string &path, tool::Form form )
{
    pb::Ref<PB_BUFFER> content = tool::readWhole( path );
    if( form == tool::Form::raw )
        return content;
    pb::Ref<PB_BUFFER> text = pb::adopt( pbBufferCreate() );
    for( PB_INT index = 0; index < pbBufferLength( content.get() ); index++ )
    {
        PB_BYTE c = pbBufferByteAt( content.get(), index );
        if( c == ' ' || c == '\t' || c == '\r' || c == '\n' )
            continue;
        pbBufferAppendByte( text.handle(), form == tool::Form::hex && c >= 'a' && c <= 'f' ? (PB_BYTE)( c - 32 ) : c );
    }
    pb::Ref<PB_BUFFER> bytes = pb::adopt( rfcBaseTryDecode( text.get(), form == tool::Form::hex ? RFC_BASE_16 : RFC_BASE_64 ) );
    if( !bytes )
        throw tool::InputError( path, form == tool::Form::hex ? "is not hexadecimal text" : "is not base 64" );
    return bytes;
}

// A hint why a signature may not be good; empty if there is none.
std::string hint( const tool::Key &key, PB_BUFFER *signature )
{
    pb::Ref<CRY_PKEY_INFO> info   = pb::adopt( cryPkeyPublicInfo( key.publicKey.get() ) );
    PB_INT                 length = pbBufferLength( signature );
    if( cryPkeyInfoType( info.get() ) == CRY_PKEY_TYPE_EC && length == ( cryPkeyInfoBits( info.get() ) + 7 ) / 8 * 2 )
        return "it has the length of a raw signature on the key's curve; 'cry signature convert --to der' makes DER of one, which is checked here";
    if( cryPkeyInfoType( info.get() ) == CRY_PKEY_TYPE_RSA && length != ( cryPkeyInfoBits( info.get() ) + 7 ) / 8 )
        return "it has " + tool::counted( (size_t)length, "byte" ) + ", the key's signatures have " +
            std::to_string( ( cryPkeyInfoBits( info.get() ) + 7 ) / 8 );
    return "";
}

int check( Options &options )
{
    CRY_HASH_ALGORITHM algorithm = tool::algorithmOf( options.algorithm );
    tool::checkStandardInput( { options.key, options.signature, options.file } );
    tool::Key key = tool::readKey( options.key, options.password );
    tool::checkCanVerify( key, algorithm );
    pb::Ref<PB_BUFFER>         signature = readBytes( options.signature, options.form.form() );
    pb::Ref<CRY_SIGN_VERIFIER> verifier  = pb::adopt( crySignVerifierTryCreate( algorithm, key.publicKey.get(), signature.get() ) );
    if( !verifier )
        throw tool::algorithmMissing();
    tool::forEachPiece(
        options.file, [&verifier]( const PB_BYTE *bytes, PB_INT count ) { crySignVerifierUpdateBytes( verifier.get(), bytes, count ); } );
    bool        good = crySignVerifierFinal( verifier.get() );
    std::string note = good ? "" : hint( key, signature.get() );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "algorithm", tool::nameOfAlgorithm( algorithm ) },
            { "key", tool::KeyFacts( key.peek() ).json() }, { "verdict", good ? "good" : "bad" } };
        if( !note.empty() )
            json["hint"] = note;
        tool::printJson( json );
    }
    else
        tool::print( good ? tool::green( "good" ) + ": the signature is the key's for " + tool::nameOf( options.file ) + "\n"
                          : tool::red( "bad" ) + ": the signature is not the key's for " + tool::nameOf( options.file ) + " with this algorithm\n" +
                    ( note.empty() ? "" : note + "\n" ) );
    return good ? tool::exitGood : tool::exitNegative;
}

// ---- convert

// How many bytes each of the two numbers has.
PB_INT widthOf( CRY_PKEY_EC_NAMED_CURVE curve, const std::string &name )
{
    switch( curve )
    {
    case CRY_PKEY_EC_NAMED_CURVE_PRIME256V1:
        return 32;
    case CRY_PKEY_EC_NAMED_CURVE_SECP384R1:
        return 48;
    case CRY_PKEY_EC_NAMED_CURVE_SECP521R1:
        return 66;
    default:
        throw tool::InputError( "--curve: signatures on " + tool::printable( name ) + " are not converted; those on P-256, P-384 and P-521 are" );
    }
}

// The module drops the bytes behind a signature; a person wants to know of them.
void checkDerLength( const Options &options, PB_BUFFER *der )
{
    const unsigned char *at = pbBufferBytes( der );
    long                 length;
    int                  tag, kind;
    PB_INT               whole = pbBufferLength( der );
    int                  form  = whole ? ASN1_get_object( &at, &length, &tag, &kind, (long)whole ) : 0x80;
    if( form & 0x80 || tag != V_ASN1_SEQUENCE )
        throw tool::InputError( options.file, "is not a signature in DER" );
    PB_INT used = ( at - pbBufferBytes( der ) ) + length;
    if( used != whole )
        throw tool::InputError( options.file, tool::counted( (size_t)( whole - used ), "byte" ) + " too many behind the signature" );
}

int convert( Options &options )
{
    if( options.to != "raw" && options.to != "der" )
        throw tool::InputError( "--to: " + tool::shown( options.to ) + " is unknown; known are raw and der" );
    CRY_PKEY_EC_NAMED_CURVE curve = tool::curveOf( options.curve, "--curve" );
    PB_INT                  width = widthOf( curve, options.curve );
    options.output.check();
    // --hex and --base64 are for the result; the input is bytes.
    pb::Ref<PB_BUFFER> input = tool::readWhole( options.file ), result;
    if( options.to == "der" )
    {
        if( pbBufferLength( input.get() ) != 2 * width )
            throw tool::InputError( options.file,
                "has " + tool::counted( (size_t)pbBufferLength( input.get() ), "byte" ) + "; a raw signature on this curve has " +
                    std::to_string( 2 * width ) );
        result = pb::adopt( crySignConvertRawToDer( input.get(), curve ) );
    }
    else
    {
        checkDerLength( options, input.get() );
        result = pb::adopt( crySignConvertDerToRaw( input.get(), curve ) );
    }
    if( result && options.to == "raw" )
    {
        pb::Ref<PB_BUFFER> back = pb::adopt( crySignConvertRawToDer( result.get(), curve ) );
        if( !pbBufferEquals( back.get(), input.get() ) )
            throw tool::InputError( options.file, "is BER, not DER: something in it is not in its shortest form" );
    }
    if( !result )
        throw tool::InputError( options.file, "is not a signature in DER with numbers of at most " + std::to_string( width ) + " bytes" );
    print( options, "signature", result.get(), { { "file", options.file }, { "curve", tool::shortNameOf( curve ) }, { "to", options.to } } );
    return tool::exitGood;
}

void addFile( CLI::App &command, Options &options, const std::string &what )
{
    tool::addArgument( command, "FILE", options.file, what + "; - and none at all are standard input" );
}

void addKey( CLI::App &command, Options &options, const char *what )
{
    tool::addOption( command, "--key", options.key, "FILE", what )->required();
    tool::addAlgorithm( command, options.algorithm, "the digest: " );
    options.password.addTo( command, "a protected private key" );
}

}

void tool::addSignatureMake( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, make,
        "RSA keys sign with PKCS#1 v1.5 (RFC 8017), EC keys with ECDSA in DER (RFC 3279). Raw bytes never go to a terminal.\n"
        "Exit: 0 done; 2 wrong use, or a key that cannot be read or cannot sign." );
    addKey( command, options, "the private key" );
    addFile( command, options, "the file to sign" );
    options.form.addTo( command, "write the signature in" );
    options.output.addTo( command, "the signature" );
}

void tool::addSignatureCheck( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, check,
        "The signature may have blanks and line ends in it if it is text.\n"
        "Exit: 0 the signature is good; 1 it is not; 2 wrong use, or a file that cannot be read." );
    addKey( command, options, "a public key, a private key or a certificate" );
    addOption( command, "--signature", options.signature, "FILE", "the signature" )->required();
    addFile( command, options, "the file that was signed" );
    options.form.addTo( command, "the signature is written in" );
}

void tool::addSignatureConvert( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, convert,
        "The raw form is the two numbers one after the other, each as wide as the curve. Nothing is guessed:\n"
        "a length that does not fit is an error.\n"
        "Exit: 0 done; 2 wrong use, or a file that is not a signature in the other form." );
    addOption( command, "--curve", options.curve, "NAME", "the curve of the key: P-256, P-384 or P-521" )->required();
    addKnown( command, "--curve", { "P-256", "P-384", "P-521" } );
    addOption( command, "--to", options.to, "FORM", "the form that is wanted: raw or der" )->required();
    addKnown( command, "--to", { "raw", "der" } );
    addFile( command, options, "the signature" );
    options.form.addTo( command, "write the result in" );
    options.output.addTo( command, "the result" );
}
