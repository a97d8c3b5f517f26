#include "containers/pb_compare.hpp"

#include <pb/containers.hpp>
#include <pb/sort.hpp>

extern "C" PB_EXPORT const PB_SORT pb___sort_PB_VECTOR;
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_DICT;
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_STORE;

namespace
{

using Next = pb::CompareNext ( * )( PB_OBJ *objA, PB_OBJ *objB, pb::CompareCursor &cursor );

// Null for objects that are not containers.
Next nextOf( const PB_SORT *sort )
{
    return sort == &pb___sort_PB_VECTOR ? pb::nextOfVectors
        : sort == &pb___sort_PB_DICT    ? pb::nextOfDicts
        : sort == &pb___sort_PB_STORE   ? pb::nextOfStores
                                        : nullptr;
}

// Two containers whose comparison has begun.
struct Frame
{
    PB_OBJ           *objA, *objB;
    Next              next;
    pb::CompareCursor cursor{};
};

}

PB_INT pb::compareContainers( PB_OBJ *objA, PB_OBJ *objB )
{
    // In most comparisons the containers are not nested, and no memory is needed.
    Frame                inner{ objA, objB, nextOf( objA->sort ) };
    pb::StdVector<Frame> around;
    for( ;; )
    {
        CompareNext next = inner.next( inner.objA, inner.objB, inner.cursor );
        if( next.found )
        {
            Next deeper = next.objA && next.objB && next.objA != next.objB && next.objA->sort == next.objB->sort ? nextOf( next.objA->sort )
                                                                                                                 : nullptr;
            if( deeper )
            {
                around.push_back( inner );
                inner = { next.objA, next.objB, deeper };
                continue;
            }
            next.order = pbObjCompare( next.objA, next.objB );
        }
        if( next.order )
            return next.order;
        if( next.found )
            continue;
        if( around.empty() )
            return 0;
        inner = around.back();
        around.pop_back();
    }
}
