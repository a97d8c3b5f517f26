#include "input/watched_file.hpp"

#include <utility>

namespace
{

bool isSame( const timespec &a, const timespec &b ) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

}

tool::WatchedFile::WatchedFile( std::string name ) : path( std::move( name ) ) { look(); }

bool tool::WatchedFile::look()
{
    struct stat old      = std::exchange( status, {} );
    bool        wasFound = std::exchange( found, stat( path.c_str(), &status ) == 0 );
    if( !found )
        status = {};
    return found != wasFound || status.st_dev != old.st_dev || status.st_ino != old.st_ino || status.st_size != old.st_size ||
        status.st_mode != old.st_mode || !isSame( status.st_mtim, old.st_mtim ) || !isSame( status.st_ctim, old.st_ctim );
}

bool tool::WatchedFile::changed()
{
    bool differs = look();
    return std::exchange( pending, differs ) && !differs;
}
