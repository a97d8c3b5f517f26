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
    std::string context; // "(null)" for none
    std::string file;
    PB_INT      line = 0;
    std::string expression;
};

// A function that outlives the call it is handed to. Each of the many checks makes one of its own,
// so it costs one small function to compile, which std::function does not.
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

// Calls a function and tells how it aborted. What the skipped frames held is leaked.
Abort abortOf( Call call );

// Fails the test, at this place in it, unless the call aborts in exactly this way.
void expectAbort(
    const char *testFile, int testLine, const char *text, std::string_view context, std::string_view file, std::string_view expression, Call call );

// Each hit is also written to the file that the environment variable CRY_CONTRACT_HITS names, for
// the gate that counts checks nobody hit.
#define EXPECT_ABORT( wantedFile, wantedExpression, ... ) EXPECT_ABORT_IN( "(null)", wantedFile, wantedExpression, __VA_ARGS__ )
#define EXPECT_ABORT_IN( wantedContext, wantedFile, wantedExpression, ... ) \
    support::expectAbort( __FILE__, __LINE__, #__VA_ARGS__, wantedContext, wantedFile, wantedExpression, [&] { __VA_ARGS__; } )

// Empty if a check with the text of an abort stands at its file and line, else what is wrong.
inline std::string wrongPlaceOf( const Abort &abort ) { return wrongPlaceOfCheck( abort.file, abort.line, abort.expression ); }

}
