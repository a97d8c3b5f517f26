#include <pb/pb_enum.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include "names/pb_names.hpp"

struct PB_ENUM : PB_OBJ
{
    PB_DICT *nameByValue;
    PB_DICT *valueByName;
};

static constexpr auto enumFields = pb::fields<&PB_ENUM::nameByValue, &PB_ENUM::valueByName>;

PB_SORT_OF_FIELDS( pb, Enum, PB_ENUM, enumeration, enumFields, enumFields )

PB_ENUM *pbEnumCreate()
{
    PB_ENUM *enumeration     = pb::create<PB_ENUM>();
    enumeration->nameByValue = pbDictCreate();
    enumeration->valueByName = pbDictCreate();
    return enumeration;
}

PB_ENUM *pbEnumCreateFrom( PB_ENUM *source ) { return PB_CHECK( source ), pb::copyOf( enumFields, source ); }

void pbEnumSetEnumerantCstr( PB_ENUM **enumeration, const char *name, PB_INT length, PB_INT value )
{
    PB_CHECK_HANDLE( enumeration );
    PB_CHECK( name );
    PB_ENUM *target = pb::makeWritable( enumeration, pbEnumCreateFrom );
    pb::setName( target->nameByValue, target->valueByName, name, length, value );
}

PB_STRING *pbEnumGenerate( PB_ENUM *enumeration, PB_INT value )
{
    PB_CHECK( enumeration );
    PB_STRING *name = pbStringFrom( pbDictIntKey( enumeration->nameByValue, value ) );
    PB_CHECK( name );
    return name;
}

PB_INT pbEnumParse( PB_ENUM *enumeration, PB_STRING *name )
{
    PB_CHECK( enumeration );
    PB_CHECK( name );
    return pb::valueOf( enumeration->valueByName, name, -1 );
}
