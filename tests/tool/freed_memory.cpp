// To be loaded before a program (LD_PRELOAD): writes a line to the file that FREED_REPORT names for
// each block of memory that is freed with a long run of hexadecimal or base 64 digits in it, as a
// secret in text has.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

extern "C" void  __libc_free( void *memory );
extern "C" void *__libc_realloc( void *memory, size_t size );

namespace
{

constexpr size_t longRun = 60;

bool isDigit( unsigned char c ) { return std::isalnum( c ) || c == '+' || c == '/'; }

void inspect( const void *memory )
{
    const char          *path  = std::getenv( "FREED_REPORT" );
    const unsigned char *bytes = (const unsigned char *)memory;
    if( !path || !memory )
        return;
    size_t length = malloc_usable_size( const_cast<void *>( memory ) ), run = 0;
    for( size_t at = 0; at < length; at++ )
    {
        run = isDigit( bytes[at] ) ? run + 1 : 0;
        if( run != longRun )
            continue;
        char line[longRun + 2];
        std::memcpy( line, bytes + at + 1 - longRun, longRun );
        line[longRun] = '\n';
        int file      = open( path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600 );
        if( file < 0 || write( file, line, longRun + 1 ) < 0 )
            _exit( 99 );
        close( file );
        return;
    }
}

// Shows that the library is there and finds what it looks for.
__attribute__( ( constructor ) ) void begin()
{
    char *memory = (char *)std::malloc( 100 );
    std::memset( memory, 'S', 99 );
    std::free( memory );
}

}

extern "C" void free( void *memory )
{
    inspect( memory );
    __libc_free( memory );
}

extern "C" void *realloc( void *memory, size_t size )
{
    inspect( memory );
    return __libc_realloc( memory, size );
}
