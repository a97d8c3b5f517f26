#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/key_file.hpp"
#include "options/command.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"

#include <cry/cry_pkcs12.h>
#include <openssl/err.h>
#include <unistd.h>

namespace
{

struct Options
{
    std::string              certificate, key;
    std::vector<std::string> extra;
    tool::Output             output;
    tool::PasswordOptions    password, keyPassword;
    bool                     noPassword = false, json = false;
};

pb::Ref<PB_BUFFER> newPassword( Options &options )
{
    try
    {
        return options.password.getNew( *options.output.path );
    }
    catch( const tool::InputError &problem )
    {
        throw tool::InputError( problem, " (--no-password makes a file without one)" );
    }
}

int writePkcs12( Options &options )
{
    options.output.check();
    if( !options.output.toFile() && isatty( STDOUT_FILENO ) )
        throw tool::InputError( "a PKCS#12 file is not written to a terminal; use --out" );
    options.output.checkBeside( options.json );
    tool::Key                                  key    = tool::readPrivateKey( options.key, options.keyPassword );
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain  = tool::readCertificates( options.certificate );
    pb::Ref<CRY_X509_CERTIFICATES>             extras = pb::adopt( cryX509CertificatesCreate() );
    tool::append( extras, chain, 1 );
    tool::appendFiles( extras, options.extra );
    pb::Ref<CRY_PKCS12> pkcs12 = pb::adopt( cryPkcs12TryCreate( chain[0].get(), key.privateKey.get(), extras.get() ) );
    if( !pkcs12 )
        throw tool::InputError( options.key, "the private key does not belong to the certificate in " + tool::nameOf( options.certificate ) );
    pb::Ref<PB_BUFFER> password;
    if( !options.noPassword )
        password = newPassword( options );
    ERR_clear_error();
    pb::Ref<PB_BUFFER> bytes = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), tool::passwordText( password ).get() ) );
    if( !bytes )
        throw tool::InputError( "OpenSSL cannot make the file" + tool::opensslReasonInBrackets() );
    tool::writeBytes( options.output, bytes.get(), tool::Form::raw, tool::Secrecy::secret );
    if( options.json && options.output.toFile() )
        tool::printJson(
            { { "out", *options.output.path }, { "length", pbBufferLength( bytes.get() ) }, { "key", tool::KeyFacts( key.peek() ).json() },
                { "certificate", tool::Facts( chain[0].get() ).json() }, { "certificates", tool::factsJson( tool::elements( extras.get() ) ) } } );
    return tool::exitGood;
}

}

void tool::addPkcs12Write( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, writePkcs12,
        "The file is made readable by its owner only, with the encryption that OpenSSL chooses. Its password comes from\n"
        "--password-file, --password-fd or the terminal; --key-password-file and --key-password-fd are for the file of the key.\n"
        "Exit: 0 done; 2 wrong use, a key that is not the certificate's, or a file that cannot be read or written." );
    addOption( command, "--key", options.key, "FILE", "the private key" )->required();
    addOption( command, "--certificate", options.certificate, "FILE", "its certificate; the others in the file are further ones" )->required();
    addRepeated( command, "--extra", options.extra, "FILE", "further certificates; may be given several times" );
    options.output.addTo( command, "the PKCS#12 file" );
    command.get_option( "--out" )->required();
    options.password.addTo( command, "the new file" );
    options.keyPassword.addTo( command, "a protected private key", "key-" );
    command.add_flag( "--no-password", options.noPassword, "make a file without a password, which anybody can read" )
        ->excludes( "--password-file" )
        ->excludes( "--password-fd" );
}
