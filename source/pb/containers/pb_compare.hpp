// The comparison of vectors, dictionaries and stores. It is a loop, so its stack does not grow with
// the depth of nested containers.
#pragma once

#include <pb/pb_obj.h>

namespace pb
{

// CompareCursor: the place that the comparison of two containers has reached. Each kind of
// container counts in its own way.
struct CompareCursor
{
    size_t    index;
    uintptr_t a, b;
};

// CompareNext: the two objects to compare next. If there are none, `order` is the result for the
// two containers.
struct CompareNext
{
    bool    found;
    PB_OBJ *objA, *objB;
    PB_INT  order;

    static CompareNext pair( PB_OBJ *objA, PB_OBJ *objB ) { return { true, objA, objB, 0 }; }
    static CompareNext end( PB_INT order ) { return { false, nullptr, nullptr, order }; }
};

// Each kind of container defines its own function in its own file. The cursor is zero at the first
// call.
CompareNext nextOfVectors( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor );
CompareNext nextOfDicts( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor );
CompareNext nextOfStores( PB_OBJ *objA, PB_OBJ *objB, CompareCursor &cursor );

// compareContainers: the order of two containers of one sort.
PB_INT compareContainers( PB_OBJ *objA, PB_OBJ *objB );

}
