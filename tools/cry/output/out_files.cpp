#include "output/out_files.hpp"

#include "output/error.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pb/pb_path_file.h>
#include <pb/pb_random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

std::string folderOf( const std::string &path ) { return fs::path( path ).parent_path().string(); }

int resultOf( int status ) { return status == 0 ? 0 : errno; }

}

fs::path tool::placeOf( const std::string &path )
{
    std::error_code ignored;
    fs::path        place = path;
    for( int links = 0; links < 40 && fs::is_symlink( place, ignored ); links++ )
        place = place.parent_path() / fs::read_symlink( place, ignored );
    return fs::weakly_canonical( fs::absolute( place, ignored ), ignored );
}

std::string tool::nameBeside( const std::string &path )
{
    PB_BYTE random[8];
    char    name[2 * sizeof random + 1];
    pbRandomBytes( random, sizeof random );
    for( size_t index = 0; index < sizeof random; index++ )
        std::snprintf( name + 2 * index, 3, "%02x", random[index] );
    return folderOf( path ) + "/.new-" + name;
}

void tool::syncFolder( const std::string &path )
{
    int folder = open( folderOf( path ).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC );
    if( folder < 0 )
        return;
    fsync( folder );
    close( folder );
}

int tool::renameWithoutReplacing( const std::string &from, const std::string &to )
{
    int problem = resultOf( renameat2( AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE ) );
    if( problem != EINVAL && problem != ENOSYS )
        return problem;
    // The file system does not know this flag.
    problem = resultOf( link( from.c_str(), to.c_str() ) );
    if( !problem )
        unlink( from.c_str() );
    return problem;
}

tool::OutputFiles::~OutputFiles()
{
    for( const File &file : files )
    {
        if( !file.beside.empty() )
            unlink( file.beside.c_str() );
    }
}

void tool::OutputFiles::add( const Output &output, const pb::Ref<PB_BUFFER> &content, Secrecy secrecy )
{
    files.push_back( { &output, content, secrecy, "", "" } );
}

// Writes the new file beside its target. Nothing is prepared for streams and devices.
void tool::OutputFiles::prepare( File &file )
{
    struct stat status;
    if( !file.output->toFile() )
        return;
    const std::string &path   = *file.output->path;
    bool               exists = stat( path.c_str(), &status ) == 0;
    if( !exists && errno != ENOENT )
        throw InputError( path, std::strerror( errno ) );
    if( exists && S_ISDIR( status.st_mode ) )
        throw InputError( path, std::strerror( EISDIR ) );
    if( exists && !S_ISREG( status.st_mode ) )
        return;
    if( exists && !file.output->force )
        throw inTheWay( path );
    file.isNew         = !exists;
    file.target        = placeOf( path ).string();
    std::string beside = nameBeside( file.target );
    if( int problem = pb___PathFileWrite( beside.c_str(), file.content.get(), modeOf( file.secrecy ), PB_FALSE ) )
        throw InputError( path, std::strerror( problem ) );
    file.beside = beside;
}

void tool::OutputFiles::name( File &file )
{
    const std::string &path    = *file.output->path;
    int                problem = resultOf(
        renameat2( AT_FDCWD, file.beside.c_str(), AT_FDCWD, file.target.c_str(), file.isNew ? RENAME_NOREPLACE : RENAME_EXCHANGE ) );
    if( problem == EINVAL || problem == ENOSYS )
    {
        // The file system does not know these flags. The old file gets another name meanwhile.
        std::string old = nameBeside( file.target );
        problem         = resultOf( link( file.isNew ? file.beside.c_str() : file.target.c_str(), file.isNew ? file.target.c_str() : old.c_str() ) );
        if( !problem && file.isNew )
            unlink( file.beside.c_str() );
        else if( !problem && ( problem = resultOf( rename( file.beside.c_str(), file.target.c_str() ) ) ) != 0 )
            unlink( old.c_str() );
        if( !problem )
            file.beside = file.isNew ? "" : old;
    }
    else if( !problem && file.isNew )
        file.beside.clear();
    if( problem == EEXIST )
        throw inTheWay( path );
    if( problem )
        throw InputError( path, std::strerror( problem ) );
    file.named = true;
}

void tool::OutputFiles::unname( File &file )
{
    if( !file.named )
        return;
    if( file.isNew )
        unlink( file.target.c_str() );
    else if( rename( file.beside.c_str(), file.target.c_str() ) == 0 )
        file.beside.clear();
    file.named = false;
}

void tool::OutputFiles::write()
{
    if( files.size() == 1 )
        return files[0].output->write( files[0].content.get(), files[0].secrecy );
    for( File &file : files )
        prepare( file );
    for( const File &file : files )
    {
        if( file.beside.empty() )
            file.output->write( file.content.get(), file.secrecy );
    }
    try
    {
        for( File &file : files )
        {
            if( !file.beside.empty() )
                name( file );
        }
    }
    catch( const InputError & )
    {
        for( File &file : files )
            unname( file );
        throw;
    }
    for( const File &file : files )
    {
        if( file.named )
            syncFolder( file.target );
    }
}
