// To be loaded before the tool (LD_PRELOAD): makes some traces as soon as somebody listens, since
// no command of the tool uses an object that traces.
#include <dlfcn.h>
#include <pb/ref.hpp>
#include <tr/tr_sink.h>
#include <tr/tr_stream.h>

extern "C" PB_BOOL trSinkAttach( TR_SINK *sink )
{
    auto attach = (PB_BOOL( * )( TR_SINK * ))dlsym( RTLD_NEXT, "trSinkAttach" );
    if( !attach( sink ) )
        return PB_FALSE;
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "EXAMPLE", -1 ) );
    trStreamTextCstr( stream.get(), "one \x1b[2J line", -1 );
    trStreamSetNotable( stream.get() );
    trStreamSetPropertyCstrString( stream.get(), "colour", -1, pb::adopt( pbStringCreateFromCstr( "red", -1 ) ).get() );
    trStreamSetPropertyCstrBool( stream.get(), "open", -1, PB_TRUE );
    trStreamDelPropertyCstr( stream.get(), "open", -1 );
    return PB_TRUE;
}
