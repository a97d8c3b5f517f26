#include "output/out_stream.hpp"

#include "input/descriptor.hpp"
#include "output/out_files.hpp"
#include "output/print.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace
{

// The path by which a file without a name gets one.
std::string pathOf( int descriptor ) { return "/proc/self/fd/" + std::to_string( descriptor ); }

int openNameless( const std::string &folder )
{
    if( access( "/proc/self/fd", X_OK ) != 0 )
        return -1;
    return open( folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 );
}

}

tool::OutputStream::OutputStream( const Output &wanted, bool held ) : output( wanted )
{
    output.check();
    if( !output.toFile() )
    {
        if( isatty( STDOUT_FILENO ) )
            throw InputError( "raw bytes are not written to a terminal; use --out" );
        flushOutput();
        device = STDOUT_FILENO;
    }
    else
    {
        const std::string &path = *output.path;
        struct stat        status;
        bool               exists = stat( path.c_str(), &status ) == 0;
        if( exists ? S_ISDIR( status.st_mode ) : errno != ENOENT )
            throw InputError( path, std::strerror( exists ? EISDIR : errno ) );
        if( !exists || S_ISREG( status.st_mode ) )
        {
            target = placeOf( path ).string();
            openBeside();
            return;
        }
        device = open( path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY );
        if( device < 0 )
            check( errno );
    }
    if( held )
        openHeld();
    else
        std::swap( file, device );
}

tool::OutputStream::~OutputStream()
{
    for( int each : { file, device } )
    {
        if( each > STDERR_FILENO )
            close( each );
    }
    if( !beside.empty() )
        unlink( beside.c_str() );
}

void tool::OutputStream::openBeside()
{
    file = openNameless( fs::path( target ).parent_path().string() );
    if( file >= 0 )
        return;
    // The file system has no files without a name.
    std::string name = nameBeside( target );
    file             = open( name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600 );
    if( file < 0 )
        check( errno );
    beside = name;
}

void tool::OutputStream::openHeld()
{
    std::error_code ignored;
    fs::path        folder = fs::temp_directory_path( ignored );
    if( folder.empty() )
        folder = "/tmp";
    file = openNameless( folder.string() );
    if( file >= 0 )
        return;
    std::string name = folder.string() + "/cry-XXXXXX";
    file             = mkostemp( name.data(), O_CLOEXEC );
    if( file < 0 )
        throw InputError( folder.string(), std::string( "a temporary file cannot be made: " ) + std::strerror( errno ) );
    unlink( name.c_str() );
}

void tool::OutputStream::check( int problem ) const
{
    if( !problem )
        return;
    if( output.toFile() )
        throw InputError( *output.path, std::strerror( problem ) );
    if( device < 0 )
        throw OutputError( problem );
    throw InputError( std::string( "the temporary file for standard output: " ) + std::strerror( problem ) );
}

void tool::OutputStream::write( const PB_BYTE *bytes, size_t count ) { check( writeAll( file, bytes, count ) ); }

// Gives the file its name; 0 or a number of <errno.h>.
int tool::OutputStream::name()
{
    if( beside.empty() )
    {
        // A file that is there is replaced by a rename only, for which the new one needs a name.
        std::string first = output.force ? nameBeside( target ) : target;
        if( linkat( AT_FDCWD, pathOf( file ).c_str(), AT_FDCWD, first.c_str(), AT_SYMLINK_FOLLOW ) != 0 )
            return errno;
        if( !output.force )
            return 0;
        beside = first;
    }
    int problem = !output.force ? renameWithoutReplacing( beside, target ) : rename( beside.c_str(), target.c_str() ) == 0 ? 0 : errno;
    if( !problem )
        beside.clear();
    return problem;
}

// Copies what was held.
void tool::OutputStream::passOn() const
{
    std::vector<PB_BYTE> piece( 1 << 20 );
    for( off_t at = 0;; )
    {
        ssize_t count = pread( file, piece.data(), piece.size(), at );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            check( errno );
        if( count == 0 )
            return;
        at += count;
        if( int problem = writeAll( device, piece.data(), (size_t)count ) )
        {
            if( output.toFile() )
                throw InputError( *output.path, std::strerror( problem ) );
            throw OutputError( problem );
        }
    }
}

void tool::OutputStream::finish()
{
    if( device >= 0 )
        return passOn();
    if( target.empty() )
        return;
    if( fchmod( file, (mode_t)modeOf( Secrecy::open ) ) != 0 || fsync( file ) != 0 )
        check( errno );
    int problem = name();
    if( problem == EEXIST )
        throw inTheWay( *output.path );
    check( problem );
    syncFolder( target );
}
