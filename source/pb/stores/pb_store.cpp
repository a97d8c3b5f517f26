#include <pb/containers.hpp>
#include <pb/pb_random.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <bit>
#include <cstring>
#include <string_view>
#include <unistr.h>

#include "base/pb_sip_hash.hpp"
#include "containers/pb_compare.hpp"
#include "stores/pb_store_entries.hpp"

namespace
{

using Kind = pb::StoreKind;

struct Entry
{
    pb::Ref<PB_STRING> key; // null in an array store
    Kind               kind   = Kind::null;
    PB_INT             number = 0;
    pb::Ref<PB_OBJ>    object;
};

// Keys may come from files of strangers. Nobody can choose them so that the search takes long.
struct KeyHash
{
    size_t operator()( std::string_view key ) const
    {
        static const pb::SipKey secret = [] {
            pb::SipKey random;
            pbRandomBytes( (PB_BYTE *)&random, sizeof random );
            return random;
        }();
        return pb::sipHash( secret, key );
    }
};

// The entries in order, and the slot of each key. Closing the gap of a deleted entry takes long if
// many entries are behind it. So gaps stay until there are more gaps than entries. While there are
// gaps, a Fenwick tree over the slots gives the index of a slot and the slot of an index.
class Content
{
public:
    Content() = default;

    // A copy has no gaps.
    Content( const Content &other )
    {
        slots.reserve( other.length() );
        for( const Entry &entry : other.slots )
        {
            if( entry.kind != Kind::gap )
                add( entry );
        }
    }

    size_t length() const { return slots.size() - gaps; }

    const Entry &at( size_t index ) const { return slots[gaps ? slotOf( index ) : index]; }

    // The first entry in this slot or behind it; its slot is put into `slot`. Null if there is
    // none.
    const Entry *next( size_t &slot ) const
    {
        while( slot < slots.size() && slots[slot].kind == Kind::gap )
            slot++;
        return slot < slots.size() ? &slots[slot] : nullptr;
    }

    const Entry *find( std::string_view key ) const
    {
        auto found = places.find( key );
        return found == places.end() ? nullptr : &slots[found->second];
    }

    size_t indexOf( const Entry *entry ) const
    {
        size_t slot = (size_t)( entry - slots.data() );
        if( !gaps )
            return slot;
        size_t index = 0;
        for( size_t node = slot; node; node -= lowBit( node ) )
            index += counts[node - 1];
        return index;
    }

    // Adds an entry behind all others. False if its key is already there.
    bool add( Entry entry )
    {
        if( entry.key && !places.emplace( pb::viewOf( entry.key.get() ), slots.size() ).second )
            return false;
        slots.push_back( std::move( entry ) );
        if( !gaps )
            return true;
        size_t node  = slots.size();
        size_t count = 1;
        for( size_t step = 1; step < lowBit( node ); step *= 2 )
            count += counts[node - step - 1];
        counts.push_back( count );
        return true;
    }

    // Replaces the entry under its key, which must be there.
    void replace( const Entry *old, Entry entry )
    {
        entry.key                             = old->key;
        slots[(size_t)( old - slots.data() )] = std::move( entry );
    }

    void remove( const Entry *entry )
    {
        size_t slot = (size_t)( entry - slots.data() );
        places.erase( pb::viewOf( entry->key.get() ) );
        if( !gaps && slot + 1 == slots.size() )
        {
            slots.pop_back();
            return;
        }
        if( !gaps )
            startCounting();
        for( size_t node = slot + 1; node <= slots.size(); node += lowBit( node ) )
            counts[node - 1]--;
        slots[slot] = Entry{ {}, Kind::gap, 0, {} };
        gaps++;
        if( gaps > length() + 16 )
            closeGaps();
    }

private:
    // Node n of the tree counts the entries in the slots from n - lowBit( n ) to n - 1.
    static size_t lowBit( size_t node ) { return node & -node; }

    void startCounting()
    {
        counts.resize( slots.size() );
        for( size_t node = 1; node <= slots.size(); node++ )
            counts[node - 1] = lowBit( node );
    }

    size_t slotOf( size_t index ) const
    {
        size_t node = 0;
        for( size_t step = std::bit_floor( slots.size() ); step; step /= 2 )
        {
            if( node + step <= slots.size() && counts[node + step - 1] <= index )
            {
                node += step;
                index -= counts[node - 1];
            }
        }
        return node;
    }

    void closeGaps()
    {
        std::erase_if( slots, []( const Entry &entry ) { return entry.kind == Kind::gap; } );
        counts = {};
        gaps   = 0;
        for( size_t slot = 0; slot < slots.size(); slot++ )
            places.find( pb::viewOf( slots[slot].key.get() ) )->second = slot;
    }

    pb::StdVector<Entry>                                   slots;
    pb::StdUnorderedMap<std::string_view, size_t, KeyHash> places; // the slot of each key
    pb::StdVector<size_t>                                  counts; // empty while there are no gaps
    size_t                                                 gaps = 0;
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
    pb::destroy( store->content );
    pb::setPoison( store->content );
}

static PB_INT compareStore( PB_STORE *storeA, PB_STORE *storeB )
{
    PB_CHECK( storeA );
    PB_CHECK( storeB );
    return pb::compareContainers( storeA, storeB );
}

PB_SORT_DEFINE( pb, Store, PB_STORE, .free = pb::slot<freeStore>, .compare = pb::slot<compareStore> )

static PB_INT compareNumbers( PB_INT a, PB_INT b ) { return a < b ? -1 : a > b; }

pb::CompareNext pb::nextOfStores( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor )
{
    PB_STORE *a = static_cast<PB_STORE *>( objA );
    PB_STORE *b = static_cast<PB_STORE *>( objB );
    if( PB_INT order = compareNumbers( a->array, b->array ) )
        return CompareNext::end( order );
    const Entry *entryA = a->content->next( cursor.a );
    const Entry *entryB = b->content->next( cursor.b );
    if( !entryA || !entryB )
        return CompareNext::end( entryB ? -1 : entryA != nullptr );
    cursor.a++;
    cursor.b++;
    if( PB_INT order = pbObjCompare( entryA->key.obj(), entryB->key.obj() ) )
        return CompareNext::end( order );
    if( PB_INT order = compareNumbers( (PB_INT)entryA->kind, (PB_INT)entryB->kind ) )
        return CompareNext::end( order );
    if( PB_INT order = compareNumbers( entryA->number, entryB->number ) )
        return CompareNext::end( order );
    return CompareNext::pair( entryA->object.get(), entryB->object.get() );
}

bool pb::nextStoreEntry( PB_STORE *store, size_t &place, StoreEntry &entry )
{
    const Entry *found = store->content->next( place );
    if( !found )
        return false;
    place++;
    entry = { found->key.get(), found->kind, found->number, found->object.get() };
    return true;
}

bool pb::addStoreEntry( PB_STORE *store, Ref<PB_STRING> key, StoreKind kind, PB_INT number, Ref<PB_OBJ> object )
{
    return store->content->add( { std::move( key ), kind, number, std::move( object ) } );
}

static PB_STORE *createEmpty( PB_BOOL array )
{
    PB_STORE *store = pb::create<PB_STORE>();
    store->array    = array;
    store->content  = pb::make<Content>();
    return store;
}

static Content &writable( PB_STORE **store ) { return *pb::makeWritable( store, pbStoreCreateFrom )->content; }

static Entry entryOf( PB_STRING *value ) { return { {}, Kind::string, 0, pb::share( pbStringObj( value ) ) }; }
static Entry entryOf( PB_STORE *value ) { return { {}, Kind::store, 0, pb::share( pbStoreObj( value ) ) }; }

// A key as it is stored: valid UTF-8.
struct Key
{
    pb::Ref<PB_STRING> str; // made only if the text is malformed
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
    return { str, pb::viewOf( str.get() ) };
}

static const Entry *entryUnder( PB_STORE *store, const Key &key ) { return store->content->find( key.text ); }

static void append( PB_STORE **store, Entry entry ) { writable( store ).add( std::move( entry ) ); }

static void set( PB_STORE **store, const Key &key, Entry entry )
{
    Content &content = writable( store );
    if( const Entry *old = content.find( key.text ) )
        return content.replace( old, std::move( entry ) );
    entry.key = pb::adopt( pbStringCreateFromCstr( key.text.data(), (PB_INT)key.text.size() ) );
    content.add( std::move( entry ) );
}

PB_STORE *pbStoreCreate() { return createEmpty( PB_FALSE ); }

PB_STORE *pbStoreCreateArray() { return createEmpty( PB_TRUE ); }

PB_STORE *pbStoreCreateFrom( PB_STORE *source )
{
    PB_CHECK( source );
    PB_STORE *store = pb::create<PB_STORE>();
    store->array    = source->array;
    store->content  = pb::make<Content>( *source->content );
    return store;
}

PB_BOOL pbStoreIsArray( PB_STORE *store ) { return PB_CHECK( store ), store->array; }

PB_INT pbStoreLength( PB_STORE *store ) { return PB_CHECK( store ), (PB_INT)store->content->length(); }

// The entry at an index, for the exported function that names the index.
static const Entry &entryAt( PB_STORE *store, PB_INT index, pb::Site site = pb::Site::here() )
{
    PB_CHECK_AT( site, store );
    PB_CHECK_AT( site, index >= 0 );
    PB_CHECK_AT( site, index < pbStoreLength( store ) );
    return store->content->at( (size_t)index );
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
    return PB_CHECK( value ), numberIn( &entryAt( store, index ), Kind::integer, value );
}

PB_BOOL pbStoreBoolValueAt( PB_STORE *store, PB_INT index, PB_BOOL *value )
{
    return PB_CHECK( value ), numberIn( &entryAt( store, index ), Kind::boolean, value );
}

PB_BOOL pbStoreIsNullAt( PB_STORE *store, PB_INT index ) { return entryAt( store, index ).kind == Kind::null; }

PB_INT pbStoreIndexCstr( PB_STORE *store, const char *key, PB_INT length )
{
    PB_CHECK( store );
    const Entry *entry = entryUnder( store, keyOf( key, length ) );
    return entry ? (PB_INT)store->content->indexOf( entry ) : -1;
}

PB_STRING *pbStoreValueCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return PB_CHECK( store ), stringIn( entryUnder( store, keyOf( key, length ) ) );
}

PB_STORE *pbStoreStoreCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return PB_CHECK( store ), storeIn( entryUnder( store, keyOf( key, length ) ) );
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
    Key known = keyOf( key, length );
    if( !entryUnder( *store, known ) )
        return;
    Content &content = writable( store );
    content.remove( content.find( known.text ) );
}
