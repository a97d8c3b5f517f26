// A file that changes while a command runs.
#pragma once

#include <string>
#include <sys/stat.h>

namespace tool
{

// Tells of changes by looking at the file again and again. That finds a file that was replaced, by
// a rename or a link, as well as one that was written in place, on every file system.
class WatchedFile
{
public:
    explicit WatchedFile( std::string name );

    // To be called in regular intervals, for the first time after the file was read: whether it has
    // changed, and has then stayed as it is for one interval, so that it is not read while it is
    // being written.
    bool changed();

    bool isRegular() const { return found && S_ISREG( status.st_mode ); }
    bool isThere() const { return found; }

private:
    bool look(); // whether it looks otherwise than before

    std::string path;
    bool        found   = false;
    bool        pending = false;
    struct stat status  = {};
};

}
