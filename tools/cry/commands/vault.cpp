#include "input/vault.hpp"
#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/key_file.hpp"
#include "input/signing_check.hpp"
#include "options/command.hpp"
#include "options/state.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/cry_sign.h>
#include <cry/internal/cry_pkey_private.h>

namespace
{

struct ListOptions : tool::StateOptions
{
    bool json = false;
};

struct NameOptions : tool::StateOptions
{
    std::string name;
    bool        json = false;
};

struct DeleteOptions : NameOptions
{
    bool force = false;
};

struct SetOptions : DeleteOptions
{
    std::string              key, certificate;
    std::vector<std::string> extra;
    tool::PasswordOptions    password;
};

// What an item of the vault has. Its file may have been made elsewhere, so that any part may be
// missing.
struct Parts
{
    std::string                                identifier;
    pb::Ref<CRY_PKEY_PRIVATE>                  key;
    pb::Ref<CRY_X509_CERTIFICATE>              certificate;
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> others;

    explicit Parts( CRY_VAULT_ITEM *item )
    {
        pb::Ref<CRY_X509_IDENTITY> identity = pb::adopt( cryVaultItemIdentity( item ) );
        identifier                          = tool::take( pbIdentifierToString( pb::adopt( cryVaultItemIdentifier( item ) ).get() ) );
        key                                 = pb::adopt( cryX509IdentityPrivateKey( identity.get() ) );
        certificate                         = pb::adopt( cryX509IdentityCertificate( identity.get() ) );
        others                              = tool::elements( pb::adopt( cryX509IdentityExtraCertificates( identity.get() ) ).get() );
    }

    tool::KeyFacts keyFacts() const { return tool::KeyFacts( cry___PkeyPrivatePeekOpensslEvpPkey( key.get() ) ); }
    std::string    keyText() const { return key ? tool::printable( keyFacts().text() ) : "no private key"; }

    nlohmann::ordered_json json() const
    {
        nlohmann::ordered_json json{ { "identifier", identifier } };
        if( key )
            json["key"] = keyFacts().json();
        if( certificate )
            json["certificate"] = tool::Facts( certificate.get() ).json();
        json["certificates"] = tool::factsJson( others );
        return json;
    }

    void print() const
    {
        const std::string indent( 13, ' ' );
        auto              block = [&indent]( const char *what, CRY_X509_CERTIFICATE *each ) {
            tool::Facts facts( each );
            tool::print( what + tool::nameOrNone( facts.subject ) + "\n" + facts.details( indent ) );
        };
        tool::print( "private key  " + keyText() + "\n" );
        if( certificate )
            block( "certificate  ", certificate.get() );
        else
            tool::print( "certificate  no certificate\n" );
        for( const auto &each : others )
            block( "further      ", each.get() );
    }
};

// What a command says of a vault that has no such identity.
int printMissing( const NameOptions &options )
{
    std::string reason = "the vault in " + tool::nameOf( options.directory ) + " has no identity " + tool::shown( options.name );
    if( options.json )
        tool::printJson( { { "verdict", "bad" }, { "stateDirectory", options.directory }, { "identifier", options.name }, { "reason", reason } } );
    else
        tool::print( tool::red( "none" ) + ": " + reason + "\n" );
    return tool::exitNegative;
}

int list( ListOptions &options )
{
    nlohmann::ordered_json identities = nlohmann::ordered_json::array();
    for( const pb::Ref<CRY_VAULT_ITEM> &item : tool::vaultItems( options.directory ) )
    {
        Parts parts( item.get() );
        identities.push_back( parts.json() );
        if( !options.json )
            tool::print( parts.identifier + "  " + parts.keyText() + "; " +
                ( parts.certificate ? tool::Facts( parts.certificate.get() ).text() : "no certificate" ) + "\n" );
    }
    size_t count = identities.size();
    if( options.json )
        tool::printJson( { { "stateDirectory", options.directory }, { "count", count }, { "identities", identities } } );
    else if( !count )
        tool::print( "the vault in " + tool::nameOf( options.directory ) + " is empty\n" );
    return tool::exitGood;
}

int show( NameOptions &options )
{
    pb::Ref<PB_IDENTIFIER> identifier = tool::identifierOf( options.name );
    for( const pb::Ref<CRY_VAULT_ITEM> &item : tool::vaultItems( options.directory ) )
    {
        Parts parts( item.get() );
        if( parts.identifier != options.name )
            continue;
        if( options.json )
            tool::printJson( { { "verdict", "good" }, { "stateDirectory", options.directory }, { "identity", parts.json() } } );
        else
            parts.print();
        return tool::exitGood;
    }
    return printMissing( options );
}

pb::Ref<CRY_X509_IDENTITY> readIdentity( SetOptions &options )
{
    std::vector<std::string> inputs = options.extra;
    inputs.insert( inputs.end(), { options.key, options.certificate } );
    tool::checkStandardInput( inputs );
    tool::Key                                  key    = tool::readPrivateKey( options.key, options.password );
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> chain  = tool::readCertificates( options.certificate );
    pb::Ref<CRY_X509_CERTIFICATES>             extras = pb::adopt( cryX509CertificatesCreate() );
    tool::append( extras, chain, 1 );
    for( const std::string &file : options.extra )
        tool::append( extras, tool::readCertificates( file ) );
    if( !cryX509CertificateHasPublicKey( chain[0].get() ) )
        throw tool::InputError( options.certificate, "the key of the certificate cannot be read" );
    if( !cryX509CertificateCheckPrivateKey( chain[0].get(), key.privateKey.get() ) )
        throw tool::InputError( options.key, "the private key does not belong to the certificate in " + tool::nameOf( options.certificate ) );
    if( crySignCanSign( CRY_HASH_ALGORITHM_SHA2_256, key.privateKey.get() ) )
        tool::checkCanSign( key, CRY_HASH_ALGORITHM_SHA2_256 );
    pb::Ref<CRY_X509_IDENTITY> identity = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( identity.handle(), key.privateKey.get() );
    cryX509IdentitySetCertificate( identity.handle(), chain[0].get() );
    cryX509IdentitySetExtraCertificates( identity.handle(), extras.get() );
    return identity;
}

int set( SetOptions &options )
{
    pb::Ref<PB_IDENTIFIER> identifier = tool::identifierOf( options.name );
    // Nobody waits for the lock while a password is typed.
    pb::Ref<CRY_X509_IDENTITY> identity = readIdentity( options );
    pb::Ref<CRY_VAULT_ITEM>    item     = pb::adopt( cryVaultItemCreateIdentity( identifier.get(), identity.get() ) );
    bool                       replaced;
    {
        tool::VaultChange change( options.directory, options.force, true );
        replaced = (bool)pb::adopt( cryVaultItem( identifier.get() ) );
        cryVaultSetItem( item.get() );
        change.save();
    }
    if( options.json )
        tool::printJson( { { "stateDirectory", options.directory }, { "replaced", replaced }, { "identity", Parts( item.get() ).json() } } );
    else
        tool::print( options.name + ( replaced ? " was replaced" : " was added" ) + " in " + tool::nameOf( options.directory ) + "\n" );
    return tool::exitGood;
}

int remove( DeleteOptions &options )
{
    pb::Ref<PB_IDENTIFIER> identifier = tool::identifierOf( options.name );
    // A directory is not made for this.
    if( !tool::VaultFiles( options.directory ).exist() )
        return printMissing( options );
    {
        tool::VaultChange change( options.directory, options.force, false );
        if( !pb::adopt( cryVaultItem( identifier.get() ) ) )
            return printMissing( options );
        cryVaultDelItem( identifier.get() );
        change.save();
    }
    if( options.json )
        tool::printJson( { { "verdict", "good" }, { "stateDirectory", options.directory }, { "identifier", options.name } } );
    else
        tool::print( options.name + " was deleted from " + tool::nameOf( options.directory ) + "\n" );
    return tool::exitGood;
}

void addName( CLI::App &command, NameOptions &options, const char *what )
{
    tool::addArgument( command, "NAME", options.name, what )->required();
    options.addTo( command );
}

}

void tool::addVaultList( CLI::App &command, int &exit )
{
    ListOptions &options = addOptions( command, exit, list,
        "Each identity has its own line: its name, its private key, and its certificate.\n"
        "Exit: 0 done; 2 wrong use, or a vault that cannot be read." );
    options.addTo( command );
}

void tool::addVaultShow( CLI::App &command, int &exit )
{
    NameOptions &options = addOptions( command, exit, show,
        "Says the kind of the private key, and what is in the certificates. The private key itself is not shown.\n"
        "Exit: 0 done; 1 the vault has no such identity; 2 wrong use, or a vault that cannot be read." );
    addName( command, options, "the name of the identity" );
}

void tool::addVaultSet( CLI::App &command, int &exit )
{
    SetOptions &options = addOptions( command, exit, set,
        "An identity of this name is replaced. The private key must be the certificate's. It is kept without a password, in a\n"
        "file that only its owner can read. If another process changes the vault, this waits for it.\n"
        "A vault that cannot be read is not replaced by a new one, since it may hold the only copy of private keys.\n"
        "Exit: 0 done; 2 wrong use, a key that is not the certificate's, or a file that cannot be read or written." );
    addName( command, options, "the name: 1 to 255 of the characters A-Z, a-z, 0-9, '.', '_' and '-', of which '.' and '-' are not the first" );
    addOption( command, "--key", options.key, "FILE", "the private key" )->required();
    addOption( command, "--certificate", options.certificate, "FILE", "its certificate; the others in the file are further ones" )->required();
    addRepeated( command, "--extra", options.extra, "FILE", "further certificates; may be given several times" );
    command.add_flag( "--force", options.force, "replace a vault that cannot be read, and lose what cannot be read in one" );
    options.password.addTo( command, "a protected private key" );
}

void tool::addVaultDelete( CLI::App &command, int &exit )
{
    DeleteOptions &options = addOptions( command, exit, remove,
        "Its private key is lost, if there is no other copy. If another process changes the vault, this waits for it.\n"
        "Exit: 0 done; 1 the vault has no such identity; 2 wrong use, or a vault that cannot be read or written." );
    addName( command, options, "the name of the identity" );
    command.add_flag( "--force", options.force, "change the vault even if something in it cannot be read and is lost" );
}
