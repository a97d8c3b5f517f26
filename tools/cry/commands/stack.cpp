#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/configuration.hpp"
#include "input/file.hpp"
#include "input/identity_files.hpp"
#include "input/vault.hpp"
#include "options/command.hpp"
#include "options/hosts.hpp"
#include "options/policy_flags.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "output/store_json.hpp"
#include "text/printable.hpp"
#include "text/spelling.hpp"

#include <cry/cry_x509_stack.h>
#include <cs/cs_object.h>
#include <cs/cs_sort_backend.h>
#include <optional>
#include <pb/pb_store_codec.h>

namespace
{

// Writes a configuration as it is kept in files, or as a part of JSON.
int writeConfiguration( PB_STORE *configuration, const tool::Output &output, bool json, bool hasKey, nlohmann::ordered_json result )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( pbStoreEncode( configuration, nullptr ) );
    output.writeBeside( json, text.get(), hasKey ? tool::Secrecy::secret : tool::Secrecy::open );
    if( json )
    {
        if( !output.toFile() )
            result["configuration"] = tool::storeJson( configuration );
        output.addTo( result );
        tool::printJson( result );
    }
    return tool::exitGood;
}

// ---- normalize

struct NormalizeOptions
{
    std::string  config;
    tool::Output output;
    bool         defaults = false, withPrivateKey = false, json = false;
};

int normalize( NormalizeOptions &options )
{
    options.output.check();
    options.output.checkBeside( options.json );
    tool::Configuration read = tool::readConfiguration( options.config );
    tool::warnOfEntries( options.config, read.store.get() );
    PB_INT            flags  = options.withPrivateKey ? CS_STORE_PRIVATE : 0;
    pb::Ref<PB_STORE> normal = pb::adopt( csConfigurationTryNormalize( cryX509StackSort(), read.store.get(), options.defaults, flags ) );
    pb::Ref<PB_STORE> ident  = pb::adopt( pbStoreStoreCstr( normal.get(), "identity", -1 ) );
    bool              hasKey = ident && pbStoreIndexCstr( ident.get(), "privateKey", -1 ) >= 0;
    return writeConfiguration( normal.get(), options.output, options.json, hasKey, { { "file", options.config } } );
}

// ---- options

struct MakeOptions
{
    std::optional<std::string> identityMode, trustMode, vaultIdentifier;
    std::vector<std::string>   trust, synchronized, trustedSans, policy;
    tool::IdentityFiles        identity;
    tool::Output               output;
    bool                       trustIdentity = false, noTrustIdentity = false, json = false;
};

struct Mode
{
    const char *name;
    PB_INT      value;
};

constexpr Mode identityModes[] = {
    { "fixed", CRY_X509_STACK_IDENTITY_MODE_FIXED },
    { "generate", CRY_X509_STACK_IDENTITY_MODE_GENERATE },
    { "vault", CRY_X509_STACK_IDENTITY_MODE_VAULT },
};
constexpr Mode trustModes[] = {
    { "fixed", CRY_X509_STACK_TRUST_MODE_FIXED },
    { "system", CRY_X509_STACK_TRUST_MODE_SYSTEM },
    { "synchronized", CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED },
};

template<size_t count>
PB_INT modeOf( const std::string &name, const std::string &option, const Mode ( &modes )[count] )
{
    for( const Mode &each : modes )
    {
        if( tool::isSameName( name, each.name ) )
            return each.value;
    }
    throw tool::InputError( option + ": " + tool::shown( name ) + " is none of " + modes[0].name + ", " + modes[1].name + " and " + modes[2].name );
}

template<size_t count>
void addMode( CLI::App &command, const std::string &option, std::optional<std::string> &mode, const Mode ( &modes )[count], const char *what )
{
    tool::addOption( command, option, mode, "MODE", what );
    std::vector<std::string> names;
    for( const Mode &each : modes )
        names.emplace_back( each.name );
    tool::addKnown( command, option, names );
}

pb::Ref<CRY_X509_CERTIFICATES> certificatesOf( const std::vector<std::string> &files )
{
    pb::Ref<CRY_X509_CERTIFICATES> all = pb::adopt( cryX509CertificatesCreate() );
    tool::appendFiles( all, files );
    return all;
}

// A setting that the modes make useless is written all the same: the modes may be changed later.
void warnOfUseless( CRY_X509_STACK_OPTIONS *made, const MakeOptions &options )
{
    PB_INT identity = cryX509StackOptionsIdentityMode( made ), trust = cryX509StackOptionsTrustMode( made );
    auto   warnIf = []( bool useless, const char *message ) {
        if( useless )
            tool::warn( { message, {}, {} } );
    };
    warnIf( cryX509StackOptionsHasIdentity( made ) && identity != CRY_X509_STACK_IDENTITY_MODE_FIXED,
        "--key and --certificate are used only with --identity-mode fixed" );
    warnIf( options.vaultIdentifier && identity != CRY_X509_STACK_IDENTITY_MODE_VAULT, "--vault-identifier is used only with --identity-mode vault" );
    warnIf( !options.vaultIdentifier && identity == CRY_X509_STACK_IDENTITY_MODE_VAULT,
        "without --vault-identifier, a stack with --identity-mode vault has no identity" );
    warnIf( !options.synchronized.empty() && trust != CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED,
        "--synchronized is used only with --trust-mode synchronized" );
}

pb::Ref<CRY_X509_STACK_OPTIONS> stackOptions( MakeOptions &options )
{
    std::vector<std::string> inputs = options.identity.extra;
    inputs.insert( inputs.end(), { options.identity.key, options.identity.certificate } );
    inputs.insert( inputs.end(), options.trust.begin(), options.trust.end() );
    inputs.insert( inputs.end(), options.synchronized.begin(), options.synchronized.end() );
    tool::checkStandardInput( inputs );

    pb::Ref<CRY_X509_STACK_OPTIONS> made = pb::adopt( cryX509StackOptionsCreate() );
    if( options.identityMode )
        cryX509StackOptionsSetIdentityMode( made.handle(), modeOf( *options.identityMode, "--identity-mode", identityModes ) );
    if( options.trustMode )
        cryX509StackOptionsSetTrustMode( made.handle(), modeOf( *options.trustMode, "--trust-mode", trustModes ) );
    if( options.vaultIdentifier )
        cryX509StackOptionsSetIdentityVaultIdentifier( made.handle(), tool::identifierOf( *options.vaultIdentifier, "--vault-identifier" ).get() );
    if( !options.policy.empty() )
        cryX509StackOptionsSetPolicyFlags( made.handle(), tool::policyFlagsOf( options.policy, "--policy" ) );
    if( options.trustIdentity || options.noTrustIdentity )
        cryX509StackOptionsSetTrustIdentity( made.handle(), options.trustIdentity );
    cryX509StackOptionsSetTrustedSans( made.handle(), tool::sansValue( options.trustedSans, "--trusted-san" ).get() );
    cryX509StackOptionsSetTrustedCertificates( made.handle(), certificatesOf( options.trust ).get() );
    cryX509StackOptionsSetSynchronizedTrustedCertificates( made.handle(), certificatesOf( options.synchronized ).get() );
    if( !options.identity.key.empty() )
        cryX509StackOptionsSetIdentity( made.handle(), options.identity.read().get() );
    return made;
}

int make( MakeOptions &options )
{
    options.output.check();
    options.output.checkBeside( options.json );
    pb::Ref<CRY_X509_STACK_OPTIONS> made = stackOptions( options );
    warnOfUseless( made.get(), options );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509StackOptionsStore( made.get(), PB_FALSE, CS_STORE_PRIVATE ) );
    return writeConfiguration(
        store.get(), options.output, options.json, cryX509StackOptionsHasIdentity( made.get() ), nlohmann::ordered_json::object() );
}

}

void tool::addStackNormalize( CLI::App &command, int &exit )
{
    NormalizeOptions &options = addOptions( command, exit, normalize,
        "Prints the configuration that a stack has if it is made from this one. Entries that are unknown or cannot be read are\n"
        "left out, with a warning. The private key is left out, too, if --with-private-key is not given. A file with a private\n"
        "key is made readable by its owner only.\n"
        "Exit: 0 done; 2 wrong use, or a file that is not a configuration." );
    addOption( command, "--config", options.config, "FILE", "the configuration; - is standard input" )->required();
    command.add_flag( "--defaults", options.defaults, "write settings that have their default value, too" );
    command.add_flag( "--with-private-key", options.withPrivateKey, "write the private key of the identity, too" );
    options.output.addTo( command, "the configuration" );
}

void tool::addStackOptions( CLI::App &command, int &exit )
{
    std::string footer = "Writes a configuration for 'cry stack run'. It has only what is given; for all else a stack has its defaults: it has no\n"
                         "identity and trusts no certificate. A file with a private key is made readable by its owner only.\n"
                         "Identity modes: fixed is that of --key and --certificate; with generate the stack makes a key and a certificate itself\n"
                         "and renews them; vault is the identity of --vault-identifier in the vault (see 'cry vault').\n"
                         "Trust modes: fixed is --trust alone; system adds the platform's roots; synchronized adds --synchronized.\n"
                         "Policy flags: " +
        policyFlagList() +
        ".\n"
        "Exit: 0 done; 2 wrong use, a key that is not the certificate's, or a file that cannot be read or written.";
    MakeOptions &options = addOptions( command, exit, make, footer.c_str() );
    addMode( command, "--identity-mode", options.identityMode, identityModes,
        "where the identity comes from: fixed, generate or vault; fixed if left out" );
    options.identity.addTo( command );
    CLI::Option *key         = command.get_option( "--key" );
    CLI::Option *certificate = command.get_option( "--certificate" );
    key->needs( certificate );
    certificate->needs( key );
    command.get_option( "--extra" )->needs( key );
    options.identity.password.addTo( command, "a protected private key" );
    addOption( command, "--vault-identifier", options.vaultIdentifier, "NAME", "the name of the identity in the vault" );
    addMode( command, "--trust-mode", options.trustMode, trustModes,
        "which certificates are trusted beside those of --trust: fixed, system or synchronized; fixed if left out" );
    addRepeated( command, "--trust", options.trust, "FILE", "certificates that are always trusted; may be given several times" );
    addRepeated( command, "--synchronized", options.synchronized, "FILE",
        "certificates that are trusted with --trust-mode synchronized; may be given several times" );
    addRepeated( command, "--trusted-san", options.trustedSans, "NAME",
        "a domain name or IP address; the certificate of a peer must have one of these names; may be given several times" );
    CLI::Option *trustIdentity = command.add_flag(
        "--trust-identity", options.trustIdentity, "trust the certificate of the stack's own identity, too" );
    command.add_flag( "--no-trust-identity", options.noTrustIdentity, "do not trust it, which is the default" )->excludes( trustIdentity );
    addRepeated( command, "--policy", options.policy, "FLAG", "a check that validators of the stack omit or relax; may be given several times" );
    addKnown( command, "--policy", policyFlagNames() );
    options.output.addTo( command, "the configuration" );
}
