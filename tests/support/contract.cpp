#include "support/contract.hpp"

#include <pb/pb_abort.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

static thread_local std::jmp_buf    place;
static thread_local support::Abort *current;

static void leave( const char *context, const char *file, PB_INT line, const char *expression )
{
    if( !current )
        return;
    *current               = { true, context ? context : "(null)", file, line, expression };
    static std::FILE *hits = std::getenv( "CRY_CONTRACT_HITS" ) ? std::fopen( std::getenv( "CRY_CONTRACT_HITS" ), "w" ) : nullptr;
    if( hits )
    {
        std::fprintf( hits, "%s:%lld:%s\n", file, (long long)line, expression );
        std::fflush( hits );
    }
    std::longjmp( place, 1 );
}

support::Abort support::abortOf( Call call )
{
    Abort            result;
    PB_ABORT_HANDLER before = pbAbortSetHandler( leave );
    current                 = &result;
    if( setjmp( place ) == 0 )
        call();
    current = nullptr;
    pbAbortSetHandler( before );
    return result;
}

void support::expectAbort(
    const char *testFile, int testLine, const char *text, std::string_view context, std::string_view file, std::string_view expression, Call call )
{
    Abort abort = abortOf( call );
    if( !abort.happened )
    {
        ADD_FAILURE_AT( testFile, testLine ) << "no abort: " << text;
        return;
    }
    testing::ScopedTrace place( testFile, testLine, text );
    EXPECT_EQ( abort.context, context );
    EXPECT_EQ( abort.file, file );
    EXPECT_EQ( abort.expression, expression );
    EXPECT_EQ( wrongPlaceOf( abort ), "" );
}
