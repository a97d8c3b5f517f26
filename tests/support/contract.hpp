// Broken contracts, run in the test's own process: an abort handler leaves the broken call by
// longjmp. Not for checks that are made under a lock.
#pragma once

#include "support/check_sites.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace support
{

struct Abort
{
    bool        happened = false;
    std::string context; // "(null)" if there is none
    std::string file;
    PB_INT      line = 0;
    std::string expression;
};

// Holds a function without owning it: the function must live longer than the call that gets it.
// Each of the many checks has such a function. It compiles faster than std::function.
class Call
{
public:
    template<typename Function>
        requires( !std::is_same_v<std::remove_cvref_t<Function>, Call> )
    Call( Function &&function ) : object( std::addressof( function ) ), run( runOn<std::remove_reference_t<Function>> )
    {
    }

    void operator()() const { run( object ); }

private:
    template<typename Function>
    static void runOn( const void *object )
    {
        ( *static_cast<const Function *>( object ) )();
    }

    const void *object;
    void ( *run )( const void *object );
};

// Calls a function and describes its abort. Objects of the skipped stack frames are leaked.
Abort abortOf( Call call );

// Fails the test, at this file and line, unless the call aborts in exactly this way.
void expectAbort(
    const char *testFile, int testLine, const char *text, std::string_view context, std::string_view file, std::string_view expression, Call call );

// Each hit is also written to the file that the environment variable CRY_CONTRACT_HITS names, for
// the gate that finds checks without a hit.
#define EXPECT_ABORT( wantedFile, wantedExpression, ... ) EXPECT_ABORT_IN( "(null)", wantedFile, wantedExpression, __VA_ARGS__ )
#define EXPECT_ABORT_IN( wantedContext, wantedFile, wantedExpression, ... ) \
    support::expectAbort( __FILE__, __LINE__, #__VA_ARGS__, wantedContext, wantedFile, wantedExpression, [&] { __VA_ARGS__; } )

// Empty if a check with the text of an abort is at its file and line, else the reason.
inline std::string wrongPlaceOf( const Abort &abort ) { return wrongPlaceOfCheck( abort.file, abort.line, abort.expression ); }

}
