#include "password.hpp"

#include "command.hpp"
#include "descriptor.hpp"
#include "input.hpp"
#include "terminal.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr PB_INT longest = 1024;

// The terminal is as it was when this is gone, and while this is there no signal leaves it otherwise.
class WithoutEcho
{
public:
    explicit WithoutEcho( int terminal ) : file( terminal )
    {
        sigset_t all;
        sigemptyset( &all );
        for( int each : { SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP } )
            sigaddset( &all, each );
        changed = tcgetattr( file, &before ) == 0;
        sigprocmask( SIG_BLOCK, &all, &signals );
        termios without = before;
        without.c_lflag &= ~(tcflag_t)( ECHO | ISIG );
        without.c_lflag |= ECHONL;
        if( changed )
            tcsetattr( file, TCSAFLUSH, &without );
    }
    ~WithoutEcho()
    {
        if( changed )
            tcsetattr( file, TCSAFLUSH, &before );
        sigprocmask( SIG_SETMASK, &signals, nullptr );
    }
    WithoutEcho( const WithoutEcho & )            = delete;
    WithoutEcho &operator=( const WithoutEcho & ) = delete;

    char interrupt() const { return (char)before.c_cc[VINTR]; }

private:
    int      file;
    bool     changed;
    termios  before{};
    sigset_t signals;
};

// The first line, byte by byte, so that nothing behind it is taken away from other readers.
pb::Ref<PB_BUFFER> readLine( int file, const std::string &name, char interrupt = 0 )
{
    pb::Ref<PB_BUFFER> line = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( line.handle() );
    for( ;; )
    {
        char    c;
        ssize_t count = read( file, &c, 1 );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            throw tool::Unusable( name + ": " + std::strerror( errno ) );
        if( interrupt && count && c == interrupt )
            throw tool::Unusable( "no password was given" );
        if( count == 0 || c == '\n' )
            break;
        if( pbBufferLength( line.get() ) == longest )
            throw tool::Unusable( name + ": a password of more than 1024 bytes" );
        pbBufferAppendByte( line.handle(), (PB_BYTE)c );
    }
    PB_INT length = pbBufferLength( line.get() );
    if( length && pbBufferByteAt( line.get(), length - 1 ) == '\r' )
        pbBufferDelInner( line.handle(), length - 1, 1 );
    return line;
}

pb::Ref<PB_BUFFER> ask( const std::string &prompt, const std::string &otherwise )
{
    tool::Descriptor terminal{ open( "/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY ) };
    if( terminal.number < 0 )
        throw tool::Unusable( otherwise );
    WithoutEcho quiet( terminal.number );
    if( write( terminal.number, prompt.data(), prompt.size() ) < 0 )
        throw tool::Unusable( std::string( "the terminal: " ) + std::strerror( errno ) );
    return readLine( terminal.number, "the terminal", quiet.interrupt() );
}

}

void tool::PasswordOptions::addTo( CLI::App &command, const std::string &what, const std::string &prefix )
{
    std::string  fileName = "--" + prefix + "password-file", descriptorName = "--" + prefix + "password-fd";
    CLI::Option *fromFile = command.add_option( fileName, file, "the first line of this file is the password of " + what )->type_name( "FILE" );
    fromFile->transform( plain );
    command.add_option( descriptorName, descriptor, "the first line that this descriptor gives is that password" )
        ->type_name( "N" )
        ->excludes( fromFile )
        ->transform( plain )
        ->check( CLI::NonNegativeNumber );
    names = fileName + " or " + descriptorName;
}

pb::Ref<PB_BUFFER> tool::PasswordOptions::get( const std::string &path )
{
    if( known )
        return known;
    if( descriptor >= 0 )
        known = readLine( descriptor, "descriptor " + std::to_string( descriptor ) );
    else if( file.empty() )
        known = ask( "Password for " + nameOf( path ) + ": ",
            nameOf( path ) + ": is protected by a password, and there is no terminal to ask for it; give " + names );
    else
    {
        Descriptor opened{ open( file.c_str(), O_RDONLY | O_CLOEXEC ) };
        if( opened.number < 0 )
            throw Unusable( nameOf( file ) + ": " + std::strerror( errno ) );
        warnIfOthersCanRead( file, "the password" );
        known = readLine( opened.number, nameOf( file ) );
    }
    return known;
}

pb::Ref<PB_BUFFER> tool::PasswordOptions::getNew( const std::string &path )
{
    if( given() )
        return get( path );
    std::string        otherwise = nameOf( path ) + ": there is no terminal to ask for its new password; give " + names;
    pb::Ref<PB_BUFFER> first     = ask( "New password for " + nameOf( path ) + ": ", otherwise );
    pb::Ref<PB_BUFFER> second    = ask( "Once more: ", otherwise );
    if( !pbBufferEquals( first.get(), second.get() ) )
        throw Unusable( "the two passwords differ; nothing was written" );
    return first;
}
