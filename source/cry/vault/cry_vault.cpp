#include "vault/cry_vault.hpp"

#include <cry/internal/cry_module.h>
#include <cry/internal/cry_vault.h>
#include <pb/each.hpp>
#include <pb/locks.hpp>
#include <pb/pb_dict.h>
#include <pb/pb_file_lock.h>
#include <pb/pb_module.h>
#include <pb/pb_path_file.h>
#include <pb/pb_runtime.h>
#include <pb/stored.hpp>
#include <string_view>

#include "vault/cry_vault_leftovers.hpp"

static constexpr char   fileType[]           = "CRY_VAULT";
static constexpr PB_INT lockTimeMilliseconds = 10000;

// Held during a save and while a load publishes, so that encoding and writing need no region. A
// load decodes without it: what is released while a monitor is held is not freed before its end.
static PB_MONITOR             *saveMonitor;
static PB_INT transfers        PB_GUARDED_BY( *saveMonitor ); // counts saves and loads
static PB_REGION              *region;
static PB_SIGNAL *updateSignal PB_GUARDED_BY( *region );
static PB_DICT *items          PB_GUARDED_BY( *region );
static bool halted             PB_GUARDED_BY( *region );

namespace
{

// Tells all subscribers. Whoever wants the next change, too, subscribes again.
void signalUpdate() PB_NEEDS( *region )
{
    pbSignalAssert( updateSignal );
    pb::Ref<PB_SIGNAL> old = pb::adopt( std::exchange( updateSignal, pbSignalCreate() ) );
}

// The items; nothing if the vault is halted.
pb::Ref<PB_DICT> itemsNow()
{
    pb::InRegionShared in( region );
    return halted ? pb::Ref<PB_DICT>() : pb::share( items );
}

pb::Ref<PB_STORE> storeOf( PB_DICT *dict )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    if( !dict )
        return store;
    pb::Ref<PB_STORE>  array  = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbDictValuesVector( dict ) );
    for( CRY_VAULT_ITEM *item : pb::each<CRY_VAULT_ITEM>( vector.get() ) )
    {
        pb::Ref<PB_STORE> each = pb::adopt( cryVaultItemStore( item, PB_TRUE ) );
        pbStoreAppendStore( array.handle(), each.get() );
    }
    pbStoreSetStoreCstr( store.handle(), "items", -1, array.get() );
    return store;
}

// Adds the item of a store, if it holds one. A store without a type would abort the restore.
void addItem( PB_DICT **dict, PB_STORE *store )
{
    pb::Ref<PB_STRING> type = pb::adopt( pbStoreValueCstr( store, "type", -1 ) );
    if( !type )
        return;
    pb::Ref<CRY_VAULT_ITEM> item = pb::adopt( cryVaultItemTryRestore( store ) );
    if( !item )
        return;
    pb::Ref<PB_IDENTIFIER> ident = pb::adopt( cryVaultItemIdentifier( item.get() ) );
    pbDictSetIdentifierKey( dict, ident.get(), item.obj() );
}

// Keys are decoded here, so the region is not held.
pb::Ref<PB_DICT> itemsOf( PB_STORE *store )
{
    pb::Ref<PB_DICT>  dict  = pb::adopt( pbDictCreate() );
    pb::Ref<PB_STORE> array = pb::adopt( pbStoreStoreCstr( store, "items", -1 ) );
    for( PB_INT index = 0; array && index < pbStoreLength( array.get() ); index++ )
    {
        pb::Ref<PB_STORE> each = pb::adopt( pbStoreStoreAt( array.get(), index ) );
        if( each )
            addItem( dict.handle(), each.get() );
    }
    return dict;
}

// The paths of the vault's files; null strings if the runtime has no state directory.
struct Paths
{
    pb::Ref<PB_STRING> directory, primary, backup, lock;

    Paths()
    {
        pb::Ref<PB_RUNTIME_PATHS> paths = pb::adopt( pbRuntimePaths() );
        directory                       = pb::adopt( pbRuntimePathsPath( paths.get(), PB_RUNTIME_PATH_STATE ) );
        if( !directory )
            return;
        primary = inDirectory( "cry_vault%lc.qmstore", "" );
        backup  = inDirectory( "cry_vault%lc.qmstore", "-backup" );
        lock    = inDirectory( "cry_vault%lc.lock", "" );
    }

    explicit operator bool() const { return (bool)directory; }

private:
    pb::Ref<PB_STRING> inDirectory( const char *format, const char *insertion )
    {
        pb::Ref<PB_STRING> name = pb::adopt( pbStringCreateFromFormatCstr( format, -1, insertion ) );
        return pb::adopt( pbStringCreateFromFormatCstr( "%s/%s", -1, directory.get(), name.get() ) );
    }
};

// The store of a file that is a vault's; null for any other file. A store without a header is
// taken, too.
pb::Ref<PB_STORE> readFile( PB_STRING *path )
{
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbPathFileReadStore( path, header.handle() ) );
    if( store && header && !pbStoreHeaderIsTypeCstr( header.get(), fileType, -1 ) )
        return {};
    return store;
}

pb::Ref<PB_BUFFER> encode( PB_STORE *store )
{
    pb::Ref<PB_STORE_HEADER> header  = pb::adopt( pbStoreHeaderCreateCstr( fileType, -1 ) );
    pb::Ref<PB_STRING>       version = pb::adopt( pbModuleVersion( cryVaultItemSort()->module ) );
    pbStoreHeaderSetModuleVersion( header.handle(), version.get() );
    pbStoreHeaderGenerateInfo( header.handle() );
    return pb::adopt( pbStoreTryEncode( store, header.get() ) );
}

// The bytes of a file up to the end of its type, which no file but a vault's begins with.
std::string_view beginOf( PB_BUFFER *content )
{
    std::string_view text( (const char *)pbBufferBytes( content ), (size_t)pbBufferLength( content ) );
    return text.substr( 0, text.find( fileType ) + sizeof fileType );
}

// Writes the backup first, if there is a file. So there is always one complete file.
bool writeFiles( const Paths &paths, PB_BUFFER *content )
{
    bool backedUp = pbPathFileExists( paths.primary.get() );
    if( backedUp && !pbPathFileWriteBuffer( paths.backup.get(), content ) )
    {
        pbPathFileDelete( paths.backup.get() );
        return false;
    }
    if( pbPathFileWriteBuffer( paths.primary.get(), content ) )
    {
        pbPathFileDelete( paths.backup.get() );
        return true;
    }
    // The backup is newer than the file, and complete. Without one, the file may be the only copy:
    // it can be there although it was not seen.
    if( backedUp )
        pbPathFileDelete( paths.primary.get() );
    return false;
}

void replace( pb::Ref<PB_DICT> next ) PB_NEEDS( *region ) { pb::Ref<PB_DICT> old = pb::adopt( std::exchange( items, next.take() ) ); }

// Replaces the items, unless the vault is halted; tells the subscribers in both cases.
bool restore( pb::Ref<PB_DICT> next )
{
    pb::InRegion in( region );
    bool         done = !halted;
    if( done )
        replace( std::move( next ) );
    signalUpdate();
    return done;
}

PB_INT transfersNow()
{
    pb::InMonitor in( saveMonitor );
    return transfers;
}

}

CRY_VAULT_ITEM *cryVaultItem( PB_IDENTIFIER *ident )
{
    PB_CHECK( ident );
    pb::InRegionShared in( region );
    return cryVaultItemFrom( pbDictIdentifierKey( items, ident ) );
}

PB_VECTOR *cryVaultItemsVector()
{
    pb::Ref<PB_DICT> now = itemsNow();
    return now ? pbDictValuesVector( now.get() ) : pbVectorCreate();
}

void cryVaultSetItem( CRY_VAULT_ITEM *item )
{
    PB_CHECK( item );
    pb::Ref<PB_IDENTIFIER> ident = pb::adopt( cryVaultItemIdentifier( item ) );
    pb::InRegion           in( region );
    if( halted )
        return;
    pbDictSetIdentifierKey( &items, ident.get(), cryVaultItemObj( item ) );
    signalUpdate();
}

void cryVaultDelItem( PB_IDENTIFIER *ident )
{
    PB_CHECK( ident );
    pb::InRegion in( region );
    if( halted )
        return;
    pbDictDelIdentifierKey( &items, ident );
    signalUpdate();
}

void cryVaultUpdateAddSignalable( PB_SIGNALABLE *sigb )
{
    PB_CHECK( sigb );
    pb::InRegionShared in( region );
    if( !halted )
        pbSignalAddSignalable( updateSignal, sigb );
}

void cryVaultUpdateDelSignalable( PB_SIGNALABLE *sigb )
{
    PB_CHECK( sigb );
    pb::InRegionShared in( region );
    if( !halted )
        pbSignalDelSignalable( updateSignal, sigb );
}

void cry::vault::delSignalableAtAnyTime( PB_SIGNALABLE *sigb )
{
    if( !pb___GateEnter() )
        return;
    cryVaultUpdateDelSignalable( sigb );
    pb___GateLeave();
}

PB_STORE *cry___VaultStore() { return storeOf( itemsNow().get() ).take(); }

PB_BOOL cry___VaultTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    return restore( itemsOf( store ) );
}

PB_BOOL cry___VaultLoad()
{
    for( ;; )
    {
        PB_INT before = transfersNow();
        Paths  paths;
        if( !itemsNow() || !paths )
            return PB_FALSE;
        pb::Ref<PB_STORE> store = readFile( paths.primary.get() );
        if( !store )
            store = readFile( paths.backup.get() );
        if( !store )
            return PB_FALSE;
        pb::Ref<PB_DICT> restored = itemsOf( store.get() );
        pb::InMonitor    in( saveMonitor );
        if( transfers == before )
            return transfers++, restore( std::move( restored ) );
        // Another thread has saved or loaded meanwhile, so this content may be an older one.
    }
}

PB_BOOL cry___VaultSave()
{
    pb::InMonitor    in( saveMonitor );
    Paths            paths;
    pb::Ref<PB_DICT> now = itemsNow();
    if( !now || !paths || !pbPathDirectoryCreate( paths.directory.get() ) )
        return PB_FALSE;
    pb::Ref<PB_FILE_LOCK> lock = pb::adopt( pbFileLockTryCreate( paths.lock.get(), lockTimeMilliseconds, nullptr ) );
    if( !lock )
        return PB_FALSE;
    transfers++;
    pb::Ref<PB_BUFFER> content = encode( storeOf( now.get() ).get() );
    if( !content )
        return PB_FALSE;
    cry::vault::removeLeftovers( paths.directory.get(), beginOf( content.get() ) );
    return writeFiles( paths, content.get() );
}

void cry___VaultStartup() PB_UNCHECKED
{
    saveMonitor  = pbMonitorCreate();
    region       = pbRegionCreate();
    updateSignal = pbSignalCreate();
    items        = pbDictCreate();
    halted       = false;
}

void cry___VaultHalt()
{
    pb::InMonitor saves( saveMonitor );
    pb::InRegion  in( region );
    halted = true;
    replace( pb::adopt( pbDictCreate() ) );
    signalUpdate();
}

void cry___VaultShutdown() PB_UNCHECKED
{
    pb::Field<PB_DICT *>::release( items );
    pb::Field<PB_SIGNAL *>::release( updateSignal );
    pb::Field<PB_REGION *>::release( region );
    pb::Field<PB_MONITOR *>::release( saveMonitor );
}
