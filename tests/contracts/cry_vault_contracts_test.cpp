#include "cry/vault/vaults.hpp"
#include "support/standard_functions.hpp"

#include <pb/sort.hpp>

using namespace support;

static constexpr char file[]     = "source/cry/vault/cry_vault.cpp";
static constexpr char itemFile[] = "source/cry/vault/cry_vault_item.cpp";

TEST( CryVaultContracts, Items )
{
    Item one = item( "name", 1 );
    EXPECT_STANDARD_CHECKS( itemFile, cry, VaultItem, CRY_VAULT_ITEM, "item", one.get() );
    EXPECT_ABORT( itemFile, "identity", cryVaultItemCreateIdentity( identifier( "name" ).get(), nullptr ) );
    EXPECT_ABORT( itemFile, "identity", cryVaultItemCreateIdentity( nullptr, nullptr ) );
    EXPECT_ABORT( itemFile, "ident", cryVaultItemCreateIdentity( nullptr, identity( 1 ).get() ) );
    EXPECT_ABORT( itemFile, "item", cryVaultItemIdentifier( nullptr ) );
    EXPECT_ABORT( itemFile, "item", cryVaultItemType( nullptr ) );
    EXPECT_ABORT( itemFile, "item", cryVaultItemIsIdentity( nullptr ) );
    EXPECT_ABORT( itemFile, "item", cryVaultItemIdentity( nullptr ) );
    EXPECT_ABORT( itemFile, "item", cryVaultItemStore( nullptr, PB_TRUE ) );
    EXPECT_ABORT( itemFile, "store", cryVaultItemTryRestore( nullptr ) );
}

TEST( CryVaultContracts, AnItemStoreWithoutAType )
{
    pb::Ref<PB_STORE> store = pb::adopt( cryVaultItemStore( item( "name", 1 ).get(), PB_TRUE ) );
    pbStoreDelCstr( store.handle(), "type", -1 );
    EXPECT_ABORT( "source/cry/vault/cry_vault_item_type.cpp", "pbs", cryVaultItemTryRestore( store.get() ) );
    pbStoreSetStoreCstr( store.handle(), "type", -1, pb::adopt( pbStoreCreate() ).get() );
    EXPECT_ABORT( "source/cry/vault/cry_vault_item_type.cpp", "pbs", cryVaultItemTryRestore( store.get() ) );
}

TEST( CryVaultContracts, TheVault )
{
    EXPECT_ABORT( file, "ident", cryVaultItem( nullptr ) );
    EXPECT_ABORT( file, "item", cryVaultSetItem( nullptr ) );
    EXPECT_ABORT( file, "ident", cryVaultDelItem( nullptr ) );
    EXPECT_ABORT( file, "sigb", cryVaultUpdateAddSignalable( nullptr ) );
    EXPECT_ABORT( file, "sigb", cryVaultUpdateDelSignalable( nullptr ) );
    EXPECT_ABORT( file, "store", cry___VaultTryRestore( nullptr ) );
    // The checks are made outside the vault's locks, so it can still be used.
    setItem( "name" );
    EXPECT_EQ( filed(), Names{ "name" } );
    emptyVault();
}
