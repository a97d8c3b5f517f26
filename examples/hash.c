/* Prints the SHA-256 of a text: hash TEXT */
#include <cry/cry.h>
#include <pb/pb.h>

#include <stdio.h>
#include <string.h>

/* Starts the module and all that it depends on. */
static int start( void )
{
    PB_RUNTIME_OPTIONS *options = pbRuntimeOptionsCreate();
    pbRuntimeOptionsAppendModuleCstr( &options, "cry", -1 );
    int started = pbRuntimeStart( options );
    pbRuntimeOptionsRelease( options );
    if( !started )
    {
        PB_STRING *error = pbRuntimeStartError();
        fprintf( stderr, "hash: %s\n", pbStringPeekUtf8( error, NULL ) );
        pbStringRelease( error );
    }
    return started;
}

int main( int argc, char **argv )
{
    if( argc != 2 )
    {
        fprintf( stderr, "usage: hash TEXT\n" );
        return 2;
    }
    if( !start() )
        return 1;

    PB_BUFFER *data   = pbBufferCreateFromBytes( argv[1], (PB_INT)strlen( argv[1] ) );
    PB_BUFFER *digest = cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, data );
    int        result = 1;
    if( !digest )
        fprintf( stderr, "hash: there is no SHA-256 here\n" );
    else
    {
        PB_STRING *digits = pbBufferToString( digest );
        printf( "%s\n", pbStringPeekUtf8( digits, NULL ) );
        pbStringRelease( digits );
        pbBufferRelease( digest );
        result = 0;
    }
    pbBufferRelease( data );
    pbRuntimeStop();
    return result;
}
