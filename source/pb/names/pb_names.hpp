// Names of values, in both directions, for enumerations and flag sets.
#pragma once

#include <pb/pb_boxed_int.h>
#include <pb/pb_dict.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>

namespace pb
{

// Gives a value a name. The value loses its old name, and the name its old value.
inline void setName( PB_DICT *&nameByValue, PB_DICT *&valueByName, const char *name, PB_INT length, PB_INT value )
{
    Ref<PB_STRING>    text     = adopt( pbStringCreateFromCstr( name, length ) );
    Ref<PB_BOXED_INT> number   = adopt( pbBoxedIntCreate( value ) );
    Ref<PB_OBJ>       oldName  = adopt( pbDictObjKey( nameByValue, number.obj() ) );
    Ref<PB_OBJ>       oldValue = adopt( pbDictObjKey( valueByName, text.obj() ) );
    if( oldName )
        pbDictDelObjKey( &valueByName, oldName.get() );
    if( oldValue )
        pbDictDelObjKey( &nameByValue, oldValue.get() );
    pbDictSetObjKey( &nameByValue, number.obj(), text.obj() );
    pbDictSetObjKey( &valueByName, text.obj(), number.obj() );
}

// The value of a name, which must match exactly; `otherwise` for an unknown one.
inline PB_INT valueOf( PB_DICT *valueByName, PB_STRING *name, PB_INT otherwise )
{
    Ref<PB_BOXED_INT> value = adopt( pbBoxedIntFrom( pbDictStringKey( valueByName, name ) ) );
    return value ? pbBoxedIntValue( value.get() ) : otherwise;
}

}
