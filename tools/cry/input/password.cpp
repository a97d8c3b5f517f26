#include "input/password.hpp"

#include "input/descriptor.hpp"
#include "input/file.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr PB_INT longest = 1024;

volatile sig_atomic_t caught = 0;

void remember( int number ) { caught = number; }

// The signals that end a prompt, or stop the process at it.
constexpr int signals[] = { SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP };

// A terminal that does not show the keys. The destructor makes it as it was, however the prompt
// ends.
class WithoutEcho
{
public:
    explicit WithoutEcho( int terminal ) : file( terminal )
    {
        sigset_t         blocked;
        struct sigaction action = {};
        caught                  = 0;
        action.sa_handler       = remember;
        sigemptyset( &blocked );
        for( size_t index = 0; index < std::size( signals ); index++ )
        {
            sigaddset( &blocked, signals[index] );
            sigaction( signals[index], &action, &actions[index] );
        }
        // They get through only while this waits for a key.
        sigprocmask( SIG_BLOCK, &blocked, &mask );
        changed         = tcgetattr( file, &before ) == 0;
        termios without = before;
        without.c_lflag &= ~(tcflag_t)ECHO;
        without.c_lflag |= ECHONL;
        if( changed )
            tcsetattr( file, TCSAFLUSH, &without );
    }
    ~WithoutEcho()
    {
        if( changed )
            tcsetattr( file, TCSAFLUSH, &before );
        sigprocmask( SIG_SETMASK, &mask, nullptr );
        for( size_t index = 0; index < std::size( signals ); index++ )
            sigaction( signals[index], &actions[index], nullptr );
    }
    WithoutEcho( const WithoutEcho & )            = delete;
    WithoutEcho &operator=( const WithoutEcho & ) = delete;

    // False if a signal came instead.
    bool waitForKey() const
    {
        pollfd keys = { file, POLLIN, 0 };
        while( ppoll( &keys, 1, nullptr, &mask ) < 0 )
        {
            if( caught )
                return false;
            if( errno != EINTR )
                break;
        }
        return true;
    }

private:
    int              file;
    bool             changed;
    termios          before{};
    sigset_t         mask;
    struct sigaction actions[std::size( signals )];
};

// Where a password comes from.
struct Source
{
    int         descriptor;
    std::string name; // the file's path, if it is one
    bool        isFile = false;

    tool::InputError error( const std::string &problem ) const
    {
        return isFile ? tool::InputError( name, problem ) : tool::InputError( name + ": " + problem );
    }
};

// The first line; null if a signal ended it. It is read byte by byte, so that other readers get the
// bytes behind it.
pb::Ref<PB_BUFFER> readLine( const Source &source, const WithoutEcho *quiet = nullptr )
{
    pb::Ref<PB_BUFFER> line = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( line.handle() );
    for( ;; )
    {
        char c;
        if( quiet && !quiet->waitForKey() )
            return {};
        ssize_t count = read( source.descriptor, &c, 1 );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            throw source.error( std::strerror( errno ) );
        if( count == 0 || c == '\n' )
            break;
        if( pbBufferLength( line.get() ) == longest )
            throw source.error( "a password of more than 1024 bytes" );
        pbBufferAppendByte( line.handle(), (PB_BYTE)c );
    }
    PB_INT length = pbBufferLength( line.get() );
    if( length && pbBufferByteAt( line.get(), length - 1 ) == '\r' )
        pbBufferDelInner( line.handle(), length - 1, 1 );
    return line;
}

// The number of a descriptor that can be read. Throws InputError, which names the option for a text
// that is no number.
int readableDescriptor( const std::string &text, const std::string &option )
{
    int         number = (int)tool::number( text, option, 0, 65535 );
    std::string name   = "descriptor " + std::to_string( number ) + ": ";
    int         flags  = fcntl( number, F_GETFD );
    struct stat status;
    // Descriptors with this flag are the tool's own; those that it was given do not have it.
    if( flags < 0 || flags & FD_CLOEXEC || fstat( number, &status ) != 0 )
        throw tool::InputError( name + std::strerror( EBADF ) );
    if( S_ISDIR( status.st_mode ) )
        throw tool::InputError( name + std::strerror( EISDIR ) );
    if( ( fcntl( number, F_GETFL ) & O_ACCMODE ) == O_WRONLY )
        throw tool::InputError( name + "is open for writing only" );
    return number;
}

pb::Ref<PB_BUFFER> ask( const std::string &prompt, const tool::InputError &otherwise )
{
    tool::Descriptor terminal{ open( "/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY ) };
    if( terminal.number < 0 )
        throw otherwise;
    for( ;; )
    {
        pb::Ref<PB_BUFFER> line;
        {
            WithoutEcho quiet( terminal.number );
            if( write( terminal.number, prompt.data(), prompt.size() ) < 0 )
                throw tool::InputError( std::string( "the terminal: " ) + std::strerror( errno ) );
            line = readLine( { terminal.number, "the terminal" }, &quiet );
        }
        if( line )
            return line;
        if( write( terminal.number, "\n", 1 ) < 0 )
            throw tool::InputError( std::string( "the terminal: " ) + std::strerror( errno ) );
        // The signal now has its usual effect; a process that was stopped asks again after it goes
        // on.
        raise( caught );
        if( caught != SIGTSTP )
            throw tool::InputError( "no password was given" );
    }
}

}

void tool::PasswordOptions::addTo( CLI::App &command, const std::string &what, const std::string &prefix )
{
    fileName              = "--" + prefix + "password-file";
    descriptorName        = "--" + prefix + "password-fd";
    CLI::Option *fromFile = addOption( command, fileName, file, "FILE", "the first line of this file is the password of " + what );
    addOption( command, descriptorName, descriptor, "N", "the first line that this descriptor gives is that password" )
        ->excludes( fromFile )
        ->check( [this]( const std::string &text ) {
            // A command that needs no password would not look at it.
            readableDescriptor( text, descriptorName );
            return std::string();
        } );
    valuesOf( command.get_option( descriptorName ) ).kind = Values::descriptor;
}

pb::Ref<PB_BUFFER> tool::PasswordOptions::get( const std::string &path )
{
    if( known )
        return known;
    int number = descriptor ? readableDescriptor( *descriptor, descriptorName ) : -1;
    if( path == "-" && ( number == STDIN_FILENO || ( file && *file == "-" ) ) )
        throw InputError( "standard input cannot give both a file and its password" );
    if( number >= 0 )
        known = readLine( { number, "descriptor " + std::to_string( number ) } );
    else if( file && *file == "-" )
        known = readLine( { STDIN_FILENO, *file, true } );
    else if( !file )
        known = ask( "Password for " + nameOf( path ) + ": ",
            InputError( path, "is protected by a password, and there is no terminal to ask for it; give " + fileName + " or " + descriptorName ) );
    else
    {
        Descriptor opened{ open( file->c_str(), O_RDONLY | O_CLOEXEC ) };
        if( opened.number < 0 )
            throw InputError( *file, std::strerror( errno ) );
        warnIfOthersCanRead( *file, "the password" );
        known = readLine( { opened.number, *file, true } );
    }
    return known;
}

pb::Ref<PB_BUFFER> tool::PasswordOptions::getNew( const std::string &path )
{
    pb::Ref<PB_BUFFER> password;
    if( given() )
        password = get( path );
    else
    {
        InputError otherwise( path, "there is no terminal to ask for its new password; give " + fileName + " or " + descriptorName );
        password = ask( "New password for " + nameOf( path ) + ": ", otherwise );
        if( !pbBufferEquals( password.get(), ask( "Once more: ", otherwise ).get() ) )
            throw InputError( "the two passwords differ; nothing was written" );
    }
    if( !pbBufferLength( password.get() ) )
        throw InputError( "the new password is empty, which protects nothing; nothing was written" );
    return password;
}

pb::Ref<PB_STRING> tool::passwordText( const pb::Ref<PB_BUFFER> &password )
{
    if( !password )
        return {};
    pb::Ref<PB_STRING> text = pb::adopt(
        pbStringTryCreateFromCstr( (const char *)pbBufferBytes( password.get() ), pbBufferLength( password.get() ) ) );
    if( !text || !pbStringTryPeekCstr( text.get() ) )
        throw InputError( "the password is not text in UTF-8 without zero bytes" );
    pbStringSetSensitive( text.handle() );
    return text;
}
