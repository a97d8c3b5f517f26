#include "tr_event.hpp"

#include <pb/containers.hpp>
#include <pb/pb_store_codec.h>
#include <pb/pb_time.h>

static constexpr char secret[] = "(secret)";

static bool isSecret( const pb::Ref<PB_STRING> &str ) { return str && pbStringSensitive( str.get() ); }

// Its stack does not grow with the depth of the stores.
static bool holdsSecret( PB_STORE *store )
{
    pb::StdVector<pb::Ref<PB_STORE>> open;
    open.push_back( pb::share( store ) );
    while( !open.empty() )
    {
        pb::Ref<PB_STORE> current = std::move( open.back() );
        open.pop_back();
        for( PB_INT index = 0; index < pbStoreLength( current.get() ); index++ )
        {
            if( isSecret( pb::adopt( pbStoreKeyAt( current.get(), index ) ) ) || isSecret( pb::adopt( pbStoreValueAt( current.get(), index ) ) ) )
                return true;
            if( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( current.get(), index ) ) )
                open.push_back( std::move( inner ) );
        }
    }
    return false;
}

tr::Event::Event( const char *kind ) : store( pb::adopt( pbStoreCreate() ) )
{
    set( "time", pb::adopt( pbTimeToString( pb::adopt( pbTimeNow() ).get() ) ).get() );
    set( "event", kind, -1 );
}

tr::Event::Event( PB_INT stream, PB_STRING *name, const char *kind ) : store( pb::adopt( pbStoreCreate() ) )
{
    set( "time", pb::adopt( pbTimeToString( pb::adopt( pbTimeNow() ).get() ) ).get() );
    set( "stream", stream );
    set( "name", name );
    set( "event", kind, -1 );
}

tr::Event &tr::Event::set( const char *key, PB_INT value )
{
    pbStoreSetIntValueCstr( store.handle(), key, -1, value );
    return *this;
}

tr::Event &tr::Event::setBool( const char *key, PB_BOOL value )
{
    pbStoreSetBoolValueCstr( store.handle(), key, -1, value );
    return *this;
}

tr::Event &tr::Event::set( const char *key, PB_STRING *value )
{
    if( pbStringSensitive( value ) )
        return set( key, secret, -1 );
    pbStoreSetValueCstr( store.handle(), key, -1, value );
    return *this;
}

tr::Event &tr::Event::set( const char *key, PB_STORE *value )
{
    if( holdsSecret( value ) )
        return set( key, secret, -1 );
    pbStoreSetStoreCstr( store.handle(), key, -1, value );
    return *this;
}

tr::Event &tr::Event::set( const char *key, const char *text, PB_INT length )
{
    return set( key, pb::adopt( pbStringCreateFromCstr( text, length ) ).get() );
}

// The text of a store has no line feed inside a string, so every line feed and the blanks after it
// only make the text easier to read.
pb::Ref<PB_BUFFER> tr::Event::lineOf( PB_STORE *event )
{
    pb::Ref<PB_BUFFER> text  = pb::adopt( pbStoreEncode( event, nullptr ) );
    const PB_BYTE     *bytes = pbBufferBytes( text.get() );
    PB_INT             size  = pbBufferLength( text.get() );
    pb::Ref<PB_BUFFER> line  = pb::adopt( pbBufferCreate() );
    for( PB_INT from = 0; from < size; )
    {
        PB_INT to = from;
        while( to < size && bytes[to] != '\n' )
            to++;
        pbBufferAppendBytes( line.handle(), bytes + from, to - from );
        for( from = to; from < size && ( bytes[from] == '\n' || bytes[from] == ' ' ); )
            from++;
    }
    pbBufferAppendByte( line.handle(), '\n' );
    return line;
}
