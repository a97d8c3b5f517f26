#include "output/progress.hpp"

#include "output/error.hpp"
#include "output/terminal.hpp"
#include "text/printable.hpp"

#include <cstdio>
#include <unistd.h>
#include <utility>

tool::Waiting::Waiting( std::string whatFor ) : what( std::move( whatFor ) ), began( time( nullptr ) ), terminal( takesEscapes( STDERR_FILENO ) )
{
    if( !terminal )
        printError( what + ", which may take minutes" );
}

tool::Waiting::~Waiting()
{
    if( terminal )
        std::fprintf( stderr, "\r\033[K" );
}

void tool::Waiting::show()
{
    if( !terminal )
        return;
    std::fprintf( stderr, "\r\033[K%s: %lld s", what.c_str(), (long long)( time( nullptr ) - began ) );
    std::fflush( stderr );
}

tool::Progress::Progress( std::string whatFor, uint64_t totalCount, uint64_t worthShowing ) :
    what( std::move( whatFor ) ), total( totalCount ), visible( total > worthShowing && takesEscapes( STDERR_FILENO ) )
{
}

tool::Progress::~Progress() { hide(); }

void tool::Progress::hide()
{
    if( !visible || shown == -1 )
        return;
    std::fprintf( stderr, "\r\033[K" );
    shown = -1;
}

void tool::Progress::advance( uint64_t count )
{
    done += count;
    int percent = (int)( done >= total ? 100 : done * 100 / total );
    if( !visible || percent == shown )
        return;
    shown = percent;
    std::string bar( (size_t)percent / 4, '#' );
    std::fprintf( stderr, "\r\033[K[%-25s] %3d%% %s", bar.c_str(), percent, printable( what ).c_str() );
    std::fflush( stderr );
}
