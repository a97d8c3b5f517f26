#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/password.hpp"
#include "input/pem.hpp"
#include "input/pkcs12_file.hpp"
#include "options/command.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/out_files.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <array>
#include <cry/internal/cry_pkey_private.h>
#include <openssl/asn1.h>

namespace
{

struct Options
{
    std::string           file;
    tool::Output          outKey, outCertificate, outCertificates;
    tool::PasswordOptions password;
    bool                  force = false, json = false;

    std::array<tool::Output *, 3> outputs() { return { &outKey, &outCertificate, &outCertificates }; }
};

// A description of a file that does not decode.
std::string description( PB_BUFFER *content )
{
    PB_INT length = pbBufferLength( content );
    if( !length )
        return "is empty";
    tool::Blocks blocks( content );
    tool::Block  block;
    if( blocks.next( block ) )
        return "is PEM text, not a PKCS#12 file; 'cry key info' reads keys";
    const unsigned char *at = pbBufferBytes( content );
    long                 size;
    int                  tag, kind;
    int                  form = ASN1_get_object( &at, &size, &tag, &kind, (long)length );
    // OpenSSL sets the highest bit if the content is longer than the rest of the file.
    if( tool::startsWith( content, "\x30" ) && ( form & 0x80 ) )
        return "is cut off: it ends before the PKCS#12 file in it does";
    return "is not a PKCS#12 file";
}

pb::Ref<CRY_PKCS12> readFile( Options &options )
{
    pb::Ref<PB_BUFFER> content = tool::readWhole( options.file, tool::Content::secret ), password;
    if( options.password.given() )
        password = options.password.get( options.file );
    tool::Pkcs12Attempt attempt( content.get(), password );
    // A file without a password is read without asking for one.
    if( attempt.wrongPassword() && !password )
    {
        password = options.password.get( options.file );
        attempt  = tool::Pkcs12Attempt( content.get(), password );
    }
    if( attempt.withoutMac() )
    {
        // It may not be protected at all.
        tool::Pkcs12Attempt again( content.get(), {} );
        if( again.pkcs12 )
            return again.pkcs12;
        throw tool::InputError( options.file,
            "is protected by a password but has no MAC to check it with, which this OpenSSL does not read; 'openssl pkcs12' does (" +
                attempt.diagnostics + ")" );
    }
    if( attempt.pkcs12 )
        return attempt.pkcs12;
    if( attempt.wrongPassword() )
        throw tool::InputError( options.file, "the password is wrong, or the file is damaged (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "d2i_PKCS12_bio() failed" )
        throw tool::InputError( options.file, description( content.get() ) + " (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "PKCS12_parse() returned no private key!" )
        throw tool::InputError( options.file, "holds no private key (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "PKCS12_parse() returned no certificate!" )
        throw tool::InputError( options.file, "holds no certificate that its private key belongs to (" + attempt.diagnostics + ")" );
    throw tool::InputError( options.file, attempt.diagnostics );
}

void checkOutputs( Options &options )
{
    for( const tool::Output *each : options.outputs() )
    {
        each->check();
        each->checkBeside( options.json );
        for( const tool::Output *other : options.outputs() )
        {
            if( other != each && each->toFile() && other->toFile() && tool::placeOf( *each->path ) == tool::placeOf( *other->path ) )
                throw tool::InputError( *other->path, "only one of the results can go into a file" );
        }
    }
}

void describe(
    const Options &options, CRY_PKEY_PRIVATE *key, CRY_X509_CERTIFICATE *certificate, const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &others )
{
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "key", tool::KeyFacts( cry___PkeyPrivatePeekOpensslEvpPkey( key ) ).json() },
            { "certificate", tool::Facts( certificate ).json() }, { "certificates", tool::factsJson( others ) } };
        options.outKey.addTo( json, "outKey" );
        options.outCertificate.addTo( json, "outCertificate" );
        options.outCertificates.addTo( json, "outCertificates" );
        tool::printJson( json );
        return;
    }
    auto line = []( const char *what, CRY_X509_CERTIFICATE *each ) { tool::print( what + tool::Facts( each ).text() + "\n" ); };
    tool::print( "private key  " + tool::printable( tool::keyText( cry___PkeyPrivatePeekOpensslEvpPkey( key ) ) ) + "\n" );
    line( "certificate  ", certificate );
    for( const auto &each : others )
        line( "further      ", each.get() );
}

int readPkcs12( Options &options )
{
    for( tool::Output *each : options.outputs() )
        each->force = options.force;
    checkOutputs( options );
    pb::Ref<CRY_PKCS12>           pkcs12      = readFile( options );
    pb::Ref<CRY_PKEY_PRIVATE>     key         = pb::adopt( cryPkcs12PrivateKey( pkcs12.get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryPkcs12Certificate( pkcs12.get() ) );
    auto                          others      = tool::elements( pb::adopt( cryPkcs12Certificates( pkcs12.get() ) ).get() );
    auto                          textOf      = []( CRY_PEM *pem ) { return tool::pemText( pb::adopt( pem ).get() ); };
    tool::OutputFiles             files;
    if( options.outKey.path )
        files.add( options.outKey, textOf( cryPkeyPrivatePem( key.get() ) ), tool::Secrecy::secret );
    if( options.outCertificate.path )
        files.add( options.outCertificate, textOf( cryX509CertificatePem( certificate.get() ) ), tool::Secrecy::open );
    if( options.outCertificates.path )
    {
        pb::Ref<PB_BUFFER> all = pb::adopt( pbBufferCreate() );
        for( const auto &each : others )
            pbBufferAppend( all.handle(), textOf( cryX509CertificatePem( each.get() ) ).get() );
        files.add( options.outCertificates, all, tool::Secrecy::open );
    }
    files.write();
    // A result on standard output is not mixed with a description.
    bool quiet = false;
    for( const tool::Output *each : options.outputs() )
        quiet = quiet || ( each->path && !each->toFile() );
    if( !quiet )
        describe( options, key.get(), certificate.get(), others );
    return tool::exitGood;
}

}

void tool::addPkcs12Read( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, readPkcs12,
        "Files of older systems are read, too. The key is written as PKCS#8 without a password, readable by its owner only.\n"
        "A file without a password is read without asking for one. A file that asks for more than 10000000 rounds of key\n"
        "derivation for one key, or more than 30000000 in all, is refused.\n"
        "Exit: 0 done; 2 wrong use, or a file that cannot be read or written." );
    addArgument( command, "FILE", options.file, "the PKCS#12 file; - is standard input" )->required();
    addOutput( command, "--out-key", options.outKey.path, "write the private key to this file" );
    addOutput( command, "--out-certificate", options.outCertificate.path, "write its certificate to this file" );
    addOutput( command, "--out-certificates", options.outCertificates.path, "write the other certificates to this file" );
    command.add_flag( "--force", options.force, "replace files that exist" );
    options.password.addTo( command, "the PKCS#12 file" );
}
