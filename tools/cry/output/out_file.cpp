#include "output/out_file.hpp"

#include "input/file.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/print.hpp"

#include <cerrno>
#include <cstring>
#include <pb/pb_path_file.h>
#include <sys/stat.h>
#include <unistd.h>

tool::InputError tool::inTheWay( const std::string &path ) { return InputError( path, "exists already and was not changed; --force replaces it" ); }

unsigned int tool::modeOf( Secrecy secrecy )
{
    if( secrecy == Secrecy::secret )
        return 0600;
    mode_t mask = umask( 0 );
    umask( mask );
    return 0666u & ~mask;
}

void tool::Output::addTo( CLI::App &command, const std::string &what )
{
    addOutput( command, "--out", path, "write " + what + " to this file in place of standard output" );
    command.add_flag( "--force", force, "with --out: replace a file that exists" )->needs( "--out" );
}

void tool::Output::addTo( nlohmann::ordered_json &json, const char *member ) const
{
    if( toFile() )
        json[member] = *path;
}

void tool::Output::check() const
{
    if( path && path->empty() )
        throw InputError( "the name of the file that is to be written is empty" );
    struct stat status;
    if( toFile() && !force && lstat( path->c_str(), &status ) == 0 && ( S_ISREG( status.st_mode ) || S_ISLNK( status.st_mode ) ) &&
        ( stat( path->c_str(), &status ) != 0 || S_ISREG( status.st_mode ) ) )
        throw inTheWay( *path );
}

void tool::Output::checkBeside( bool json ) const
{
    if( json && path && !toFile() )
        throw InputError( "--json and a result cannot both go to standard output" );
}

void tool::Output::write( PB_BUFFER *content, Secrecy secrecy ) const
{
    if( !toFile() )
        return printSecret( content );
    int problem = pb___PathFileWrite( path->c_str(), content, modeOf( secrecy ), force );
    if( problem == EEXIST )
        throw inTheWay( *path );
    if( problem )
        throw InputError( *path, std::strerror( problem ) );
}

void tool::Output::write( const std::string &text ) const
{
    write( pb::adopt( pbBufferCreateFromBytes( text.data(), (PB_INT)text.size() ) ).get(), Secrecy::open );
}

void tool::checkNotTerminal( const Output &output, Form form )
{
    if( form == Form::raw && !output.toFile() && isatty( STDOUT_FILENO ) )
        throw InputError( "raw bytes are not written to a terminal; use --hex, --base64 or --out" );
}

void tool::writeBytes( const Output &output, PB_BUFFER *bytes, Form form, Secrecy secrecy )
{
    checkNotTerminal( output, form );
    pb::Ref<PB_BUFFER> text = inForm( bytes, form );
    if( form != Form::raw )
        pbBufferAppendByte( text.handle(), '\n' );
    output.write( text.get(), secrecy );
}
