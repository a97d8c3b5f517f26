// The contracts that every type of the family has: its eight standard functions and the slots of
// its sort.
#pragma once

#include <pb/pb_obj.h>

#include "support/contract.hpp"

namespace support
{

// A static object of a sort that belongs to no library.
inline PB_OBJ *foreignObj()
{
    static const PB_SORT foreignSort = { { PB_OBJ_STATIC_REF_COUNT, nullptr }, nullptr, "FOREIGN", {} };
    static PB_OBJ        foreign     = { PB_OBJ_STATIC_REF_COUNT, &foreignSort };
    return &foreign;
}

// Checks that every slot of a sort refuses an object of another sort and a null object. The checks
// call the object `name` (`nameA` and `nameB` if there are two).
inline void expectSlotChecks( const char *file, const char *sortCheck, const PB_SORT *sort, PB_OBJ *obj, const std::string &name )
{
    const PB_SORT_SLOTS &slots = sort->slots;
    if( slots.free )
    {
        EXPECT_ABORT_IN( "stdfunc from", file, sortCheck, slots.free( foreignObj() ) );
        EXPECT_ABORT( file, name, slots.free( nullptr ) );
    }
    if( slots.compare )
    {
        EXPECT_ABORT_IN( "stdfunc from", file, sortCheck, slots.compare( foreignObj(), obj ) );
        EXPECT_ABORT_IN( "stdfunc from", file, sortCheck, slots.compare( obj, foreignObj() ) );
        EXPECT_ABORT( file, name + "A", slots.compare( nullptr, obj ) );
        EXPECT_ABORT( file, name + "B", slots.compare( obj, nullptr ) );
    }
    if( slots.toString )
    {
        EXPECT_ABORT_IN( "stdfunc from", file, sortCheck, slots.toString( foreignObj() ) );
        EXPECT_ABORT( file, name, slots.toString( nullptr ) );
    }
}

}

// EXPECT_STANDARD_CHECKS( file, prefix, Type, STRUCT, name, object ): all these checks for one
// type. `object` is an object of that type, `name` its name in the checks of the slots.
#define EXPECT_STANDARD_CHECKS( file, prefix, Type, STRUCT, name, object )                                       \
    do                                                                                                           \
    {                                                                                                            \
        constexpr char sortCheck[] = "!obj || pbObjSort(obj)==&" #prefix "___sort_" #STRUCT;                     \
        STRUCT        *standard    = object;                                                                     \
        EXPECT_ABORT_IN( "stdfunc from", file, sortCheck, prefix##Type##From( support::foreignObj() ) );         \
        EXPECT_ABORT_IN( "stdfunc retain", file, "obj", prefix##Type##Retain( nullptr ) );                       \
        EXPECT_ABORT_IN( "stdfunc release", file, "obj", prefix##Type##Release( nullptr ) );                     \
        EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", prefix##Type##Compare( nullptr, standard ) );        \
        EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", prefix##Type##Compare( nullptr, nullptr ) );         \
        EXPECT_ABORT_IN( "stdfunc compare b", file, "objB", prefix##Type##Compare( standard, nullptr ) );        \
        EXPECT_ABORT_IN( "stdfunc tostring", file, "obj", prefix##Type##ToString( nullptr ) );                   \
        support::expectSlotChecks( file, sortCheck, prefix##Type##Sort(), prefix##Type##Obj( standard ), name ); \
        /* Calls that the checks accept. */                                                                      \
        EXPECT_STREQ( pbSortName( prefix##Type##Sort() ), #STRUCT );                                             \
        EXPECT_EQ( pbObjSort( prefix##Type##Obj( standard ) ), prefix##Type##Sort() );                           \
        EXPECT_EQ( prefix##Type##From( prefix##Type##Obj( standard ) ), standard );                              \
        EXPECT_EQ( prefix##Type##From( nullptr ), nullptr );                                                     \
        EXPECT_EQ( prefix##Type##Obj( nullptr ), nullptr );                                                      \
        EXPECT_TRUE( prefix##Type##Equals( nullptr, nullptr ) );                                                 \
        EXPECT_FALSE( prefix##Type##Equals( standard, nullptr ) );                                               \
        EXPECT_FALSE( prefix##Type##Equals( nullptr, standard ) );                                               \
        EXPECT_TRUE( prefix##Type##Equals( standard, standard ) );                                               \
        EXPECT_EQ( prefix##Type##Compare( standard, standard ), 0 );                                             \
    }                                                                                                            \
    while( 0 )
