// The text form of any object. It is not in pb_obj.cpp, since strings are above the object model.
#include <pb/pb_obj.h>
#include <pb/pb_string.h>

PB_STRING *pbObjToString( PB_OBJ *obj )
{
    PB_CHECK( obj );
    if( obj->sort->slots.toString )
        return obj->sort->slots.toString( obj );
    return pbStringCreateFromFormatCstr( "%lc(0x%!16i)", -1, obj->sort->name, (PB_INT)(intptr_t)obj );
}
