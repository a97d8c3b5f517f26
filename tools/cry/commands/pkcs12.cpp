#include "input/input.hpp"
#include "input/key_file.hpp"
#include "options/group.hpp"
#include "output/describe.hpp"
#include "output/output.hpp"
#include "output/terminal.hpp"

#include <cry/cry_pkcs12.h>
#include <cry/internal/cry_pkey_private.h>
#include <filesystem>
#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/proverr.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

struct Options
{
    std::string              file, certificate, key; // write
    std::vector<std::string> extra;
    tool::Output             outKey, outCertificate, outCertificates, output;
    tool::PasswordOptions    password, keyPassword;
    bool                     noPassword = false, force = false, json = false;
};

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> membersOf( CRY_X509_CERTIFICATES *certificates )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> members;
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( certificates ); index++ )
        members.push_back( pb::adopt( cryX509CertificatesCertificateAt( certificates, index ) ) );
    return members;
}

// ---- read

// What a file that does not decode looks like.
std::string whatItIs( PB_BUFFER *content )
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
    // OpenSSL sets the highest bit when the content is longer than what there is.
    if( tool::startsWith( content, "\x30" ) && ( form & 0x80 ) )
        return "is cut off: it ends before the PKCS#12 file in it does";
    return "is no PKCS#12 file";
}

pb::Ref<PB_STRING> stringOf( const pb::Ref<PB_BUFFER> &password )
{
    if( !password )
        return {};
    pb::Ref<PB_STRING> text = pb::adopt(
        pbStringTryCreateFromCstr( (const char *)pbBufferBytes( password.get() ), pbBufferLength( password.get() ) ) );
    if( !text || !pbStringTryPeekCstr( text.get() ) )
        throw tool::InputError( "the password is not text in UTF-8 without zero bytes" );
    pbStringSetSensitive( text.handle() );
    return text;
}

struct Attempt
{
    pb::Ref<CRY_PKCS12> pkcs12;
    std::string         diagnostics;
    int32_t             code = 0;

    Attempt( PB_BUFFER *content, const pb::Ref<PB_BUFFER> &password )
    {
        PB_STRING         *text = nullptr;
        pb::Ref<PB_STRING> str  = stringOf( password );
        pkcs12                  = pb::adopt( cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( content, str.get(), &text, &code ) );
        if( text )
            diagnostics = tool::take( text );
        ERR_clear_error();
    }

    bool isReason( int library, int reason ) const
    {
        unsigned long error = (unsigned long)(uint32_t)code;
        return !pkcs12 && ERR_GET_LIB( error ) == library && ERR_GET_REASON( error ) == reason;
    }
    bool wrongPassword() const { return isReason( ERR_LIB_PKCS12, PKCS12_R_MAC_VERIFY_FAILURE ) || isReason( ERR_LIB_PROV, PROV_R_BAD_DECRYPT ); }
    bool withoutMac() const { return isReason( ERR_LIB_PKCS12, PKCS12_R_MAC_ABSENT ); }
};

pb::Ref<CRY_PKCS12> readFile( Options &options )
{
    std::string        name    = tool::nameOf( options.file );
    pb::Ref<PB_BUFFER> content = tool::readWhole( options.file, tool::Content::secret ), password;
    if( options.password.given() )
        password = options.password.get( options.file );
    Attempt attempt( content.get(), password );
    // A file without a password is read without asking for one.
    if( attempt.wrongPassword() && !password )
    {
        password = options.password.get( options.file );
        attempt  = Attempt( content.get(), password );
    }
    if( attempt.withoutMac() )
    {
        // It may not be protected at all.
        Attempt again( content.get(), {} );
        if( again.pkcs12 )
            return again.pkcs12;
        throw tool::InputError( name +
            ": is protected by a password but has no MAC to check it with, which this OpenSSL does not read; 'openssl pkcs12' does (" +
            attempt.diagnostics + ")" );
    }
    if( attempt.pkcs12 )
        return attempt.pkcs12;
    if( attempt.wrongPassword() )
        throw tool::InputError( name + ": the password is wrong, or the file is damaged (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "d2i_PKCS12_bio() failed" )
        throw tool::InputError( name + ": " + whatItIs( content.get() ) + " (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "PKCS12_parse() returned no private key!" )
        throw tool::InputError( name + ": holds no private key (" + attempt.diagnostics + ")" );
    if( attempt.diagnostics == "PKCS12_parse() returned no certificate!" )
        throw tool::InputError( name + ": holds no certificate that its private key belongs to (" + attempt.diagnostics + ")" );
    throw tool::InputError( name + ": " + attempt.diagnostics );
}

// Where a file is, whether it is there or not.
fs::path placeOf( const std::string &path )
{
    std::error_code ignored;
    fs::path        place = path;
    for( int links = 0; links < 40 && fs::is_symlink( place, ignored ); links++ )
        place = place.parent_path() / fs::read_symlink( place, ignored );
    return fs::weakly_canonical( fs::absolute( place, ignored ), ignored );
}

void checkOutputs( const Options &options )
{
    const tool::Output *outputs[] = { &options.outKey, &options.outCertificate, &options.outCertificates };
    for( const tool::Output *each : outputs )
    {
        each->check();
        if( options.json && each->path && !each->toFile() )
            throw tool::InputError( "--json and a result cannot both go to standard output" );
        for( const tool::Output *other : outputs )
        {
            if( other != each && each->toFile() && other->toFile() && placeOf( *each->path ) == placeOf( *other->path ) )
                throw tool::InputError( tool::nameOf( *other->path ) + ": only one of the results can go into a file" );
        }
    }
}

std::string keyTextOf( CRY_PKEY_PRIVATE *key ) { return tool::keyText( cry___PkeyPrivatePeekOpensslEvpPkey( key ) ); }

void describe(
    const Options &options, CRY_PKEY_PRIVATE *key, CRY_X509_CERTIFICATE *certificate, const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &others )
{
    if( options.json )
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for( const auto &each : others )
            list.push_back( tool::Facts( each.get() ).json() );
        tool::printJson( { { "format", 1 }, { "file", options.file }, { "privateKey", keyTextOf( key ) },
            { "certificate", tool::Facts( certificate ).json() }, { "certificates", list } } );
        return;
    }
    auto line = []( const char *what, CRY_X509_CERTIFICATE *each ) {
        tool::Facts facts( each );
        tool::print( std::string( what ) + tool::nameOrNone( facts.subject ) + ", by " + tool::nameOrNone( facts.issuer ) + ", until " +
            facts.validUntil + "\n" );
    };
    tool::print( "private key  " + tool::printable( keyTextOf( key ) ) + "\n" );
    line( "certificate  ", certificate );
    for( const auto &each : others )
        line( "further      ", each.get() );
}

int readPkcs12( Options &options )
{
    for( tool::Output *each : { &options.outKey, &options.outCertificate, &options.outCertificates } )
        each->force = options.force;
    checkOutputs( options );
    pb::Ref<CRY_PKCS12>           pkcs12      = readFile( options );
    pb::Ref<CRY_PKEY_PRIVATE>     key         = pb::adopt( cryPkcs12PrivateKey( pkcs12.get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryPkcs12Certificate( pkcs12.get() ) );
    auto                          others      = membersOf( pb::adopt( cryPkcs12Certificates( pkcs12.get() ) ).get() );
    auto                          textOf      = []( CRY_PEM *pem ) { return tool::pemText( pb::adopt( pem ).get() ); };
    if( options.outKey.path )
        options.outKey.write( textOf( cryPkeyPrivatePem( key.get() ) ).get(), tool::Secrecy::secret );
    if( options.outCertificate.path )
        options.outCertificate.write( textOf( cryX509CertificatePem( certificate.get() ) ).get(), tool::Secrecy::open );
    if( options.outCertificates.path )
    {
        pb::Ref<PB_BUFFER> all = pb::adopt( pbBufferCreate() );
        for( const auto &each : others )
            pbBufferAppend( all.handle(), textOf( cryX509CertificatePem( each.get() ) ).get() );
        options.outCertificates.write( all.get(), tool::Secrecy::open );
    }
    // What goes to standard output is not mixed with a description.
    bool quiet = false;
    for( const tool::Output *each : { &options.outKey, &options.outCertificate, &options.outCertificates } )
        quiet = quiet || ( each->path && !each->toFile() );
    if( !quiet )
        describe( options, key.get(), certificate.get(), others );
    return tool::exitGood;
}

// ---- write

pb::Ref<PB_BUFFER> newPassword( Options &options )
{
    try
    {
        return options.password.getNew( *options.output.path );
    }
    catch( const tool::InputError &problem )
    {
        throw tool::InputError( std::string( problem.what() ) + " (--no-password makes a file without one)" );
    }
}

int writePkcs12( Options &options )
{
    options.output.check();
    if( !options.output.toFile() && isatty( STDOUT_FILENO ) )
        throw tool::InputError( "a PKCS#12 file does not go to a terminal; --out gives it a place" );
    if( !options.output.toFile() && options.json )
        throw tool::InputError( "--json and a result cannot both go to standard output" );
    tool::Key                      key    = tool::readPrivateKey( options.key, options.keyPassword );
    std::vector<tool::Certificate> chain  = tool::readCertificates( options.certificate );
    pb::Ref<CRY_X509_CERTIFICATES> extras = pb::adopt( cryX509CertificatesCreate() );
    for( size_t index = 1; index < chain.size(); index++ )
        cryX509CertificatesAppendCertificate( extras.handle(), chain[index].certificate.get() );
    for( const std::string &file : options.extra )
    {
        for( const tool::Certificate &each : tool::readCertificates( file ) )
            cryX509CertificatesAppendCertificate( extras.handle(), each.certificate.get() );
    }
    pb::Ref<CRY_PKCS12> pkcs12 = pb::adopt( cryPkcs12TryCreate( chain[0].certificate.get(), key.privateKey.get(), extras.get() ) );
    if( !pkcs12 )
        throw tool::InputError(
            tool::nameOf( options.key ) + ": the private key does not belong to the certificate in " + tool::nameOf( options.certificate ) );
    pb::Ref<PB_BUFFER> password;
    if( !options.noPassword )
        password = newPassword( options );
    ERR_clear_error();
    pb::Ref<PB_BUFFER> bytes = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), stringOf( password ).get() ) );
    if( !bytes )
        throw tool::InputError( "OpenSSL cannot make the file" + tool::opensslReasonInBrackets() );
    tool::writeBytes( options.output, bytes.get(), tool::Form::raw, tool::Secrecy::secret );
    if( options.json && options.output.toFile() )
        tool::printJson( { { "format", 1 }, { "file", *options.output.path }, { "length", pbBufferLength( bytes.get() ) },
            { "certificates", cryX509CertificatesCertificatesLength( extras.get() ) } } );
    return tool::exitGood;
}

}

void tool::addPkcs12( CLI::App &app, int &exit )
{
    CLI::App &group = addGroup( app, "pkcs12", "read and write PKCS#12 files" );

    auto [readCommand, readOptions] = addMember<Options>( group, exit, "read", "say what is in a PKCS#12 file, and write it to files", readPkcs12,
        "Files of older systems are read, too. The key is written as PKCS#8 without a password, readable by its owner only.\nExit: 0 done; 2 wrong use, or a file that cannot be read or written." );
    readCommand->add_option( "FILE", readOptions->file, "the PKCS#12 file; - is standard input" )->required()->type_name( "" )->transform( plain );
    readCommand->add_option( "--out-key", readOptions->outKey.path, "write the private key to this file" )->type_name( "FILE" )->transform( plain );
    readCommand->add_option( "--out-certificate", readOptions->outCertificate.path, "write its certificate to this file" )
        ->type_name( "FILE" )
        ->transform( plain );
    readCommand->add_option( "--out-certificates", readOptions->outCertificates.path, "write the other certificates to this file" )
        ->type_name( "FILE" )
        ->transform( plain );
    readCommand->add_flag( "--force", readOptions->force, "put them in the place of files that are there" );
    readOptions->password.addTo( *readCommand, "the PKCS#12 file" );

    auto [writeCommand, writeOptions] = addMember<Options>( group, exit, "write", "make a PKCS#12 file", writePkcs12,
        "The file is made readable by its owner only, with the encryption that OpenSSL chooses.\nExit: 0 done; 2 wrong use, a key that is not the certificate's, or a file that cannot be read or written." );
    writeCommand->add_option( "--key", writeOptions->key, "the private key" )->required()->type_name( "FILE" )->transform( plain );
    writeCommand->add_option( "--certificate", writeOptions->certificate, "its certificate; those behind it in the file become further ones" )
        ->required()
        ->type_name( "FILE" )
        ->transform( plain );
    writeCommand->add_option( "--extra", writeOptions->extra, "further certificates; may be given several times" )
        ->type_name( "FILE" )
        ->allow_extra_args( false )
        ->transform( plain );
    writeOptions->output.addTo( *writeCommand, "the PKCS#12 file" );
    writeCommand->get_option( "--out" )->required();
    writeOptions->password.addTo( *writeCommand, "the new file" );
    writeOptions->keyPassword.addTo( *writeCommand, "a protected private key", "key-" );
    writeCommand->add_flag( "--no-password", writeOptions->noPassword, "make a file that anybody can read who gets it" )
        ->excludes( "--password-file" )
        ->excludes( "--password-fd" );
}
