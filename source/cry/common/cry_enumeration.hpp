// Enumerations and flag sets: each has one constexpr table. From it the macros below make the
// functions and the module global.
#pragma once

#include <pb/pb_enum.h>
#include <pb/pb_flagset.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

namespace cry
{

struct Named
{
    PB_INT      value;
    const char *name;
};

#define CRY_NAMED( constant ) \
    {                         \
        constant, #constant   \
    }

template<size_t count>
consteval bool isDense( const Named ( &table )[count] )
{
    for( size_t index = 0; index < count; index++ )
    {
        if( table[index].value != (PB_INT)index )
            return false;
    }
    return true;
}

// Flag number n is the bit 1 << n.
template<size_t count>
consteval bool isOneBitEach( const Named ( &table )[count] )
{
    for( size_t index = 0; index < count; index++ )
    {
        if( table[index].value != (PB_INT)1 << index )
            return false;
    }
    return true;
}

template<size_t count>
consteval PB_INT maskOf( const Named ( &table )[count] )
{
    PB_INT mask = 0;
    for( const Named &each : table )
        mask |= each.value;
    return mask;
}

template<size_t count>
void startEnumeration( PB_ENUM *&variable, const Named ( &table )[count] )
{
    variable = nullptr;
    variable = pbEnumCreate();
    for( const Named &each : table )
        pbEnumSetEnumerantCstr( &variable, each.name, -1, each.value );
}

// Names one flag; `variableName` is for the text of the check that no name occurs twice.
void addFlag( PB_FLAGSET **flagset, const char *variableName, const Named &flag, pb::Site site );

template<size_t count>
void startFlagset( PB_FLAGSET *&variable, const char *variableName, const Named ( &table )[count], pb::Site site = pb::Site::here() )
{
    variable = nullptr;
    variable = pbFlagsetCreate();
    for( const Named &each : table )
        addFlag( &variable, variableName, each, site );
}

// Releases a module global and leaves the all-ones pointer, so that a later use traps.
template<pb::Object T>
void stopModuleGlobal( T *&variable )
{
    pb::releaseOrNull( variable );
    pb::setPoison( variable );
}

}

// CRY_ENUM_DEFINE( Name, OK, value, table ): ToString, FromString, Startup and Shutdown of an
// enumeration; `value` is the name of ToString's parameter. clang-format off
#define CRY_ENUM_DEFINE( Name, OK, value, table )                                        \
    static_assert( cry::isDense( table ), "enumerants count from 0" );                   \
    PB_ENUM   *cry___##Name##Enum;                                                       \
    PB_STRING *cry##Name##ToString( PB_INT value )                                       \
    {                                                                                    \
        PB_CHECK( OK( value ) );                                                         \
        return pbEnumGenerate( cry___##Name##Enum, value );                              \
    }                                                                                    \
    PB_INT cry##Name##FromString( PB_STRING *pbs )                                       \
    {                                                                                    \
        PB_CHECK( pbs );                                                                 \
        return pbEnumParse( cry___##Name##Enum, pbs );                                   \
    }                                                                                    \
    void cry___##Name##Startup() { cry::startEnumeration( cry___##Name##Enum, table ); } \
    void cry___##Name##Shutdown() { cry::stopModuleGlobal( cry___##Name##Enum ); }

// CRY_FLAGSET_DEFINE( Name, table ): Normalize, ToString, FromString, Startup and Shutdown of a
// flag set.
#define CRY_FLAGSET_DEFINE( Name, table )                                                                                                 \
    static_assert( cry::isOneBitEach( table ), "flags are single bits in order" );                                                        \
    PB_FLAGSET *cry___##Name##Flagset;                                                                                                    \
    PB_INT      cry##Name##Normalize( PB_INT flags ) { return flags & cry::maskOf( table ); }                                             \
    PB_STRING  *cry##Name##ToString( PB_INT flags ) { return pbFlagsetGenerate( cry___##Name##Flagset, cry##Name##Normalize( flags ) ); } \
    PB_INT      cry##Name##FromString( PB_STRING *pbs )                                                                                   \
    {                                                                                                                                     \
        PB_CHECK( pbs );                                                                                                                  \
        return cry##Name##Normalize( pbFlagsetParse( cry___##Name##Flagset, pbs ) );                                                      \
    }                                                                                                                                     \
    void cry___##Name##Startup() { cry::startFlagset( cry___##Name##Flagset, "cry___" #Name "Flagset", table ); }                         \
    void cry___##Name##Shutdown() { cry::stopModuleGlobal( cry___##Name##Flagset ); }
// clang-format on
