#include "vault/cry_vault_leftovers.hpp"

#include <algorithm>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Another process can have a vault of another name, and so another lock, in this directory.
constexpr time_t leastAge = 60 * 60;

// The names that pbPathFileWriteBuffer gives to its files.
bool isNameOfNewFile( std::string_view name )
{
    constexpr std::string_view prefix = ".new-";
    return name.size() == prefix.size() + 16 && name.starts_with( prefix ) &&
        name.find_first_not_of( "0123456789abcdef", prefix.size() ) == name.npos;
}

bool isOldAndOwn( const struct stat &status )
{
    return S_ISREG( status.st_mode ) && status.st_uid == geteuid() && status.st_nlink == 1 && status.st_mtime < time( nullptr ) - leastAge;
}

// Whether the bytes of a file, as far as it goes, are those with which a vault's file begins.
bool beginsAs( int file, std::string_view begin )
{
    char    room[256];
    ssize_t count = read( file, room, std::min( begin.size(), sizeof room ) );
    return count >= 0 && begin.starts_with( std::string_view( room, (size_t)count ) );
}

bool isLeftover( int folder, const char *name, std::string_view begin )
{
    int file = isNameOfNewFile( name ) ? openat( folder, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK ) : -1;
    if( file < 0 )
        return false;
    struct stat status;
    bool        result = fstat( file, &status ) == 0 && isOldAndOwn( status ) && beginsAs( file, begin );
    close( file );
    return result;
}

}

void cry::vault::removeLeftovers( PB_STRING *directory, std::string_view begin )
{
    const char *path   = pbStringTryPeekCstr( directory );
    DIR        *folder = path ? opendir( path ) : nullptr;
    if( !folder )
        return;
    while( const struct dirent *entry = readdir( folder ) )
    {
        if( isLeftover( dirfd( folder ), entry->d_name, begin ) )
            unlinkat( dirfd( folder ), entry->d_name, 0 );
    }
    closedir( folder );
}
