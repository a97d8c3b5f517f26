#include <pb/pb_flagset.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include "names/pb_names.hpp"

struct PB_FLAGSET : PB_OBJ
{
    PB_DICT *nameByValue;
    PB_DICT *valueByName;
};

static constexpr auto flagsetFields = pb::fields<&PB_FLAGSET::nameByValue, &PB_FLAGSET::valueByName>;

PB_SORT_OF_FIELDS( pb, Flagset, PB_FLAGSET, flagset, flagsetFields, flagsetFields )

PB_FLAGSET *pbFlagsetCreate()
{
    PB_FLAGSET *flagset  = pb::create<PB_FLAGSET>();
    flagset->nameByValue = pbDictCreate();
    flagset->valueByName = pbDictCreate();
    return flagset;
}

PB_FLAGSET *pbFlagsetCreateFrom( PB_FLAGSET *source ) { return PB_CHECK( source ), pb::copyOf( flagsetFields, source ); }

void pbFlagsetSetFlagCstr( PB_FLAGSET **flagset, const char *name, PB_INT length, PB_INT value )
{
    PB_CHECK_HANDLE( flagset );
    PB_CHECK( name );
    PB_CHECK( value > 0 );
    PB_FLAGSET *target = pb::makeWritable( flagset, pbFlagsetCreateFrom );
    pb::setName( target->nameByValue, target->valueByName, name, length, value );
}

PB_BOOL pbFlagsetHasFlagCstr( PB_FLAGSET *flagset, const char *name, PB_INT length )
{
    PB_CHECK( flagset );
    PB_CHECK( name );
    return pbDictHasStringKey( flagset->valueByName, pb::adopt( pbStringCreateFromCstr( name, length ) ).get() );
}

PB_STRING *pbFlagsetGenerate( PB_FLAGSET *flagset, PB_INT flags )
{
    PB_CHECK( flagset );
    PB_STRING         *text   = pbStringCreate();
    pb::Ref<PB_VECTOR> values = pb::adopt( pbDictKeysVector( flagset->nameByValue ) );
    for( PB_INT index = 0; index < pbVectorLength( values.get() ); index++ )
    {
        PB_BOXED_INT *value = pbBoxedIntFrom( pb___VectorPeekObjAt( values.get(), index ) );
        if( ( flags & pbBoxedIntValue( value ) ) != pbBoxedIntValue( value ) )
            continue;
        if( pbStringLength( text ) )
            pbStringAppendCstr( &text, "|", 1 );
        pb::Ref<PB_STRING> name = pb::adopt( pbStringFrom( pbDictObjKey( flagset->nameByValue, pbBoxedIntObj( value ) ) ) );
        pbStringAppend( &text, name.get() );
    }
    return text;
}

PB_INT pbFlagsetParse( PB_FLAGSET *flagset, PB_STRING *text )
{
    PB_CHECK( flagset );
    PB_CHECK( text );
    PB_INT             flags = 0;
    pb::Ref<PB_VECTOR> parts = pb::adopt( pbStringSplitChar( text, '|' ) );
    for( PB_INT index = 0; index < pbVectorLength( parts.get() ); index++ )
    {
        pb::Ref<PB_STRING> name = pb::adopt( pbStringTrim( pbStringFrom( pb___VectorPeekObjAt( parts.get(), index ) ) ) );
        flags |= pb::valueOf( flagset->valueByName, name.get(), 0 );
    }
    return flags;
}
