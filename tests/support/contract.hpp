// Broken contracts, run in the test's own process: an abort handler leaves the broken call by longjmp. Not for checks that are made under a lock.
#pragma once

#include "support/check_sites.hpp"

#include <gtest/gtest.h>
#include <string>

#include <functional>

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

// Calls a function and tells how it aborted. What the skipped frames held is leaked.
Abort abortOf( const std::function<void()> &call );

// Empty when a check with the text of an abort stands at its file and line, else what is wrong.
inline std::string wrongPlaceOf( const Abort &abort ) { return wrongPlaceOfCheck( abort.file, abort.line, abort.expression ); }

// Each hit is also written to the file that the environment variable CRY_CONTRACT_HITS names, for the gate that counts checks nobody hit.
#define EXPECT_ABORT( wantedFile, wantedExpression, ... ) EXPECT_ABORT_IN( "(null)", wantedFile, wantedExpression, __VA_ARGS__ )
#define EXPECT_ABORT_IN( wantedContext, wantedFile, wantedExpression, ... ) \
    do                                                                      \
    {                                                                       \
        support::Abort abort = support::abortOf( [&] { __VA_ARGS__; } );    \
        EXPECT_TRUE( abort.happened ) << "no abort: " #__VA_ARGS__;         \
        if( abort.happened )                                                \
        {                                                                   \
            EXPECT_EQ( abort.context, wantedContext );                      \
            EXPECT_EQ( abort.file, wantedFile );                            \
            EXPECT_EQ( abort.expression, wantedExpression );                \
            EXPECT_EQ( support::wrongPlaceOf( abort ), "" );                \
        }                                                                   \
    }                                                                       \
    while( 0 )

}
