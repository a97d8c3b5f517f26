#include "output/output.hpp"

#include "input/input.hpp"
#include "options/command.hpp"
#include "output/terminal.hpp"

#include <cerrno>
#include <cstring>
#include <pb/pb_path_file.h>
#include <rfc/rfc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

tool::InputError inTheWay( const std::string &path )
{
    return tool::InputError( tool::nameOf( path ) + ": is there already and was not changed; --force puts the new one in its place" );
}

unsigned int modeOf( tool::Secrecy secrecy )
{
    if( secrecy == tool::Secrecy::secret )
        return 0600;
    mode_t mask = umask( 0 );
    umask( mask );
    return 0666u & ~mask;
}

}

void tool::Output::addTo( CLI::App &command, const std::string &what )
{
    command.add_option( "--out", path, "write " + what + " to this file in place of standard output" )->type_name( "FILE" )->transform( plain );
    command.add_flag( "--force", force, "with --out: put it in the place of a file that is there" )->needs( "--out" );
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

void tool::Output::write( PB_BUFFER *content, Secrecy secrecy ) const
{
    if( !toFile() )
        return printSecret( content );
    int problem = pb___PathFileWrite( path->c_str(), content, modeOf( secrecy ), force );
    if( problem == EEXIST )
        throw inTheWay( *path );
    if( problem )
        throw InputError( nameOf( *path ) + ": " + std::strerror( problem ) );
}

void tool::Output::write( const std::string &text ) const
{
    write( pb::adopt( pbBufferCreateFromBytes( text.data(), (PB_INT)text.size() ) ).get(), Secrecy::open );
}

void tool::FormOptions::addTo( CLI::App &command, const std::string &what )
{
    CLI::Option *asHex = command.add_flag( "--hex", hex, what + " hexadecimal digits" );
    command.add_flag( "--base64", base64, what + " base 64 (RFC 4648)" )->excludes( asHex );
}

pb::Ref<PB_BUFFER> tool::inForm( PB_BUFFER *bytes, Form form )
{
    if( form == Form::raw )
        return pb::share( bytes );
    if( form == Form::base64 )
        return pb::adopt( rfcBaseEncode( bytes, RFC_BASE_64 ) );
    static constexpr char digits[] = "0123456789abcdef";
    pb::Ref<PB_BUFFER>    text     = pb::adopt( pbBufferCreate() );
    if( pbBufferSensitive( bytes ) )
        pbBufferSetSensitive( text.handle() );
    PB_INT   length = pbBufferLength( bytes );
    PB_BYTE *to     = pb___BufferExtend( text.handle(), 2 * length );
    for( PB_INT index = 0; index < length; index++ )
    {
        PB_BYTE byte = pbBufferBytes( bytes )[index];
        *to++        = (PB_BYTE)digits[byte >> 4];
        *to++        = (PB_BYTE)digits[byte & 0xF];
    }
    return text;
}

std::string tool::textOf( PB_BUFFER *bytes ) { return { (const char *)pbBufferBytes( bytes ), (size_t)pbBufferLength( bytes ) }; }

std::string tool::textInForm( PB_BUFFER *bytes, Form form ) { return textOf( inForm( bytes, form ).get() ); }

void tool::writeBytes( const Output &output, PB_BUFFER *bytes, Form form, Secrecy secrecy )
{
    if( form == Form::raw && !output.toFile() && isatty( STDOUT_FILENO ) )
        throw InputError( "raw bytes do not go to a terminal; --hex, --base64 or --out gives them another way" );
    pb::Ref<PB_BUFFER> text = inForm( bytes, form );
    if( form != Form::raw )
        pbBufferAppendByte( text.handle(), '\n' );
    output.write( text.get(), secrecy );
}
