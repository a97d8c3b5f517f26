#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <cstring>
#include <string_view>
#include <unistr.h>
#include <unordered_map>
#include <vector>

namespace
{

enum class Kind : PB_INT
{
    null,
    boolean,
    integer,
    string,
    store
};

struct Entry
{
    pb::Ref<PB_STRING> key; // none in an array store
    Kind               kind   = Kind::null;
    PB_INT             number = 0;
    pb::Ref<PB_OBJ>    object;
};

std::string_view viewOf( PB_STRING *str )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( str, &length );
    return { text, (size_t)length };
}

// The entries in order, and where each key stands.
struct Content
{
    std::vector<Entry>                           entries;
    std::unordered_map<std::string_view, size_t> places;

    Content() = default;
    Content( const Content &other ) : entries( other.entries ) { rebuild(); }

    void rebuild()
    {
        places.clear();
        for( size_t index = 0; index < entries.size(); index++ )
        {
            if( entries[index].key )
                places.emplace( viewOf( entries[index].key.get() ), index );
        }
    }
};

}

struct PB_STORE : PB_OBJ
{
    PB_BOOL  array;
    Content *content;
};

static void freeStore( PB_STORE *store )
{
    PB_CHECK( store );
    delete store->content;
    pb::setPoison( store->content );
}

static PB_INT compareEntries( const Entry &a, const Entry &b )
{
    if( PB_INT order = pbObjCompare( a.key.obj(), b.key.obj() ) )
        return order;
    if( a.kind != b.kind )
        return a.kind < b.kind ? -1 : 1;
    if( a.number != b.number )
        return a.number < b.number ? -1 : 1;
    return pbObjCompare( a.object.get(), b.object.get() );
}

static PB_INT compareStore( PB_STORE *storeA, PB_STORE *storeB )
{
    PB_CHECK( storeA );
    PB_CHECK( storeB );
    if( storeA->array != storeB->array )
        return storeA->array ? 1 : -1;
    const std::vector<Entry> &a = storeA->content->entries;
    const std::vector<Entry> &b = storeB->content->entries;
    for( size_t index = 0; index < a.size() && index < b.size(); index++ )
    {
        if( PB_INT order = compareEntries( a[index], b[index] ) )
            return order;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size();
}

PB_SORT_DEFINE( pb, Store, PB_STORE, .free = pb::slot<freeStore>, .compare = pb::slot<compareStore> )

static PB_STORE *createEmpty( PB_BOOL array )
{
    PB_STORE *store = pb::create<PB_STORE>();
    store->array    = array;
    store->content  = new Content;
    return store;
}

static Content &writable( PB_STORE **store ) { return *pb::makeWritable( store, pbStoreCreateFrom )->content; }

static Entry entryOf( PB_STRING *value ) { return { {}, Kind::string, 0, pb::share( pbStringObj( value ) ) }; }
static Entry entryOf( PB_STORE *value ) { return { {}, Kind::store, 0, pb::share( pbStoreObj( value ) ) }; }

// A key as it is stored: valid UTF-8.
struct Key
{
    pb::Ref<PB_STRING> str; // made only where the text is malformed
    std::string_view   text;
};

static Key keyOf( const char *key, PB_INT length, pb::Site site = pb::Site::here() )
{
    PB_CHECK_AT( site, key );
    PB_CHECK_AT( site, length >= -1 );
    std::string_view text( key, length < 0 ? std::strlen( key ) : (size_t)length );
    if( !u8_check( (const uint8_t *)text.data(), text.size() ) )
        return { {}, text };
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCstr( text.data(), (PB_INT)text.size() ) );
    return { str, viewOf( str.get() ) };
}

static const Entry *entryUnder( PB_STORE *store, const Key &key )
{
    auto found = store->content->places.find( key.text );
    return found == store->content->places.end() ? nullptr : &store->content->entries[found->second];
}

static void append( PB_STORE **store, Entry entry ) { writable( store ).entries.push_back( std::move( entry ) ); }

static void set( PB_STORE **store, const Key &key, Entry entry )
{
    Content &content = writable( store );
    auto     found   = content.places.find( key.text );
    if( found != content.places.end() )
    {
        entry.key                      = content.entries[found->second].key;
        content.entries[found->second] = std::move( entry );
        return;
    }
    entry.key = pb::adopt( pbStringCreateFromCstr( key.text.data(), (PB_INT)key.text.size() ) );
    content.places.emplace( viewOf( entry.key.get() ), content.entries.size() );
    content.entries.push_back( std::move( entry ) );
}

PB_STORE *pbStoreCreate() { return createEmpty( PB_FALSE ); }

PB_STORE *pbStoreCreateArray() { return createEmpty( PB_TRUE ); }

PB_STORE *pbStoreCreateFrom( PB_STORE *source )
{
    PB_CHECK( source );
    PB_STORE *store = pb::create<PB_STORE>();
    store->array    = source->array;
    store->content  = new Content( *source->content );
    return store;
}

PB_BOOL pbStoreIsArray( PB_STORE *store )
{
    PB_CHECK( store );
    return store->array;
}

PB_INT pbStoreLength( PB_STORE *store )
{
    PB_CHECK( store );
    return (PB_INT)store->content->entries.size();
}

// The entry at an index, for the exported function that names the index.
static const Entry &entryAt( PB_STORE *store, PB_INT index, pb::Site site = pb::Site::here() )
{
    PB_CHECK_AT( site, store );
    PB_CHECK_AT( site, index >= 0 );
    PB_CHECK_AT( site, index < pbStoreLength( store ) );
    return store->content->entries[(size_t)index];
}

static PB_STRING *stringIn( const Entry *entry )
{
    return entry && entry->kind == Kind::string ? pb::shareOrNull( pbStringFrom( entry->object.get() ) ) : nullptr;
}

static PB_STORE *storeIn( const Entry *entry )
{
    return entry && entry->kind == Kind::store ? pb::shareOrNull( pbStoreFrom( entry->object.get() ) ) : nullptr;
}

template<class Number>
static PB_BOOL numberIn( const Entry *entry, Kind kind, Number *value )
{
    if( !entry || entry->kind != kind )
        return PB_FALSE;
    *value = (Number)entry->number;
    return PB_TRUE;
}

PB_STRING *pbStoreKeyAt( PB_STORE *store, PB_INT index ) { return pb::shareOrNull( entryAt( store, index ).key.get() ); }

PB_STRING *pbStoreValueAt( PB_STORE *store, PB_INT index ) { return stringIn( &entryAt( store, index ) ); }

PB_STORE *pbStoreStoreAt( PB_STORE *store, PB_INT index ) { return storeIn( &entryAt( store, index ) ); }

PB_BOOL pbStoreIntValueAt( PB_STORE *store, PB_INT index, PB_INT *value )
{
    PB_CHECK( value );
    return numberIn( &entryAt( store, index ), Kind::integer, value );
}

PB_BOOL pbStoreBoolValueAt( PB_STORE *store, PB_INT index, PB_BOOL *value )
{
    PB_CHECK( value );
    return numberIn( &entryAt( store, index ), Kind::boolean, value );
}

PB_BOOL pbStoreIsNullAt( PB_STORE *store, PB_INT index ) { return entryAt( store, index ).kind == Kind::null; }

PB_INT pbStoreIndexCstr( PB_STORE *store, const char *key, PB_INT length )
{
    PB_CHECK( store );
    const Entry *entry = entryUnder( store, keyOf( key, length ) );
    return entry ? entry - store->content->entries.data() : -1;
}

PB_STRING *pbStoreValueCstr( PB_STORE *store, const char *key, PB_INT length )
{
    PB_CHECK( store );
    return stringIn( entryUnder( store, keyOf( key, length ) ) );
}

PB_STORE *pbStoreStoreCstr( PB_STORE *store, const char *key, PB_INT length )
{
    PB_CHECK( store );
    return storeIn( entryUnder( store, keyOf( key, length ) ) );
}

PB_BOOL pbStoreIntValueCstr( PB_STORE *store, const char *key, PB_INT length, PB_INT *value )
{
    PB_CHECK( store );
    PB_CHECK( value );
    return numberIn( entryUnder( store, keyOf( key, length ) ), Kind::integer, value );
}

PB_BOOL pbStoreBoolValueCstr( PB_STORE *store, const char *key, PB_INT length, PB_BOOL *value )
{
    PB_CHECK( store );
    PB_CHECK( value );
    return numberIn( entryUnder( store, keyOf( key, length ) ), Kind::boolean, value );
}

void pbStoreAppendValue( PB_STORE **store, PB_STRING *value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( pbStoreIsArray( *store ) );
    PB_CHECK( value );
    append( store, entryOf( value ) );
}

void pbStoreAppendStore( PB_STORE **store, PB_STORE *value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( pbStoreIsArray( *store ) );
    PB_CHECK( value );
    append( store, entryOf( value ) );
}

void pbStoreAppendIntValue( PB_STORE **store, PB_INT value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( pbStoreIsArray( *store ) );
    append( store, { {}, Kind::integer, value, {} } );
}

void pbStoreAppendBoolValue( PB_STORE **store, PB_BOOL value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( pbStoreIsArray( *store ) );
    append( store, { {}, Kind::boolean, value != 0, {} } );
}

void pbStoreAppendValueNull( PB_STORE **store )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( pbStoreIsArray( *store ) );
    append( store, {} );
}

void pbStoreSetValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_STRING *value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( !pbStoreIsArray( *store ) );
    PB_CHECK( value );
    set( store, keyOf( key, length ), entryOf( value ) );
}

void pbStoreSetStoreCstr( PB_STORE **store, const char *key, PB_INT length, PB_STORE *value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( !pbStoreIsArray( *store ) );
    PB_CHECK( value );
    set( store, keyOf( key, length ), entryOf( value ) );
}

void pbStoreSetIntValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_INT value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( !pbStoreIsArray( *store ) );
    set( store, keyOf( key, length ), { {}, Kind::integer, value, {} } );
}

void pbStoreSetBoolValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_BOOL value )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( !pbStoreIsArray( *store ) );
    set( store, keyOf( key, length ), { {}, Kind::boolean, value != 0, {} } );
}

void pbStoreSetValueNullCstr( PB_STORE **store, const char *key, PB_INT length )
{
    PB_CHECK_HANDLE( store );
    PB_CHECK( !pbStoreIsArray( *store ) );
    set( store, keyOf( key, length ), {} );
}

void pbStoreDelCstr( PB_STORE **store, const char *key, PB_INT length )
{
    PB_CHECK_HANDLE( store );
    PB_INT index = pbStoreIndexCstr( *store, key, length );
    if( index < 0 )
        return;
    Content &content = writable( store );
    content.entries.erase( content.entries.begin() + index );
    content.rebuild();
}
