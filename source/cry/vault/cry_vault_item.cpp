#include <cry/cry_vault_item.h>

#include <pb/stored.hpp>

struct CRY_VAULT_ITEM : PB_OBJ
{
    PB_IDENTIFIER      *ident;
    CRY_VAULT_ITEM_TYPE type;
    PB_OBJ             *obj;
};

static constexpr auto vaultItemFields = pb::fields<&CRY_VAULT_ITEM::ident, &CRY_VAULT_ITEM::type, &CRY_VAULT_ITEM::obj>;

PB_SORT_DEFINE( cry, VaultItem, CRY_VAULT_ITEM, PB_FREE_FIELDS( CRY_VAULT_ITEM, item, vaultItemFields ) )

static CRY_VAULT_ITEM *create( PB_IDENTIFIER *ident, CRY_VAULT_ITEM_TYPE type, PB_OBJ *obj )
{
    PB_CHECK( ident );
    PB_CHECK( CRY_VAULT_ITEM_TYPE_OK( type ) );
    PB_CHECK( obj );
    CRY_VAULT_ITEM *item = pb::create<CRY_VAULT_ITEM>();
    item->ident          = pb::shareOrNull( ident );
    item->type           = type;
    item->obj            = pb::shareOrNull( obj );
    return item;
}

CRY_VAULT_ITEM *cryVaultItemCreateIdentity( PB_IDENTIFIER *ident, CRY_X509_IDENTITY *identity )
{
    PB_CHECK( identity );
    return create( ident, CRY_VAULT_ITEM_TYPE_IDENTITY, cryX509IdentityObj( identity ) );
}

PB_IDENTIFIER *cryVaultItemIdentifier( CRY_VAULT_ITEM *item ) { return PB_CHECK( item ), pb::shareOrNull( item->ident ); }

CRY_VAULT_ITEM_TYPE cryVaultItemType( CRY_VAULT_ITEM *item ) { return PB_CHECK( item ), item->type; }

PB_BOOL cryVaultItemIsIdentity( CRY_VAULT_ITEM *item ) { return PB_CHECK( item ), item->type == CRY_VAULT_ITEM_TYPE_IDENTITY; }

CRY_X509_IDENTITY *cryVaultItemIdentity( CRY_VAULT_ITEM *item )
{
    return cryVaultItemIsIdentity( item ) ? pb::shareOrNull( cryX509IdentityFrom( item->obj ) ) : nullptr;
}

PB_STORE *cryVaultItemStore( CRY_VAULT_ITEM *item, PB_BOOL includePrivateKey )
{
    PB_CHECK( item );
    PB_CHECK( item->type == CRY_VAULT_ITEM_TYPE_IDENTITY );
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING> ident = pb::adopt( pbIdentifierToString( item->ident ) );
    pb::Ref<PB_STRING> type  = pb::adopt( cryVaultItemTypeToString( item->type ) );
    pb::Ref<PB_STORE>  held  = pb::adopt( cryX509IdentityStore( cryX509IdentityFrom( item->obj ), includePrivateKey ) );
    pbStoreSetValueCstr( store.handle(), "identifier", -1, ident.get() );
    pbStoreSetValueCstr( store.handle(), "type", -1, type.get() );
    pbStoreSetStoreCstr( store.handle(), "identity", -1, held.get() );
    return store.take();
}

CRY_VAULT_ITEM *cryVaultItemTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<PB_STRING>     text  = pb::adopt( pbStoreValueCstr( store, "identifier", -1 ) );
    pb::Ref<PB_IDENTIFIER> ident = pb::adopt( text ? pbIdentifierTryCreateFromString( text.get() ) : nullptr );
    if( !ident )
        return nullptr;
    // A missing type aborts in this call; that is intended.
    pb::Ref<PB_STRING> type = pb::adopt( pbStoreValueCstr( store, "type", -1 ) );
    if( cryVaultItemTypeFromString( type.get() ) != CRY_VAULT_ITEM_TYPE_IDENTITY )
        return nullptr;
    pb::Ref<PB_STORE> held = pb::adopt( pbStoreStoreCstr( store, "identity", -1 ) );
    if( !held )
        return nullptr;
    pb::Ref<CRY_X509_IDENTITY> identity = pb::adopt( cryX509IdentityRestore( held.get() ) );
    PB_CHECK( identity );
    return cryVaultItemCreateIdentity( ident.get(), identity.get() );
}
