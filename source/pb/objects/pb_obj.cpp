#include <pb/pb_mem.h>
#include <pb/pb_obj.h>

#include <atomic>
#include <cstring>

#include "objects/pb_obj_count.hpp"

PB_OBJ *pb___ObjCreate( size_t size, const PB_SORT *sort )
{
    PB_CHECK( size >= sizeof( PB_OBJ ) );
    PB_CHECK( sort );
    PB_OBJ *obj   = (PB_OBJ *)pbMemAllocZeroed( size );
    obj->refCount = 1;
    obj->sort     = sort;
    pb::countLive( 1 );
    return obj;
}

void pb___ObjFree( PB_OBJ *obj )
{
    PB_CHECK( obj );
    if( obj->sort->slots.free )
        obj->sort->slots.free( obj );
    pbMemFree( obj );
    pb::countLive( -1 );
}

const PB_SORT *pbObjSort( const PB_OBJ *obj )
{
    PB_CHECK( obj );
    return obj->sort;
}

PB_OBJ *pbObjRetain( PB_OBJ *obj )
{
    PB_CHECK( obj );
    if( __atomic_load_n( &obj->refCount, __ATOMIC_RELAXED ) >= 0 )
        __atomic_fetch_add( &obj->refCount, 1, __ATOMIC_RELAXED );
    return obj;
}

void pbObjRelease( PB_OBJ *obj )
{
    PB_CHECK( obj );
    if( __atomic_load_n( &obj->refCount, __ATOMIC_RELAXED ) >= 0 && __atomic_fetch_sub( &obj->refCount, 1, __ATOMIC_ACQ_REL ) == 1 )
        pb___ObjFree( obj );
}

PB_BOOL pbObjIsShared( const PB_OBJ *obj )
{
    PB_CHECK( obj );
    return __atomic_load_n( &obj->refCount, __ATOMIC_ACQUIRE ) != 1;
}

PB_INT pbObjCompare( PB_OBJ *objA, PB_OBJ *objB )
{
    if( objA == objB )
        return 0;
    if( !objA || !objB )
        return objA ? 1 : -1;
    if( objA->sort != objB->sort )
    {
        int order = std::strcmp( objA->sort->name, objB->sort->name );
        if( order != 0 )
            return order < 0 ? -1 : 1;
        return (uintptr_t)objA->sort < (uintptr_t)objB->sort ? -1 : 1;
    }
    if( objA->sort->slots.compare )
        return objA->sort->slots.compare( objA, objB );
    return (uintptr_t)objA < (uintptr_t)objB ? -1 : 1;
}

PB_BOOL pbObjEquals( PB_OBJ *objA, PB_OBJ *objB ) { return pbObjCompare( objA, objB ) == 0; }

PB_INT pbObjLiveCount() { return pb::liveCount(); }

const char *pbSortName( const PB_SORT *sort )
{
    PB_CHECK( sort );
    return sort->name;
}
