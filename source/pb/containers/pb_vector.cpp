#include <pb/pb_mem.h>
#include <pb/pb_vector.h>
#include <pb/sort.hpp>

#include <cstring>

#include "containers/pb_compare.hpp"

struct PB_VECTOR : PB_OBJ
{
    PB_OBJ **memory;
    PB_INT   capacity;
    PB_INT   first; // the objects are memory[first] to memory[first + length - 1]
    PB_INT   length;
};

static PB_OBJ **objects( PB_VECTOR *vector ) { return vector->memory + vector->first; }

static void freeVector( PB_VECTOR *vector )
{
    PB_CHECK( vector );
    for( PB_INT index = 0; index < vector->length; index++ )
        pb::releaseOrNull( objects( vector )[index] );
    pbMemFree( vector->memory );
    pb::setPoison( vector->memory );
}

static PB_INT compareVector( PB_VECTOR *vectorA, PB_VECTOR *vectorB )
{
    PB_CHECK( vectorA );
    PB_CHECK( vectorB );
    return pb::compareContainers( vectorA, vectorB );
}

PB_SORT_DEFINE( pb, Vector, PB_VECTOR, .free = pb::slot<freeVector>, .compare = pb::slot<compareVector> )

pb::CompareNext pb::nextOfVectors( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor )
{
    PB_VECTOR *a     = static_cast<PB_VECTOR *>( objA );
    PB_VECTOR *b     = static_cast<PB_VECTOR *>( objB );
    PB_INT     index = (PB_INT)cursor.index++;
    if( index < a->length && index < b->length )
        return CompareNext::pair( objects( a )[index], objects( b )[index] );
    return CompareNext::end( a->length < b->length ? -1 : a->length > b->length );
}

static PB_VECTOR *writable( PB_VECTOR **vector ) { return pb::makeWritable( vector, pbVectorCreateFrom ); }

// Opens a gap of `count` places before `index`.
static PB_OBJ **openGap( PB_VECTOR *vector, PB_INT index, PB_INT count )
{
    PB_CHECK( PB_INT_ADD_OK( vector->length, count ) );
    PB_INT wanted = vector->length + count;
    if( index == 0 && vector->first >= count )
    {
        vector->first -= count;
        vector->length = wanted;
        return objects( vector );
    }
    bool atFront = index == 0 && vector->length > 0;
    if( atFront || vector->first + wanted > vector->capacity )
    {
        // If the objects need more than half of the room, the new room is twice as large as they
        // need; else it has the same size. So both ends grow and shrink in constant time on
        // average.
        PB_INT   capacity = wanted > vector->capacity / 2 ? wanted * 2 : vector->capacity;
        PB_INT   first    = atFront ? ( capacity - wanted ) / 2 : 0;
        PB_OBJ **memory   = (PB_OBJ **)pbMemReallocN( nullptr, capacity, sizeof *vector->memory );
        if( vector->length )
            std::memcpy( memory + first, objects( vector ), (size_t)vector->length * sizeof *vector->memory );
        pbMemFree( vector->memory );
        vector->memory   = memory;
        vector->capacity = capacity;
        vector->first    = first;
    }
    PB_OBJ **gap = objects( vector ) + index;
    std::memmove( gap + count, gap, (size_t)( vector->length - index ) * sizeof *vector->memory );
    vector->length = wanted;
    return gap;
}

// Puts an object before the one at `index`. Its reference is taken first: if a vector is put into
// itself, it counts as shared, and the object is the vector before the edit.
static void place( PB_VECTOR **vector, PB_INT index, PB_OBJ *obj )
{
    pb::Ref<PB_OBJ> held                     = pb::share( obj );
    *openGap( writable( vector ), index, 1 ) = held.take();
}

PB_VECTOR *pbVectorCreate() { return pb::create<PB_VECTOR>(); }

PB_VECTOR *pbVectorCreateFrom( PB_VECTOR *source )
{
    PB_CHECK( source );
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    pbVectorInsert( vector.handle(), 0, source );
    return vector.take();
}

PB_INT pbVectorLength( PB_VECTOR *vector ) { return PB_CHECK( vector ), vector->length; }

PB_OBJ *pb___VectorPeekObjAt( PB_VECTOR *vector, PB_INT index )
{
    PB_CHECK( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index < pbVectorLength( vector ) );
    return objects( vector )[index];
}

PB_OBJ *pbVectorObjAt( PB_VECTOR *vector, PB_INT index )
{
    PB_CHECK( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index < pbVectorLength( vector ) );
    return pb::shareOrNull( objects( vector )[index] );
}

PB_BOOL pbVectorContainsOnly( PB_VECTOR *vector, const PB_SORT *sort )
{
    PB_CHECK( sort );
    if( !vector )
        return PB_FALSE;
    for( PB_INT index = 0; index < vector->length; index++ )
    {
        if( objects( vector )[index]->sort != sort )
            return PB_FALSE;
    }
    return PB_TRUE;
}

void pbVectorAppendObj( PB_VECTOR **vector, PB_OBJ *obj )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( obj );
    place( vector, pbVectorLength( *vector ), obj );
}

void pbVectorPrependObj( PB_VECTOR **vector, PB_OBJ *obj )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( obj );
    place( vector, 0, obj );
}

void pbVectorInsertObj( PB_VECTOR **vector, PB_INT index, PB_OBJ *obj )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index <= pbVectorLength( *vector ) );
    PB_CHECK( obj );
    place( vector, index, obj );
}

void pbVectorSetObjAt( PB_VECTOR **vector, PB_INT index, PB_OBJ *obj )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index < pbVectorLength( *vector ) );
    PB_CHECK( obj );
    pb::Ref<PB_OBJ> held = pb::share( obj );
    pb::assign( objects( writable( vector ) )[index], obj );
}

// Removes the place at `index` and returns the reference that it held.
static PB_OBJ *takeAt( PB_VECTOR *vector, PB_INT index )
{
    PB_OBJ **place = objects( vector ) + index;
    PB_OBJ  *obj   = *place;
    vector->length--;
    if( index == 0 )
        vector->first++;
    else
        std::memmove( place, place + 1, (size_t)( vector->length - index ) * sizeof *vector->memory );
    return obj;
}

void pbVectorDelObjAt( PB_VECTOR **vector, PB_INT index )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index < pbVectorLength( *vector ) );
    pb::releaseOrNull( takeAt( writable( vector ), index ) );
}

PB_OBJ *pbVectorTakeFirst( PB_VECTOR **vector )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( pbVectorLength( *vector ) > 0 );
    return takeAt( writable( vector ), 0 );
}

void pbVectorInsert( PB_VECTOR **vector, PB_INT index, PB_VECTOR *other )
{
    PB_CHECK_HANDLE( vector );
    PB_CHECK( index >= 0 );
    PB_CHECK( index <= pbVectorLength( *vector ) );
    PB_CHECK( other );
    if( !other->length )
        return;
    pb::Ref<PB_VECTOR> held = pb::share( other );
    PB_OBJ           **gap  = openGap( writable( vector ), index, other->length );
    for( PB_INT from = 0; from < other->length; from++ )
        gap[from] = pb::shareOrNull( objects( other )[from] );
}

void pbVectorClear( PB_VECTOR **vector )
{
    PB_CHECK_HANDLE( vector );
    pb::Ref<PB_VECTOR> old = pb::adopt( *vector );
    *vector                = pbVectorCreate();
}
