#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/identity_files.hpp"
#include "input/key_file.hpp"
#include "input/pem.hpp"
#include "input/signing_check.hpp"
#include "input/store_file.hpp"
#include "input/trust_token.hpp"
#include "options/algorithm.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/notices.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "output/token_facts.hpp"
#include "output/token_verdict.hpp"
#include "text/convert.hpp"

#include <optional>

namespace
{

struct SignOptions
{
    std::string                key, certificate, algorithm = "sha512", file = "-";
    std::vector<std::string>   extra;
    std::optional<std::string> metadata, time;
    tool::Output               output;
    tool::PasswordOptions      password;
    bool                       noTime = false, json = false;
};

struct VerifyOptions
{
    std::string token, file = "-";
    bool        json = false;
};

struct ShowOptions
{
    std::string token;
    bool        json = false;
};

struct RootOptions
{
    bool pem = false, json = false;
};

// ---- sign

// The module aborts if a key cannot sign some data. These two kinds sign all data or none.
void checkKind( const tool::Key &key )
{
    tool::KeyFacts facts( key.peek() );
    if( facts.type != "RSA" && ( facts.type != "EC" || facts.curve.empty() ) )
        throw tool::InputError( key.file, "tokens are signed with RSA keys and with EC keys on named curves only; this key is " + facts.text() );
}

pb::Ref<CRY_TRUST_TOKEN> unsignedToken( const SignOptions &options, const tool::Key &key, CRY_HASH_ALGORITHM algorithm )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain  = tool::readCertificates( options.certificate );
    pb::Ref<CRY_X509_CERTIFICATES>             extras = pb::adopt( cryX509CertificatesCreate() );
    tool::append( extras, chain, 1 );
    tool::appendFiles( extras, options.extra );
    tool::checkBelongs( key, chain[0].get(), options.certificate );
    pb::Ref<CRY_TRUST_TOKEN> tok = pb::adopt( cryTrustTokenCreate() );
    cryTrustTokenSetCertificate( tok.handle(), chain[0].get() );
    cryTrustTokenSetExtraCertificates( tok.handle(), extras.get() );
    cryTrustTokenSetHashAlgorithm( tok.handle(), algorithm );
    if( !options.noTime )
        cryTrustTokenSetTime( tok.handle(), tool::timeValue( options.time ).get() );
    if( options.metadata )
        cryTrustTokenSetMetaData( tok.handle(), tool::readStore( *options.metadata ).store.get() );
    return tok;
}

int sign( SignOptions &options )
{
    CRY_HASH_ALGORITHM       algorithm = tool::algorithmOf( options.algorithm );
    std::vector<std::string> inputs    = options.extra;
    inputs.insert( inputs.end(), { options.key, options.certificate, options.metadata.value_or( "" ), options.file } );
    tool::checkStandardInput( inputs );
    options.output.check();
    options.output.checkBeside( options.json );
    tool::Key key = tool::readPrivateKey( options.key, options.password );
    checkKind( key );
    tool::checkCanSign( key, algorithm );
    pb::Ref<CRY_TRUST_TOKEN> tok = unsignedToken( options, key, algorithm );
    tool::tokenFile( tok.get() ); // a token that is too large shows before the file is read
    if( tool::WayToRoot way( tok.get() ); !way.problem.empty() )
        tool::warn( { "no module will accept the token: " + way.problem, options.certificate, {} } );
    tool::FileSource source( options.file );
    if( !cryTrustTokenTrySign( tok.handle(), key.privateKey.get(), source.source() ) )
    {
        source.check();
        throw tool::algorithmMissing();
    }
    options.output.write( tool::tokenFile( tok.get() ).get(), tool::Secrecy::open );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "token", tool::tokenJson( tok.get() ) } };
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

// ---- verify, show, root

int verify( VerifyOptions &options )
{
    tool::checkStandardInput( { options.token, options.file } );
    pb::Ref<CRY_TRUST_TOKEN> tok = tool::readToken( options.token );
    tool::FileSource         source( options.file );
    bool                     good = cryTrustTokenTryVerify( tok.get(), source.source() );
    source.check();
    tool::TokenVerdict verdict( tok.get(), good );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "tokenFile", options.token } };
        verdict.addTo( json );
        tool::printJson( json );
    }
    else
        tool::print( verdict.text( options.file ) );
    return good ? tool::exitGood : tool::exitNegative;
}

int show( ShowOptions &options )
{
    pb::Ref<CRY_TRUST_TOKEN> tok = tool::readToken( options.token );
    if( options.json )
        tool::printJson( { { "tokenFile", options.token }, { "token", tool::tokenJson( tok.get() ) } } );
    else
        tool::print( tool::tokenText( tok.get() ) );
    return tool::exitGood;
}

int root( RootOptions &options )
{
    pb::Ref<CRY_X509_CERTIFICATE> certificate = tool::trustRoot();
    std::string                   pem         = tool::textOf( tool::pemText( pb::adopt( cryX509CertificatePem( certificate.get() ) ).get() ).get() );
    tool::Facts                   facts( certificate.get() );
    bool                          development = tool::isDevelopmentRoot();
    if( options.json )
        tool::printJson( { { "certificate", facts.json() }, { "development", development }, { "pem", pem } } );
    else if( options.pem )
        tool::print( pem );
    else
        tool::print( "root         " + tool::nameOrNone( facts.subject ) + "\n" + facts.details( std::string( 13, ' ' ) ) +
            ( development ? "This is a development root. The build made it, with a signer for tests; do not ship such a build.\n"
                          : "The product supplied this root.\n" ) );
    return tool::exitGood;
}

void addToken( CLI::App &command, std::string &token )
{
    tool::addArgument( command, "TOKEN", token, "the file of the token; - is standard input" )->required();
    tool::valuesOf( command.get_option( "TOKEN" ) ).kind = tool::Values::input;
}

}

void tool::addTokenSign( CLI::App &command, int &exit )
{
    SignOptions &options = addOptions( command, exit, sign,
        "The signature covers the file, the certificates, the time, the metadata and the name of the digest. The token holds\n"
        "all of them but the file. The private key must be the certificate's. If the certificate does not lead to the\n"
        "built-in root at that time (see 'cry token root'), a warning says so.\n"
        "Exit: 0 done; 2 wrong use, a key that is not the certificate's or cannot sign, or a file that cannot be read or written." );
    addOption( command, "--key", options.key, "FILE", "the private key" )->required();
    addOption( command, "--certificate", options.certificate, "FILE", "its certificate; the others in the file are further ones" )->required();
    addRepeated( command, "--extra", options.extra, "FILE", "further certificates, on the way to the root; may be given several times" );
    addOption( command, "--metadata", options.metadata, "FILE", "an object in JSON for the token's reader; its numbers are integers" );
    addAlgorithm( command, options.algorithm, "the digest: " );
    CLI::Option *time = addOption( command, "--time", options.time, "TIME", "the time of signing, in UTC, as 2026-01-31T12:00:00Z; now if left out" );
    command.add_flag( "--no-time", options.noTime, "no time in the token: the certificates must be valid whenever it is verified" )->excludes( time );
    options.output.addTo( command, "the token" );
    command.get_option( "--out" )->required();
    options.password.addTo( command, "a protected private key" );
    addArgument( command, "FILE", options.file, "the file to sign; - and none at all are standard input" );
}

void tool::addTokenVerify( CLI::App &command, int &exit )
{
    VerifyOptions &options = addOptions( command, exit, verify,
        "The signature must be that of the file and the token, and the token's certificate must lead to the built-in root at\n"
        "the token's time, now if it has none.\n"
        "Exit: 0 the token is good; 1 it is not; 2 wrong use, or a file that cannot be read or holds no token." );
    addToken( command, options.token );
    addArgument( command, "FILE", options.file, "the file that was signed; - and none at all are standard input" );
}

void tool::addTokenShow( CLI::App &command, int &exit )
{
    ShowOptions &options = addOptions( command, exit, show,
        "Nothing is verified.\n"
        "Exit: 0 done; 2 wrong use, or a file that cannot be read or holds no token." );
    addToken( command, options.token );
}

void tool::addTokenRoot( CLI::App &command, int &exit )
{
    RootOptions &options = addOptions( command, exit, root,
        "The product chooses the root when it builds the module. A build without one makes a development root.\n"
        "Exit: 0 done; 2 wrong use." );
    command.add_flag( "--pem", options.pem, "print the certificate in PEM" );
}
