#include <pb/pb_mem.h>
#include <pb/pb_obj.h>

#include <atomic>
#include <cstring>

#include "base/pb_sync.hpp"
#include "objects/pb_obj_count.hpp"
#include "objects/pb_obj_free.hpp"

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

// While an object waits to be freed, and while its free slot runs, its count is negative, like that
// of a static object. So retaining and releasing it once more changes nothing. The other bits are
// the address of the next object that waits.
static constexpr uint64_t asideMark = uint64_t{ 1 } << 63;

static void putAside( PB_OBJ *obj )
{
    pb::ThreadState &state = pb::threadState;
    obj->refCount          = (int64_t)asideMark;
    if( state.lastAside )
        state.lastAside->refCount = (int64_t)( asideMark | (uintptr_t)obj );
    else
        state.firstAside = obj;
    state.lastAside = obj;
}

static PB_OBJ *takeAside()
{
    pb::ThreadState &state = pb::threadState;
    PB_OBJ          *obj   = state.firstAside;
    if( obj )
        state.firstAside = (PB_OBJ *)(uintptr_t)( (uint64_t)obj->refCount & ~asideMark );
    if( !state.firstAside )
        state.lastAside = nullptr;
    return obj;
}

void pb::freeAside()
{
    if( threadState.frees || threadState.heldLocks )
        return;
    threadState.frees = true;
    while( PB_OBJ *obj = takeAside() )
    {
        if( obj->sort->slots.free )
            obj->sort->slots.free( obj );
        pbMemFree( obj );
        countLive( -1 );
    }
    threadState.frees = false;
}

void pb___ObjFree( PB_OBJ *obj )
{
    PB_CHECK( obj );
    pb::sync::checkMayFree();
    putAside( obj );
    pb::freeAside();
}

const PB_SORT *pbObjSort( const PB_OBJ *obj ) { return PB_CHECK( obj ), obj->sort; }

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

PB_BOOL pbObjIsShared( const PB_OBJ *obj ) { return PB_CHECK( obj ), __atomic_load_n( &obj->refCount, __ATOMIC_ACQUIRE ) != 1; }

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

const char *pbSortName( const PB_SORT *sort ) { return PB_CHECK( sort ), sort->name; }
