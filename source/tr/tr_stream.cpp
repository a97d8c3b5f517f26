#include <pb/pb_string.h>
#include <pb/sort.hpp>
#include <tr/tr_stream.h>

#include <cstring>

#include "tr_event.hpp"
#include "tr_sinks.hpp"

struct TR_STREAM : PB_OBJ
{
    PB_STRING *name;
    PB_INT     number;
};

static constexpr auto streamFields = pb::fields<&TR_STREAM::name, &TR_STREAM::number>;

static PB_STRING *streamToString( TR_STREAM *stream )
{
    PB_CHECK( stream );
    return pbStringCreateFromFormatCstr( "%s %i", -1, stream->name, stream->number );
}

PB_SORT_DEFINE( tr, Stream, TR_STREAM, PB_FREE_FIELDS( TR_STREAM, stream, streamFields ), .toString = pb::slot<streamToString> )

static constinit std::atomic<PB_INT> streams{ 0 };

TR_STREAM *trStreamCreateCstr( const char *name, PB_INT length )
{
    PB_CHECK( name );
    PB_CHECK( length >= -1 );
    pb::Ref<PB_STRING> text   = pb::adopt( pbStringCreateFromCstr( name, length ) );
    TR_STREAM         *stream = pb::create<TR_STREAM>();
    stream->name              = text.take();
    stream->number            = streams.fetch_add( 1, std::memory_order_relaxed ) + 1;
    return stream;
}

PB_STRING *trStreamName( TR_STREAM *stream ) { return PB_CHECK( stream ), pb::shareOrNull( stream->name ); }

PB_INT trStreamNumber( TR_STREAM *stream ) { return PB_CHECK( stream ), stream->number; }

PB_BOOL trStreamActive( TR_STREAM *stream ) { return PB_CHECK( stream ), tr::isListening(); }

static tr::Event eventOf( TR_STREAM *stream, const char *kind ) { return { stream->number, stream->name, kind }; }

void trStreamTextCstr( TR_STREAM *stream, const char *text, PB_INT length )
{
    PB_CHECK( stream );
    PB_CHECK( text );
    PB_CHECK( length >= -1 );
    if( tr::isListening() )
        tr::emit( eventOf( stream, "text" ).set( "text", text, length ).get() );
}

// Whether a conversion of a format has the flag that consumes its argument.
static bool consumesArgument( const char *format, PB_INT length )
{
    const char *end = format + ( length < 0 ? (PB_INT)std::strlen( format ) : length );
    for( const char *at = format; at < end; at++ )
    {
        if( *at != '%' )
            continue;
        for( at++; at < end && ( *at == '0' || *at == '-' || *at == '#' || *at == '~' ); at++ )
        {
            if( *at == '~' )
                return true;
        }
    }
    return false;
}

void trStreamTextFormatCstr( TR_STREAM *stream, const char *format, PB_INT length, ... )
{
    PB_CHECK( stream );
    PB_CHECK( format );
    PB_CHECK( length >= -1 );
    if( !tr::isListening() )
        return;
    bool consumes = consumesArgument( format, length );
    PB_CHECK( !consumes );
    va_list args;
    va_start( args, length );
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromFormatCstrArgs( format, length, args ) );
    va_end( args );
    tr::emit( eventOf( stream, "text" ).set( "text", text.get() ).get() );
}

void trStreamSetNotable( TR_STREAM *stream )
{
    PB_CHECK( stream );
    if( tr::isListening() )
        tr::emit( eventOf( stream, "notable" ).get() );
}

void trStreamSetConfiguration( TR_STREAM *stream, PB_STORE *store )
{
    PB_CHECK( stream );
    PB_CHECK( store );
    if( tr::isListening() )
        tr::emit( eventOf( stream, "configuration" ).set( "value", store ).get() );
}

static tr::Event propertyOf( TR_STREAM *stream, const char *kind, const char *key, PB_INT length )
{
    tr::Event event = eventOf( stream, kind );
    event.set( "key", key, length );
    return event;
}

void trStreamSetPropertyCstrString( TR_STREAM *stream, const char *key, PB_INT length, PB_STRING *value )
{
    PB_CHECK( stream );
    PB_CHECK( key );
    PB_CHECK( length >= -1 );
    PB_CHECK( value );
    if( tr::isListening() )
        tr::emit( propertyOf( stream, "property", key, length ).set( "value", value ).get() );
}

void trStreamSetPropertyCstrBool( TR_STREAM *stream, const char *key, PB_INT length, PB_BOOL value )
{
    PB_CHECK( stream );
    PB_CHECK( key );
    PB_CHECK( length >= -1 );
    if( tr::isListening() )
        tr::emit( propertyOf( stream, "property", key, length ).setBool( "value", value ).get() );
}

void trStreamSetPropertyCstrStore( TR_STREAM *stream, const char *key, PB_INT length, PB_STORE *value )
{
    PB_CHECK( stream );
    PB_CHECK( key );
    PB_CHECK( length >= -1 );
    PB_CHECK( value );
    if( tr::isListening() )
        tr::emit( propertyOf( stream, "property", key, length ).set( "value", value ).get() );
}

void trStreamDelPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length )
{
    PB_CHECK( stream );
    PB_CHECK( key );
    PB_CHECK( length >= -1 );
    if( tr::isListening() )
        tr::emit( propertyOf( stream, "propertyDeleted", key, length ).get() );
}
