#include <pb/containers.hpp>
#include <pb/pb_boxed_int.h>
#include <pb/pb_dict.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <bit>

#include "containers/pb_compare.hpp"

namespace
{

struct Before
{
    using is_transparent = void;

    static PB_OBJ *of( PB_OBJ *obj ) { return obj; }
    static PB_OBJ *of( const pb::Ref<PB_OBJ> &ref ) { return ref.get(); }

    bool operator()( const auto &a, const auto &b ) const { return pbObjCompare( of( a ), of( b ) ) < 0; }
};

using Map = pb::StdMap<pb::Ref<PB_OBJ>, pb::Ref<PB_OBJ>, Before>;

}

struct PB_DICT : PB_OBJ
{
    Map *map; // null while the dictionary is empty
};

static void freeDict( PB_DICT *dict )
{
    PB_CHECK( dict );
    pb::destroy( dict->map );
    pb::setPoison( dict->map );
}

static const Map &mapOf( PB_DICT *dict )
{
    static const Map *none = pb::make<Map, pb::ProcessMemory>();
    return dict && dict->map ? *dict->map : *none;
}

static PB_INT compareDict( PB_DICT *dictA, PB_DICT *dictB )
{
    PB_CHECK( dictA );
    PB_CHECK( dictB );
    return pb::compareContainers( dictA, dictB );
}

PB_SORT_DEFINE( pb, Dict, PB_DICT, .free = pb::slot<freeDict>, .compare = pb::slot<compareDict> )

pb::CompareNext pb::nextOfDicts( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor )
{
    using Place    = Map::const_iterator;
    const Map &a   = mapOf( static_cast<PB_DICT *>( objA ) );
    const Map &b   = mapOf( static_cast<PB_DICT *>( objB ) );
    Place      atA = cursor.index ? std::bit_cast<Place>( cursor.a ) : a.begin();
    Place      atB = cursor.index ? std::bit_cast<Place>( cursor.b ) : b.begin();
    if( atA == a.end() || atB == b.end() )
        return CompareNext::end( atB != b.end() ? -1 : atA != a.end() );
    // Even calls give keys; each following call gives the value.
    bool        isKey = cursor.index++ % 2 == 0;
    CompareNext next  = isKey ? CompareNext::pair( atA->first.get(), atB->first.get() ) : CompareNext::pair( atA->second.get(), atB->second.get() );
    cursor.a          = std::bit_cast<uintptr_t>( isKey ? atA : ++atA );
    cursor.b          = std::bit_cast<uintptr_t>( isKey ? atB : ++atB );
    return next;
}

static Map &writableMap( PB_DICT **dict )
{
    PB_DICT *target = pb::makeWritable( dict, pbDictCreateFrom );
    if( !target->map )
        target->map = pb::make<Map>();
    return *target->map;
}

// Puts a value under a key. The references are taken first: if a dictionary is put into itself, it
// counts as shared, and the value is the dictionary before the edit.
static void set( PB_DICT **dict, pb::Ref<PB_OBJ> key, pb::Ref<PB_OBJ> value )
{
    writableMap( dict ).insert_or_assign( std::move( key ), std::move( value ) );
}

static pb::Ref<PB_OBJ> boxed( PB_INT key ) { return pb::share( pb::asObj( pb::adopt( pbBoxedIntCreate( key ) ).get() ) ); }

PB_DICT *pbDictCreate() { return pb::create<PB_DICT>(); }

PB_DICT *pbDictCreateFrom( PB_DICT *source )
{
    PB_CHECK( source );
    PB_DICT *dict = pbDictCreate();
    if( source->map )
        dict->map = pb::make<Map>( *source->map );
    return dict;
}

PB_INT pbDictLength( PB_DICT *dict ) { return (PB_INT)mapOf( dict ).size(); }

PB_OBJ *pbDictObjKey( PB_DICT *dict, PB_OBJ *key )
{
    PB_CHECK( key );
    const Map &map   = mapOf( dict );
    auto       found = map.find( key );
    return found == map.end() ? nullptr : pb::shareOrNull( found->second.get() );
}

PB_OBJ *pbDictIntKey( PB_DICT *dict, PB_INT key ) { return pbDictObjKey( dict, boxed( key ).get() ); }

PB_OBJ *pbDictStringKey( PB_DICT *dict, PB_STRING *key ) { return PB_CHECK( key ), pbDictObjKey( dict, pbStringObj( key ) ); }

PB_OBJ *pbDictIdentifierKey( PB_DICT *dict, PB_IDENTIFIER *key ) { return PB_CHECK( key ), pbDictObjKey( dict, pbIdentifierObj( key ) ); }

PB_BOOL pbDictHasObjKey( PB_DICT *dict, PB_OBJ *key ) { return PB_CHECK( key ), mapOf( dict ).contains( key ); }

PB_BOOL pbDictHasIntKey( PB_DICT *dict, PB_INT key ) { return pbDictHasObjKey( dict, boxed( key ).get() ); }

PB_BOOL pbDictHasStringKey( PB_DICT *dict, PB_STRING *key ) { return PB_CHECK( key ), pbDictHasObjKey( dict, pbStringObj( key ) ); }

PB_BOOL pbDictHasIdentifierKey( PB_DICT *dict, PB_IDENTIFIER *key ) { return PB_CHECK( key ), pbDictHasObjKey( dict, pbIdentifierObj( key ) ); }

void pbDictSetObjKey( PB_DICT **dict, PB_OBJ *key, PB_OBJ *value )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    PB_CHECK( value );
    set( dict, pb::share( key ), pb::share( value ) );
}

void pbDictSetIntKey( PB_DICT **dict, PB_INT key, PB_OBJ *value )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( value );
    set( dict, boxed( key ), pb::share( value ) );
}

void pbDictSetStringKey( PB_DICT **dict, PB_STRING *key, PB_OBJ *value )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    PB_CHECK( value );
    set( dict, pb::share( pbStringObj( key ) ), pb::share( value ) );
}

void pbDictSetIdentifierKey( PB_DICT **dict, PB_IDENTIFIER *key, PB_OBJ *value )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    PB_CHECK( value );
    set( dict, pb::share( pbIdentifierObj( key ) ), pb::share( value ) );
}

void pbDictDelObjKey( PB_DICT **dict, PB_OBJ *key )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    if( !mapOf( *dict ).contains( key ) )
        return;
    Map &map = writableMap( dict );
    map.erase( map.find( key ) );
}

void pbDictDelIntKey( PB_DICT **dict, PB_INT key )
{
    PB_CHECK_HANDLE( dict );
    pbDictDelObjKey( dict, boxed( key ).get() );
}

void pbDictDelStringKey( PB_DICT **dict, PB_STRING *key )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    pbDictDelObjKey( dict, pbStringObj( key ) );
}

void pbDictDelIdentifierKey( PB_DICT **dict, PB_IDENTIFIER *key )
{
    PB_CHECK_HANDLE( dict );
    PB_CHECK( key );
    pbDictDelObjKey( dict, pbIdentifierObj( key ) );
}

void pbDictInclude( PB_DICT **dict, PB_DICT *other )
{
    PB_CHECK_HANDLE( dict );
    pb::Ref<PB_DICT> held = pb::share( other );
    for( const auto &[key, value] : mapOf( other ) )
        writableMap( dict ).insert_or_assign( key, value );
}

void pbDictClear( PB_DICT **dict )
{
    PB_CHECK_HANDLE( dict );
    pb::Ref<PB_DICT> old = pb::adopt( *dict );
    *dict                = pbDictCreate();
}

PB_VECTOR *pbDictKeysVector( PB_DICT *dict )
{
    pb::Ref<PB_VECTOR> keys = pb::adopt( pbVectorCreate() );
    for( const auto &[key, value] : mapOf( dict ) )
        pbVectorAppendObj( keys.handle(), key.get() );
    return keys.take();
}

PB_VECTOR *pbDictValuesVector( PB_DICT *dict )
{
    pb::Ref<PB_VECTOR> values = pb::adopt( pbVectorCreate() );
    for( const auto &[key, value] : mapOf( dict ) )
        pbVectorAppendObj( values.handle(), value.get() );
    return values.take();
}
