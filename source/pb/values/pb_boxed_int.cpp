#include <pb/pb_boxed_int.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

struct PB_BOXED_INT : PB_OBJ
{
    PB_INT value;
};

static constexpr auto boxedIntFields = pb::fields<&PB_BOXED_INT::value>;

static PB_INT compareBoxedInt( PB_BOXED_INT *biA, PB_BOXED_INT *biB )
{
    PB_CHECK( biA );
    PB_CHECK( biB );
    return boxedIntFields.compare( biA, biB );
}

static PB_STRING *boxedIntToString( PB_BOXED_INT *bi ) { return PB_CHECK( bi ), pbStringCreateFromFormatCstr( "%i", -1, bi->value ); }

PB_SORT_DEFINE( pb, BoxedInt, PB_BOXED_INT, .compare = pb::slot<compareBoxedInt>, .toString = pb::slot<boxedIntToString> )

PB_BOXED_INT *pbBoxedIntCreate( PB_INT value )
{
    PB_BOXED_INT *bi = pb::create<PB_BOXED_INT>();
    bi->value        = value;
    return bi;
}

PB_INT pbBoxedIntValue( PB_BOXED_INT *bi ) { return PB_CHECK( bi ), bi->value; }
