#include "input/vault.hpp"
#include "commands/commands.hpp"
#include "input/file.hpp"
#include "input/identity_files.hpp"
#include "options/command.hpp"
#include "options/state.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/identity_facts.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

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
    tool::IdentityFiles files;
};

// What an item of the vault has.
struct Parts : tool::IdentityFacts
{
    explicit Parts( CRY_VAULT_ITEM *item ) : IdentityFacts( pb::adopt( cryVaultItemIdentity( item ) ).get() )
    {
        identifier = tool::take( pbIdentifierToString( pb::adopt( cryVaultItemIdentifier( item ) ).get() ) );
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

int set( SetOptions &options )
{
    pb::Ref<PB_IDENTIFIER> identifier = tool::identifierOf( options.name );
    // Nobody waits for the lock while a password is typed.
    pb::Ref<CRY_X509_IDENTITY> identity = options.files.read();
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
    options.files.addTo( command );
    command.get_option( "--key" )->required();
    command.get_option( "--certificate" )->required();
    command.add_flag( "--force", options.force, "replace a vault that cannot be read, and lose what cannot be read in one" );
    options.files.password.addTo( command, "a protected private key" );
}

void tool::addVaultDelete( CLI::App &command, int &exit )
{
    DeleteOptions &options = addOptions( command, exit, remove,
        "Its private key is lost, if there is no other copy. If another process changes the vault, this waits for it.\n"
        "Exit: 0 done; 1 the vault has no such identity; 2 wrong use, or a vault that cannot be read or written." );
    addName( command, options, "the name of the identity" );
    command.add_flag( "--force", options.force, "change the vault even if something in it cannot be read and is lost" );
}
