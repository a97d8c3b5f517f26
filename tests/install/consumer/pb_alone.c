/* Links the base library alone and starts the module cry by its name. Prints the file of the module
   that the process then has. */
#include <pb/pb_runtime.h>
#include <pb/pb_string.h>

#include <stdio.h>
#include <string.h>

int main( void )
{
    char                line[4096];
    PB_RUNTIME_OPTIONS *options = pbRuntimeOptionsCreate();
    pbRuntimeOptionsAppendModuleCstr( &options, "cry", -1 );
    if( !pbRuntimeStart( options ) )
    {
        printf( "%s\n", pbStringPeekUtf8( pbRuntimeStartError(), NULL ) );
        return 1;
    }
    FILE *maps = fopen( "/proc/self/maps", "r" );
    while( maps && fgets( line, sizeof( line ), maps ) )
    {
        if( strstr( line, "/libcry.so" ) )
        {
            fputs( strchr( line, '/' ), stdout );
            return 0;
        }
    }
    return 1;
}
