#include "commands/commands.hpp"

#include <algorithm>
#include <string>

namespace
{

constexpr tool::Command table[] = {
    { "verify", "", "verify a certificate chain", tool::addVerify },
    { "inspect", "", "say what is in files of certificates, requests, CRLs, keys and PKCS#12", tool::addInspect },
    { "convert", "", "write certificates, requests, CRLs, keys and PKCS#12 as PEM or DER", tool::addConvert },
    { "tn-list", "", "print the telephone numbers that a certificate is for (RFC 8226)", tool::addTnList },
    { "hash", "", "compute or check digests of files", tool::addHash },
    { "roots", "", "list the platform's trusted roots", tool::addRoots },
    { "hmac", "", "compute keyed digests (HMAC, RFC 2104) of files", tool::addHmac },
    { "random", "", "make random bytes", tool::addRandom },
    { "uuid", "", "make or read UUIDs (RFC 4122)", tool::addUuid },
    { "key", "", "make, convert and describe keys", nullptr },
    { "generate", "key", "make a private key", tool::addKeyGenerate },
    { "public", "key", "write the public key of a key or certificate", tool::addKeyPublic },
    { "info", "key", "say what a key is and whether its numbers fit together", tool::addKeyInfo },
    { "curves", "key", "list the elliptic curves", tool::addKeyCurves },
    { "signature", "", "make, check and convert signatures", nullptr },
    { "make", "signature", "sign a file", tool::addSignatureMake },
    { "check", "signature", "check the signature of a file", tool::addSignatureCheck },
    { "convert", "signature", "convert ECDSA signatures between DER and r followed by s", tool::addSignatureConvert },
    { "certificate", "", "make certificates", nullptr },
    { "generate", "certificate", "make a self-signed certificate", tool::addCertificateGenerate },
    { "request", "", "make and check certificate signing requests", nullptr },
    { "generate", "request", "make a certificate signing request (PKCS#10)", tool::addRequestGenerate },
    { "check", "request", "say what a request asks for, and whether its signature and a key are right", tool::addRequestCheck },
    { "crl", "", "use certificate revocation lists", nullptr },
    { "check", "crl", "say whether lists name certificates as revoked", tool::addCrlCheck },
    { "pkcs12", "", "read and write PKCS#12 files", nullptr },
    { "read", "pkcs12", "say what is in a PKCS#12 file, and write it to files", tool::addPkcs12Read },
    { "write", "pkcs12", "make a PKCS#12 file", tool::addPkcs12Write },
    { "vault", "", "keep private keys with their certificates", nullptr },
    { "list", "vault", "list the identities in the vault", tool::addVaultList },
    { "show", "vault", "say what an identity has", tool::addVaultShow },
    { "set", "vault", "put an identity into the vault", tool::addVaultSet },
    { "delete", "vault", "take an identity out of the vault", tool::addVaultDelete },
    { "stack", "", "keep an identity and trusted certificates current", nullptr },
    { "run", "stack", "run a stack and print its changes", tool::addStackRun },
    { "normalize", "stack", "print a configuration as a stack has it", tool::addStackNormalize },
    { "options", "stack", "write a configuration", tool::addStackOptions },
    { "token", "", "sign files under the built-in root, with a token beside each file", nullptr },
    { "sign", "token", "make the token of a file", tool::addTokenSign },
    { "verify", "token", "say whether a token is that of a file, and leads to the built-in root", tool::addTokenVerify },
    { "show", "token", "say what is in a token", tool::addTokenShow },
    { "root", "token", "say which root the module trusts for tokens", tool::addTokenRoot },
    { "bundle", "", "put a token and its file into one file", nullptr },
    { "pack", "bundle", "make a bundle of a token and its file", tool::addBundlePack },
    { "unpack", "bundle", "write the file that is in a bundle, if its token is good", tool::addBundleUnpack },
    { "verify", "bundle", "say whether the token of a bundle is good", tool::addBundleVerify },
    { "name", "", "check domain names", nullptr },
    { "check", "name", "say whether a text is a domain name, and its ASCII and Unicode forms (IDNA)", tool::addNameCheck },
};

// Names are unique in their group, each group stands before its commands and has one at least.
constexpr bool isSound()
{
    for( const tool::Command *row = std::begin( table ); row != std::end( table ); row++ )
    {
        auto same  = [row]( const tool::Command &other ) { return other.name == row->name && other.group == row->group; };
        auto group = [row]( const tool::Command &other ) { return other.isGroup() && other.group.empty() && other.name == row->group; };
        auto below = [row]( const tool::Command &other ) { return other.group == row->name; };
        if( row->name.empty() || std::find_if( std::begin( table ), row, same ) != row )
            return false;
        if( !row->group.empty() && ( row->isGroup() || std::find_if( std::begin( table ), row, group ) == row ) )
            return false;
        if( row->isGroup() && std::find_if( row, std::end( table ), below ) == std::end( table ) )
            return false;
    }
    return true;
}
static_assert( isSound() );

}

std::span<const tool::Command> tool::commands() { return table; }

const tool::Command *tool::findCommand( std::string_view name, std::string_view group )
{
    for( const Command &each : table )
    {
        if( each.name == name && each.group == group )
            return &each;
    }
    return nullptr;
}

void tool::addTool( CLI::App &app, bool &version, bool &json )
{
    app.description( "Certificates, keys, signatures, digests and the platform's trust, by the cry module" );
    app.name( "cry" );
    app.footer( "'cry help COMMAND' and 'cry COMMAND --help' tell more about a command." );
    CLI::Option *versionFlag = app.add_flag( "--version", version, "print the versions of the module and of its parts" );
    app.add_flag( "--json", json, "with --version: print it as JSON" )->needs( versionFlag );
    app.require_subcommand( 0, 1 );
}

void tool::addCommands( CLI::App &app, const std::vector<const Command *> &used, int &exit )
{
    app.footer( "'cry help COMMAND' and 'cry COMMAND --help' tell more about a command." );
    for( const Command &each : table )
    {
        CLI::App *parent  = each.group.empty() ? &app : app.get_subcommand( std::string( each.group ) );
        CLI::App *command = parent->add_subcommand( std::string( each.name ), each.summary );
        if( each.isGroup() )
            command->require_subcommand( 1 );
        else if( std::find( used.begin(), used.end(), &each ) != used.end() )
            each.add( *command, exit );
    }
}
