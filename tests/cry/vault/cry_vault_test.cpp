#include "vault/cry_vault.hpp"

#include "cry/vault/vaults.hpp"
#include "pb/watching_allocator.hpp"
#include "support/environment.hpp"
#include "support/files.hpp"

#include <cry/cry_module.h>
#include <sys/stat.h>
#include <thread>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// Whether the vault told of a change since the object was made.
class Subscriber
{
public:
    Subscriber() { cryVaultUpdateAddSignalable( signalable.get() ); }
    ~Subscriber() { cry::vault::delSignalableAtAnyTime( signalable.get() ); }
    bool told() const { return pbSignalAsserted( signal.get() ); }

    pb::Ref<PB_SIGNAL>     signal     = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
};

pb::Ref<PB_STORE> storeOf( const std::string &name, int number ) { return pb::adopt( cryVaultItemStore( item( name, number ).get(), PB_TRUE ) ); }

// The store of a vault with these entries.
pb::Ref<PB_STORE> vaultOf( const std::vector<pb::Ref<PB_STORE>> &entries )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() ), array = pb::adopt( pbStoreCreateArray() );
    for( const pb::Ref<PB_STORE> &entry : entries )
        pbStoreAppendStore( array.handle(), entry.get() );
    pbStoreSetStoreCstr( store.handle(), "items", -1, array.get() );
    return store;
}

// The number of the identity that is filed under a name; -1 if it is none of the first three.
int numberOf( const std::string &name )
{
    Item found = pb::adopt( cryVaultItem( identifier( name ).get() ) );
    for( int number = 0; found && number < 3; number++ )
    {
        if( cryX509IdentityEquals( pb::adopt( cryVaultItemIdentity( found.get() ) ).get(), identity( number ).get() ) )
            return number;
    }
    return -1;
}

class CryVault : public testing::Test
{
protected:
    void TearDown() override { emptyVault(); }
};

// After this, the family must be started again.
class CryVaultHalted : public testing::Test
{
protected:
    void SetUp() override
    {
        setItem( "name" );
        cry___VaultHalt();
    }

    void TearDown() override
    {
        pbRuntimeStop();
        startFamily();
    }
};

// The family with a state directory that is not made yet.
class CryVaultFile : public testing::Test
{
protected:
    void SetUp() override
    {
        pbRuntimeStop();
        startFamily( directory );
    }

    void TearDown() override
    {
        pbRuntimeStop();
        startFamily();
    }

    Names files() const
    {
        Names names;
        for( const auto &entry : fs::directory_iterator( directory ) )
            names.push_back( entry.path().filename() );
        std::sort( names.begin(), names.end() );
        return names;
    }

    static unsigned modeOf( const fs::path &path )
    {
        struct stat status;
        return stat( path.c_str(), &status ) == 0 ? status.st_mode & 07777u : 0;
    }

    // The text of a file with one item, as it may be on the disk.
    static std::string fileOf( const char *type, const std::string &name )
    {
        pb::Ref<PB_STORE_HEADER> header = pb::adopt( type ? pbStoreHeaderCreateCstr( type, -1 ) : nullptr );
        return bytes( pb::adopt( pbStoreEncode( vaultOf( { storeOf( name, 1 ) } ).get(), header.get() ) ) );
    }

    void makeDirectory() const { fs::create_directories( directory ); }

    TemporaryFolder folder;
    fs::path directory = folder.path / "deep" / "state", primary = directory / "cry_vault.qmstore", backup = directory / "cry_vault-backup.qmstore",
             lock = directory / "cry_vault.lock";
};

const Names first = { "cry_vault.lock", "cry_vault.qmstore" };

}

TEST_F( CryVault, IsEmptyAtFirst )
{
    EXPECT_EQ( filed(), Names{} );
    EXPECT_EQ( cryVaultItem( identifier( "name" ).get() ), nullptr );
}

TEST_F( CryVault, GivesTheItemOfAnIdentifier )
{
    Item one = item( "one", 1 );
    cryVaultSetItem( one.get() );
    setItem( "two", 2 );
    EXPECT_EQ( pb::adopt( cryVaultItem( identifier( "one" ).get() ) ).get(), one.get() );
    EXPECT_EQ( cryVaultItem( identifier( "One" ).get() ), nullptr );
    cryVaultDelItem( identifier( "one" ).get() );
    EXPECT_EQ( cryVaultItem( identifier( "one" ).get() ), nullptr );
    EXPECT_EQ( numberOf( "two" ), 2 );
}

TEST_F( CryVault, ListsTheItemsInTheOrderOfTheirIdentifiers )
{
    for( const char *name : { "b", "a", "C", "10", "9" } )
        setItem( name );
    EXPECT_EQ( filed(), ( Names{ "10", "9", "C", "a", "b" } ) );
}

TEST_F( CryVault, AListThatWasGivenDoesNotChange )
{
    setItem( "a" );
    pb::Ref<PB_VECTOR> before = pb::adopt( cryVaultItemsVector() );
    setItem( "b" );
    cryVaultDelItem( identifier( "a" ).get() );
    EXPECT_EQ( pbVectorLength( before.get() ), 1 );
    EXPECT_EQ( filed(), Names{ "b" } );
}

TEST_F( CryVault, AnItemReplacesTheOneWithItsIdentifierAndThatIsToldOnce )
{
    setItem( "name", 1 );
    Subscriber before;
    setItem( "name", 2 );
    Subscriber after;
    EXPECT_EQ( filed(), Names{ "name" } );
    EXPECT_EQ( numberOf( "name" ), 2 );
    EXPECT_TRUE( before.told() );
    EXPECT_FALSE( after.told() );
}

TEST_F( CryVault, ADeletionIsToldEvenIfNothingIsFiled )
{
    Subscriber before;
    cryVaultDelItem( identifier( "name" ).get() );
    EXPECT_TRUE( before.told() );
    setItem( "name" );
    Subscriber filedOne;
    cryVaultDelItem( identifier( "name" ).get() );
    EXPECT_TRUE( filedOne.told() );
}

TEST_F( CryVault, ASubscriberIsToldOfTheNextChangeOnly )
{
    pb::Ref<PB_SIGNAL>     signal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> sigb   = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
    PB_INT                 alone  = pbObjLiveCount();
    cryVaultUpdateAddSignalable( sigb.get() );
    cryVaultUpdateAddSignalable( sigb.get() );
    EXPECT_FALSE( pbSignalAsserted( signal.get() ) );
    cryVaultDelItem( identifier( "name" ).get() );
    EXPECT_TRUE( pbSignalAsserted( signal.get() ) );
    // The vault does not hold it any more.
    EXPECT_EQ( pbObjLiveCount(), alone );
    sigb = {};
    EXPECT_EQ( pbObjLiveCount(), alone - 1 );
}

TEST_F( CryVault, ASubscriptionCanBeTakenBack )
{
    Subscriber stays, leaves, leavesLate;
    cryVaultUpdateDelSignalable( leaves.signalable.get() );
    cryVaultUpdateDelSignalable( leaves.signalable.get() );
    cry::vault::delSignalableAtAnyTime( leavesLate.signalable.get() );
    setItem( "name" );
    EXPECT_TRUE( stays.told() );
    EXPECT_FALSE( leaves.told() );
    EXPECT_FALSE( leavesLate.told() );
}

TEST_F( CryVault, ASubscriptionMayBeTakenBackAfterTheShutDown )
{
    Subscriber subscriber;
    pbRuntimeStop();
    EXPECT_TRUE( subscriber.told() ) << "the vault was emptied";
    cry::vault::delSignalableAtAnyTime( subscriber.signalable.get() );
    startFamily();
}

TEST_F( CryVault, StoreHasAllItemsWithTheirKeys )
{
    setItem( "two", 2 );
    setItem( "one", 1 );
    pb::Ref<PB_STORE> store = pb::adopt( cry___VaultStore() );
    EXPECT_EQ( pbStoreLength( store.get() ), 1 );
    EXPECT_TRUE( pbStoreEquals( store.get(), vaultOf( { storeOf( "one", 1 ), storeOf( "two", 2 ) } ).get() ) );
    emptyVault();
    EXPECT_TRUE( pbStoreEquals( pb::adopt( cry___VaultStore() ).get(), vaultOf( {} ).get() ) );
}

TEST_F( CryVault, ARestoreReplacesAllItemsAndIsToldOnce )
{
    setItem( "old" );
    Subscriber before;
    EXPECT_TRUE( restore( vaultOf( { storeOf( "b", 2 ), storeOf( "a", 1 ) } ) ) );
    Subscriber after;
    EXPECT_EQ( filed(), ( Names{ "a", "b" } ) );
    EXPECT_EQ( numberOf( "a" ), 1 );
    EXPECT_EQ( numberOf( "b" ), 2 );
    EXPECT_TRUE( before.told() );
    EXPECT_FALSE( after.told() );
}

TEST_F( CryVault, ARestoreFromAStoreWithoutItemsEmptiesTheVault )
{
    pb::Ref<PB_STORE> text = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( text.handle(), "items", -1, str( "text" ).get() );
    for( const pb::Ref<PB_STORE> &store : { pb::adopt( pbStoreCreate() ), pb::adopt( pbStoreCreateArray() ), text, vaultOf( {} ) } )
    {
        setItem( "old" );
        EXPECT_TRUE( restore( store ) );
        EXPECT_EQ( filed(), Names{} );
    }
}

TEST_F( CryVault, ARestoreSkipsEntriesThatCannotBeRestored )
{
    pb::Ref<PB_STORE> noType = storeOf( "noType", 1 ), noIdentity = storeOf( "noIdentity", 1 ), noIdentifier = storeOf( "noIdentifier", 1 ),
                      otherType = storeOf( "otherType", 1 ), typeIsStore = storeOf( "typeIsStore", 1 );
    pbStoreDelCstr( noType.handle(), "type", -1 );
    pbStoreDelCstr( noIdentity.handle(), "identity", -1 );
    pbStoreDelCstr( noIdentifier.handle(), "identifier", -1 );
    pbStoreSetValueCstr( otherType.handle(), "type", -1, str( "OTHER" ).get() );
    pbStoreSetStoreCstr( typeIsStore.handle(), "type", -1, pb::adopt( pbStoreCreate() ).get() );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() ), array = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( array.handle(), str( "no store" ).get() );
    pbStoreAppendIntValue( array.handle(), 7 );
    pbStoreAppendBoolValue( array.handle(), PB_TRUE );
    pbStoreAppendValueNull( array.handle() );
    for( const pb::Ref<PB_STORE> &entry : { pb::adopt( pbStoreCreate() ), pb::adopt( pbStoreCreateArray() ), noType, storeOf( "good", 1 ), noIdentity,
             noIdentifier, otherType, typeIsStore, storeOf( "last", 2 ) } )
        pbStoreAppendStore( array.handle(), entry.get() );
    pbStoreSetStoreCstr( store.handle(), "items", -1, array.get() );
    EXPECT_TRUE( restore( store ) );
    EXPECT_EQ( filed(), ( Names{ "good", "last" } ) );
}

TEST_F( CryVault, OfTwoEntriesWithOneIdentifierTheLaterOneCounts )
{
    EXPECT_TRUE( restore( vaultOf( { storeOf( "name", 1 ), storeOf( "other", 0 ), storeOf( "name", 2 ) } ) ) );
    EXPECT_EQ( filed(), ( Names{ "name", "other" } ) );
    EXPECT_EQ( numberOf( "name" ), 2 );
}

TEST_F( CryVault, WithoutAStateDirectoryNothingIsReadOrWritten )
{
    TemporaryFolder folder;
    fs::path        before = fs::current_path();
    fs::current_path( folder.path );
    setItem( "name", 1 );
    Subscriber subscriber;
    EXPECT_FALSE( cry___VaultSave() );
    EXPECT_FALSE( cry___VaultLoad() );
    fs::current_path( before );
    EXPECT_TRUE( fs::is_empty( folder.path ) );
    EXPECT_EQ( filed(), Names{ "name" } );
    EXPECT_FALSE( subscriber.told() );
}

TEST_F( CryVaultHalted, IsEmptyAndRefusesChanges )
{
    EXPECT_EQ( filed(), Names{} );
    setItem( "other" );
    cryVaultDelItem( identifier( "name" ).get() );
    EXPECT_FALSE( restore( vaultOf( { storeOf( "other", 1 ) } ) ) );
    EXPECT_EQ( filed(), Names{} );
    EXPECT_EQ( cryVaultItem( identifier( "other" ).get() ), nullptr );
    EXPECT_TRUE( pbStoreEquals( pb::adopt( cry___VaultStore() ).get(), pb::adopt( pbStoreCreate() ).get() ) );
}

TEST_F( CryVaultHalted, TakesNoSubscriptions )
{
    Subscriber             subscriber;
    pb::Ref<PB_SIGNALABLE> sigb  = pb::adopt( pbSignalableCreateSignal( subscriber.signal.get() ) );
    PB_INT                 alone = pbObjLiveCount();
    cryVaultUpdateAddSignalable( sigb.get() );
    cryVaultUpdateDelSignalable( sigb.get() );
    setItem( "name" );
    restore( vaultOf( {} ) );
    EXPECT_FALSE( subscriber.told() );
    sigb = {};
    EXPECT_EQ( pbObjLiveCount(), alone - 1 );
}

TEST( CryVaultHalt, IsToldToTheSubscribers )
{
    Subscriber subscriber;
    cry___VaultHalt();
    EXPECT_TRUE( subscriber.told() );
    pbRuntimeStop();
    startFamily();
}

TEST_F( CryVaultFile, ASavedVaultIsThereAfterTheNextStart )
{
    setItem( "one", 1 );
    setItem( "two", 2 );
    std::string before = content();
    EXPECT_TRUE( cry___VaultSave() );
    pbRuntimeStop();
    startFamily( directory );
    EXPECT_EQ( content(), before );
    EXPECT_EQ( numberOf( "two" ), 2 );
    EXPECT_EQ( files(), first );
}

TEST_F( CryVaultFile, AnEmptyVaultIsSavedToo )
{
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    emptyVault();
    EXPECT_TRUE( cry___VaultSave() );
    setItem( "other" );
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{} );
}

TEST_F( CryVaultFile, ChangesThatAreNotSavedAreLostWithALoad )
{
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    setItem( "two" );
    Subscriber subscriber;
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_TRUE( subscriber.told() );
    EXPECT_EQ( filed(), Names{ "one" } );
}

TEST_F( CryVaultFile, ALoadDoesNotBringBackWhatWasThereBeforeASave )
{
    for( int number = 0; number < 20; number++ )
        setItem( "item-" + std::to_string( number ), number );
    ASSERT_TRUE( cry___VaultSave() );
    pb::Ref<PB_STRING> path = str( primary.string() );
    for( int round = 0; round < 60; round++ )
    {
        setItem( "round-" + std::to_string( round ) );
        std::thread loads( [] { cry___VaultLoad(); } );
        std::this_thread::sleep_for( std::chrono::microseconds( round * 50 ) );
        EXPECT_TRUE( cry___VaultSave() );
        loads.join();
        pb::Ref<PB_STORE> table = pb::adopt( cry___VaultStore() );
        pb::Ref<PB_STORE> file  = pb::adopt( pbPathFileReadStore( path.get(), nullptr ) );
        ASSERT_TRUE( pbStoreEquals( table.get(), file.get() ) ) << "in round " << round;
    }
}

TEST_F( CryVaultFile, OnlyTheOwnerMayUseTheDirectoryAndTheFiles )
{
    mode_t mask = umask( 0 );
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_EQ( modeOf( folder.path / "deep" ), 0700u );
    EXPECT_EQ( modeOf( directory ), 0700u );
    for( const fs::path &file : { primary, lock } )
        EXPECT_EQ( modeOf( file ), 0600u ) << file;
    // A file that others may read does not stay so. A directory does: somebody else made it.
    ASSERT_EQ( chmod( primary.c_str(), 0644 ), 0 );
    ASSERT_EQ( chmod( directory.c_str(), 0755 ), 0 );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_EQ( modeOf( primary ), 0600u );
    EXPECT_EQ( modeOf( directory ), 0755u );
    // The backup is left if the file itself cannot be written.
    fs::remove( primary );
    fs::create_directory( primary );
    write( backup, "old" );
    ASSERT_EQ( chmod( backup.c_str(), 0644 ), 0 );
    EXPECT_FALSE( cry___VaultSave() );
    EXPECT_EQ( modeOf( backup ), 0600u );
    umask( mask );
}

TEST_F( CryVaultFile, FileIsAStoreOfItsTypeWithVersionAndInfo )
{
    setItem( "one", 1 );
    EXPECT_TRUE( cry___VaultSave() );
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbPathFileReadStore( str( primary.string() ).get(), header.handle() ) );
    ASSERT_TRUE( header );
    EXPECT_EQ( text( pb::adopt( pbStoreHeaderType( header.get() ) ) ), "CRY_VAULT" );
    EXPECT_EQ( text( pb::adopt( pbStoreHeaderModuleVersion( header.get() ) ) ), text( pb::adopt( pbModuleVersion( cryModule() ) ) ) );
    EXPECT_TRUE( pb::adopt( pbStoreHeaderInfo( header.get() ) ) );
    EXPECT_TRUE( pbStoreEquals( store.get(), vaultOf( { storeOf( "one", 1 ) } ).get() ) );
}

TEST_F( CryVaultFile, AFirstSaveWritesOnlyTheFile )
{
    makeDirectory();
    // Nothing can be written in this place.
    fs::create_directory( backup );
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_TRUE( fs::is_regular_file( primary ) );
}

TEST_F( CryVaultFile, ASaveOverAFileWritesTheBackupFirst )
{
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    std::string before = read( primary );
    fs::create_directory( backup );
    setItem( "two" );
    EXPECT_FALSE( cry___VaultSave() );
    EXPECT_EQ( read( primary ), before );
    fs::remove( backup );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_EQ( files(), first );
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), ( Names{ "one", "two" } ) );
}

TEST_F( CryVaultFile, ASaveRemovesAnOldBackup )
{
    makeDirectory();
    setItem( "one" );
    for( int round = 0; round < 2; round++ )
    {
        write( backup, fileOf( "CRY_VAULT", "old" ) );
        EXPECT_TRUE( cry___VaultSave() );
        EXPECT_EQ( files(), first ) << round;
    }
}

TEST_F( CryVaultFile, IfTheFileCannotBeWrittenTheBackupHasEverything )
{
    makeDirectory();
    fs::create_directory( primary );
    write( primary / "child", "" );
    setItem( "one" );
    EXPECT_FALSE( cry___VaultSave() );
    emptyVault();
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "one" } );
}

TEST_F( CryVaultFile, ASaveFailsIfThereCanBeNoDirectory )
{
    write( folder.path / "deep", "a file" );
    setItem( "one" );
    EXPECT_FALSE( cry___VaultSave() );
    EXPECT_FALSE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "one" } );
}

TEST_F( CryVaultFile, WithoutFilesALoadLeavesTheVaultAsItIs )
{
    setItem( "one" );
    Subscriber subscriber;
    EXPECT_FALSE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "one" } );
    EXPECT_FALSE( subscriber.told() );
    EXPECT_FALSE( fs::exists( directory ) );
}

TEST_F( CryVaultFile, AFileWithoutAHeaderIsTaken )
{
    makeDirectory();
    write( primary, fileOf( nullptr, "plain" ) );
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "plain" } );
    fs::rename( primary, backup );
    emptyVault();
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "plain" } );
}

TEST_F( CryVaultFile, TheFileComesBeforeTheBackup )
{
    makeDirectory();
    write( primary, fileOf( "CRY_VAULT", "file" ) );
    write( backup, fileOf( "CRY_VAULT", "backup" ) );
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "file" } );
}

TEST_F( CryVaultFile, TheBackupIsTakenIfTheFileCannotBeUsed )
{
    makeDirectory();
    write( backup, fileOf( "CRY_VAULT", "backup" ) );
    std::string good = fileOf( "CRY_VAULT", "file" );
    for( const std::string &bad : { fileOf( "CRY_OTHER", "file" ), good.substr( 0, good.size() / 2 ), std::string(), std::string( "text" ) } )
    {
        emptyVault();
        write( primary, bad );
        EXPECT_TRUE( cry___VaultLoad() );
        EXPECT_EQ( filed(), Names{ "backup" } );
    }
    fs::remove( primary );
    emptyVault();
    EXPECT_TRUE( cry___VaultLoad() );
    EXPECT_EQ( filed(), Names{ "backup" } );
}

TEST_F( CryVaultFile, IfNeitherCanBeUsedTheVaultStaysAsItIs )
{
    makeDirectory();
    setItem( "one" );
    Subscriber subscriber;
    for( const std::string &bad : { fileOf( "CRY_OTHER", "other" ), std::string( "text" ) } )
    {
        write( backup, bad );
        EXPECT_FALSE( cry___VaultLoad() );
        write( primary, fileOf( "CRY_OTHER", "other" ) );
        EXPECT_FALSE( cry___VaultLoad() );
        fs::remove( primary );
    }
    EXPECT_EQ( filed(), Names{ "one" } );
    EXPECT_FALSE( subscriber.told() );
    // The next start begins with an empty vault.
    pbRuntimeStop();
    startFamily( directory );
    EXPECT_EQ( filed(), Names{} );
}

TEST_F( CryVaultFile, AHaltedVaultIsNeitherSavedNorLoaded )
{
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
    std::string before = read( primary );
    cry___VaultHalt();
    EXPECT_FALSE( cry___VaultSave() );
    EXPECT_FALSE( cry___VaultLoad() );
    EXPECT_EQ( read( primary ), before );
    EXPECT_EQ( filed(), Names{} );
}

TEST_F( CryVaultFile, ThisProcessMaySaveWhileItHoldsTheLock )
{
    makeDirectory();
    pb::Ref<PB_FILE_LOCK> held = pb::adopt( pbFileLockTryCreate( str( lock.string() ).get(), 0, nullptr ) );
    ASSERT_TRUE( held );
    setItem( "one" );
    EXPECT_TRUE( cry___VaultSave() );
}

using CryVaultWatched = WatchedMemory;

TEST_F( CryVaultWatched, LeavesNoKeyBehind )
{
    // The text of this key is one line. The certificate shares nothing with its second half.
    Pkey                     own    = key( KeyKind::ed25519, 3 );
    Cert                     cert   = makeCertificate( { .subject = "CN=watched", .subjectKey = own } );
    std::string              pkcs8  = pkcs8Text( own.get() );
    size_t                   begin  = pkcs8.find( '\n' ) + 1;
    std::string              secret = pkcs8.substr( begin + 24, pkcs8.find( '\n', begin ) - begin - 24 );
    std::vector<std::string> secrets{ secret };
    EXPECT_EQ( secret.size(), 40u );
    unsigned char raw[32];
    size_t        length = sizeof raw;
    ASSERT_EQ( EVP_PKEY_get_raw_private_key( own.get(), raw, &length ), 1 );
    secrets.emplace_back( (const char *)raw, length );
    TemporaryFolder folder;
    startFamily( folder.path );
    {
        pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
        cryX509IdentitySetPrivateKey( ident.handle(), pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( own.get() ) ).get() );
        cryX509IdentitySetCertificate( ident.handle(), certificate( cert ).get() );
        WatchingAllocator::watchFor( secrets );
        for( const char *name : { "one", "two" } )
            cryVaultSetItem( pb::adopt( cryVaultItemCreateIdentity( identifier( name ).get(), ident.get() ) ).get() );
    }
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_NE( read( folder.path / "cry_vault.qmstore" ).find( secret ), std::string::npos );
    EXPECT_EQ( leaks(), 0 ) << "a save";
    pbRuntimeStop();
    startFamily( folder.path );
    EXPECT_EQ( filed().size(), 2u );
    EXPECT_EQ( leaks(), 0 ) << "a load at the start";
    // A file that is refused at its end, and one of another type.
    std::string whole = read( folder.path / "cry_vault.qmstore" );
    write( folder.path / "cry_vault.qmstore", whole + "x" );
    EXPECT_FALSE( cry___VaultLoad() );
    size_t type = whole.find( "CRY_VAULT" );
    write( folder.path / "cry_vault.qmstore", whole.replace( type, 9, "CRY_OTHER" ) );
    EXPECT_FALSE( cry___VaultLoad() );
    EXPECT_EQ( leaks(), 0 ) << "a file that is refused";
    pbRuntimeStop();
    EXPECT_EQ( leaks(), 0 ) << "the stop";
    // The watch itself works.
    str( secret );
    EXPECT_GT( leaks(), 0 );
}
