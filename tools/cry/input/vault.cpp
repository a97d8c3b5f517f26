#include "input/vault.hpp"

#include "input/descriptor.hpp"
#include "input/file.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cerrno>
#include <cry/internal/cry_vault.h>
#include <cstring>
#include <fcntl.h>
#include <pb/each.hpp>
#include <pb/pb_path_file.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

pb::Ref<PB_STRING> stringOf( const std::string &text ) { return pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ) ); }

bool exists( const std::string &path )
{
    struct stat status;
    if( stat( path.c_str(), &status ) == 0 )
        return true;
    if( errno != ENOENT && errno != ENOTDIR )
        throw tool::InputError( path, std::strerror( errno ) );
    return false;
}

// Why a file that is there is not a vault.
std::string reasonOf( const std::string &path )
{
    tool::Descriptor file{ open( path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK ) };
    return file.number < 0 ? std::strerror( errno ) : "is not the file of a vault, or is damaged";
}

tool::InputError unreadable( const tool::VaultFiles &files, const std::string &more )
{
    return { files.primary, reasonOf( files.primary ) + "; there is no backup that can be read" + more };
}

std::string unknownText( size_t count ) { return tool::counted( count, "item" ) + " in it cannot be read completely"; }

pb::Ref<PB_STORE> readStore( const std::string &path )
{
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbPathFileReadStore( stringOf( path ).get(), header.handle() ) );
    if( store && header && !pbStoreHeaderIsTypeCstr( header.get(), "CRY_VAULT", -1 ) )
        return {};
    return store;
}

// Whether a store has everything that another one has, at any depth. Values may differ.
bool hasAll( PB_STORE *kept, PB_STORE *all )
{
    bool isArray = pbStoreIsArray( all );
    if( isArray != (bool)pbStoreIsArray( kept ) || ( isArray && pbStoreLength( kept ) < pbStoreLength( all ) ) )
        return false;
    for( PB_INT index = 0; index < pbStoreLength( all ); index++ )
    {
        std::string key = isArray ? "" : tool::take( pbStoreKeyAt( all, index ) );
        PB_INT      at  = isArray ? index : pbStoreIndexCstr( kept, key.data(), (PB_INT)key.size() );
        if( at < 0 )
            return false;
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( all, index ) ), keptInner = pb::adopt( pbStoreStoreAt( kept, at ) );
        if( inner && ( !keptInner || !hasAll( keptInner.get(), inner.get() ) ) )
            return false;
    }
    return true;
}

std::string identifierIn( PB_STORE *entry )
{
    PB_STRING *identifier = entry ? pbStoreValueCstr( entry, "identifier", -1 ) : nullptr;
    return identifier ? tool::take( identifier ) : "";
}

}

tool::VaultFiles::VaultFiles( const std::string &directoryOfVault ) :
    directory( directoryOfVault ), primary( directory + "/cry_vault.qmstore" ), backup( directory + "/cry_vault-backup.qmstore" ),
    lock( directory + "/cry_vault.lock" )
{
}

bool tool::VaultFiles::exist() const { return exists( primary ) || exists( backup ); }

size_t tool::VaultFiles::unknownEntries() const
{
    pb::Ref<PB_STORE> file = readStore( primary );
    if( !file )
        file = readStore( backup );
    pb::Ref<PB_STORE>     entries = file ? pb::adopt( pbStoreStoreCstr( file.get(), "items", -1 ) ) : pb::Ref<PB_STORE>();
    std::set<std::string> seen;
    size_t                count = 0;
    // Of two entries with one identifier, the module takes the later one.
    for( PB_INT index = entries ? pbStoreLength( entries.get() ) : 0; index-- > 0; )
    {
        pb::Ref<PB_STORE>       entry      = pb::adopt( pbStoreStoreAt( entries.get(), index ) );
        std::string             name       = identifierIn( entry.get() );
        pb::Ref<PB_IDENTIFIER>  identifier = pb::adopt( pbIdentifierTryCreateFromCstr( name.data(), (PB_INT)name.size() ) );
        pb::Ref<CRY_VAULT_ITEM> item       = identifier ? pb::adopt( cryVaultItem( identifier.get() ) ) : pb::Ref<CRY_VAULT_ITEM>();
        bool                    first      = seen.insert( name ).second;
        if( !first || !item || !hasAll( pb::adopt( cryVaultItemStore( item.get(), PB_TRUE ) ).get(), entry.get() ) )
            count++;
    }
    return count;
}

pb::Ref<PB_IDENTIFIER> tool::identifierOf( const std::string &name, const std::string &option )
{
    pb::Ref<PB_IDENTIFIER> identifier = pb::adopt( pbIdentifierTryCreateFromCstr( name.data(), (PB_INT)name.size() ) );
    if( !identifier )
        throw InputError( option + ": " + shown( name ) +
            " is not an identifier: 1 to 255 of the characters A-Z, a-z, 0-9, '.', '_' and '-', of which '.' and '-' are not the first" );
    return identifier;
}

std::vector<pb::Ref<CRY_VAULT_ITEM>> tool::vaultItems( const std::string &directory )
{
    VaultFiles files( directory );
    // The module does not say whether it could read the file at its start.
    if( files.exist() && !cry___VaultLoad() )
        throw unreadable( files, "" );
    if( size_t unknown = files.unknownEntries() )
        warn( { nameOf( files.primary ) + ": " + unknownText( unknown ), files.primary, {} } );
    std::vector<pb::Ref<CRY_VAULT_ITEM>> items;
    pb::Ref<PB_VECTOR>                   all = pb::adopt( cryVaultItemsVector() );
    for( CRY_VAULT_ITEM *item : pb::each<CRY_VAULT_ITEM>( all.get() ) )
    {
        if( cryVaultItemIsIdentity( item ) )
            items.push_back( pb::share( item ) );
    }
    return items;
}

tool::VaultChange::VaultChange( const std::string &directory, bool force, bool begins ) : files( directory )
{
    if( !pbPathDirectoryCreate( stringOf( directory ).get() ) )
        throw InputError( directory, "is not a directory and cannot be made one" );
    PB_BOOL busy;
    lock = pb::adopt( pbFileLockTryCreate( stringOf( files.lock ).get(), 0, &busy ) );
    if( !lock && busy )
    {
        printError( nameOf( files.lock ) + ": another process has the lock; waiting for it" );
        lock = pb::adopt( pbFileLockTryCreate( stringOf( files.lock ).get(), -1, nullptr ) );
    }
    if( !lock )
        throw InputError( files.lock, "cannot be made or locked" );
    bool exist = files.exist();
    if( exist && cry___VaultLoad() )
    {
        size_t unknown = files.unknownEntries();
        if( unknown && !force )
            throw InputError( files.primary, unknownText( unknown ) + ", and would be lost; nothing was changed; --force changes it all the same" );
        return;
    }
    if( exist && !( force && begins ) )
        throw unreadable( files, begins ? "; nothing was changed; --force replaces it by a new vault" : "" );
    // What was there at the start of the module is not there any more.
    cry___VaultTryRestore( pb::adopt( pbStoreCreate() ).get() );
}

void tool::VaultChange::save() const
{
    if( !cry___VaultSave() )
        throw InputError( files.primary, "cannot be written" );
}
