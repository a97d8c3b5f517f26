#include "cry/vault/vaults.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

pb::Ref<PB_STORE> stored( const Item &item, PB_BOOL includePrivateKey = PB_TRUE )
{
    return pb::adopt( cryVaultItemStore( item.get(), includePrivateKey ) );
}

Item restored( const pb::Ref<PB_STORE> &store ) { return pb::adopt( cryVaultItemTryRestore( store.get() ) ); }

std::string valueOf( const pb::Ref<PB_STORE> &store, const char *key ) { return text( pb::adopt( pbStoreValueCstr( store.get(), key, -1 ) ) ); }

// The store of an item with another text under a key.
pb::Ref<PB_STORE> with( const char *key, const std::string &value )
{
    pb::Ref<PB_STORE> store = stored( item( "one", 1 ) );
    pbStoreSetValueCstr( store.handle(), key, -1, str( value ).get() );
    return store;
}

pb::Ref<PB_STORE> without( const char *key )
{
    pb::Ref<PB_STORE> store = stored( item( "one", 1 ) );
    pbStoreDelCstr( store.handle(), key, -1 );
    return store;
}

}

TEST( CryVaultItem, KeepsItsIdentifierAndItsIdentity )
{
    pb::Ref<PB_IDENTIFIER>     ident = identifier( "name" );
    pb::Ref<CRY_X509_IDENTITY> held  = identity( 1 );
    Item                       made  = pb::adopt( cryVaultItemCreateIdentity( ident.get(), held.get() ) );
    EXPECT_EQ( pb::adopt( cryVaultItemIdentifier( made.get() ) ).get(), ident.get() );
    EXPECT_EQ( cryVaultItemType( made.get() ), CRY_VAULT_ITEM_TYPE_IDENTITY );
    EXPECT_TRUE( cryVaultItemIsIdentity( made.get() ) );
    EXPECT_EQ( pb::adopt( cryVaultItemIdentity( made.get() ) ).get(), held.get() );
}

TEST( CryVaultItem, AnEditOfTheIdentityDoesNotChangeIt )
{
    pb::Ref<CRY_X509_IDENTITY> held = identity( 1 );
    Item                       made = pb::adopt( cryVaultItemCreateIdentity( identifier( "name" ).get(), held.get() ) );
    cryX509IdentityDelPrivateKey( held.handle() );
    EXPECT_TRUE( cryX509IdentityHasPrivateKey( pb::adopt( cryVaultItemIdentity( made.get() ) ).get() ) );
}

TEST( CryVaultItem, StoreHasIdentifierTypeAndIdentity )
{
    pb::Ref<PB_STORE> store = stored( item( "na-me_1.X", 1 ) );
    EXPECT_FALSE( pbStoreIsArray( store.get() ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 3 );
    const char *keys[] = { "identifier", "type", "identity" };
    for( PB_INT index = 0; index < 3; index++ )
        EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ), keys[index] );
    EXPECT_EQ( valueOf( store, "identifier" ), "na-me_1.X" );
    EXPECT_EQ( valueOf( store, "type" ), "CRY_VAULT_ITEM_TYPE_IDENTITY" );
    for( PB_BOOL includePrivateKey : { PB_TRUE, PB_FALSE } )
    {
        store                    = stored( item( "na-me_1.X", 1 ), includePrivateKey );
        pb::Ref<PB_STORE> held   = pb::adopt( pbStoreStoreCstr( store.get(), "identity", -1 ) );
        pb::Ref<PB_STORE> wanted = pb::adopt( cryX509IdentityStore( identity( 1 ).get(), includePrivateKey ) );
        EXPECT_TRUE( pbStoreEquals( held.get(), wanted.get() ) );
        EXPECT_EQ( pbStoreIndexCstr( held.get(), "privateKey", -1 ) >= 0, (bool)includePrivateKey );
    }
}

TEST( CryVaultItem, ComesBackFromItsStore )
{
    Item back = restored( stored( item( "name", 2 ) ) );
    ASSERT_TRUE( back );
    EXPECT_EQ( nameOf( back.get() ), "name" );
    EXPECT_TRUE( cryVaultItemIsIdentity( back.get() ) );
    EXPECT_TRUE( cryX509IdentityEquals( pb::adopt( cryVaultItemIdentity( back.get() ) ).get(), identity( 2 ).get() ) );
}

TEST( CryVaultItem, AnIdentityThatHoldsNothingComesBack )
{
    pb::Ref<PB_STORE> store = stored( item( "name", 1 ) );
    pbStoreSetStoreCstr( store.handle(), "identity", -1, pb::adopt( pbStoreCreate() ).get() );
    Item back = restored( store );
    ASSERT_TRUE( back );
    EXPECT_TRUE( cryX509IdentityEquals( pb::adopt( cryVaultItemIdentity( back.get() ) ).get(), pb::adopt( cryX509IdentityCreate() ).get() ) );
}

TEST( CryVaultItem, StoresThatAreNotComplete )
{
    ASSERT_TRUE( restored( with( "identifier", "other" ) ) );
    EXPECT_FALSE( restored( without( "identifier" ) ) );
    EXPECT_FALSE( restored( with( "identifier", "" ) ) );
    EXPECT_FALSE( restored( with( "identifier", "two words" ) ) );
    EXPECT_FALSE( restored( with( "type", "CRY_VAULT_ITEM_TYPE_OTHER" ) ) );
    EXPECT_FALSE( restored( with( "type", "cry_vault_item_type_identity" ) ) );
    EXPECT_FALSE( restored( with( "type", "" ) ) );
    EXPECT_FALSE( restored( without( "identity" ) ) );
    EXPECT_FALSE( restored( with( "identity", "text" ) ) );
    EXPECT_FALSE( restored( pb::adopt( pbStoreCreate() ) ) );
    EXPECT_FALSE( restored( pb::adopt( pbStoreCreateArray() ) ) );
}

TEST( CryVaultItem, AMissingTypeIsNotLookedAtIfTheIdentifierIsWrong )
{
    pb::Ref<PB_STORE> store = without( "type" );
    pbStoreSetValueCstr( store.handle(), "identifier", -1, str( "two words" ).get() );
    EXPECT_FALSE( restored( store ) );
}

TEST( CryVaultItem, EqualsOnlyItself )
{
    Item one = item( "name", 1 ), same = item( "name", 1 );
    EXPECT_TRUE( cryVaultItemEquals( one.get(), one.get() ) );
    EXPECT_FALSE( cryVaultItemEquals( one.get(), same.get() ) );
    EXPECT_EQ( text( pb::adopt( cryVaultItemToString( one.get() ) ) ).rfind( "CRY_VAULT_ITEM(0x", 0 ), 0u );
}
