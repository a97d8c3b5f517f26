#include <openssl_module/internal/openssl_errors.hpp>

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace
{

using openssl::ErrorMark;

void addErrors( std::vector<int> reasons )
{
    for( int reason : reasons )
        ERR_raise( ERR_LIB_USER, reason );
}

// Removes the reasons from the queue and gives them, the first one first.
std::vector<int> reasons()
{
    std::vector<int> list;
    while( unsigned long error = ERR_get_error() )
        list.push_back( ERR_GET_REASON( error ) );
    return list;
}

using Reasons = std::vector<int>;

}

TEST( OpensslErrors, TheScopeLeavesNothingOfItsOwn )
{
    {
        ErrorMark mark;
        addErrors( { 1, 2 } );
        EXPECT_EQ( ERR_GET_REASON( ERR_peek_error() ), 1 );
    }
    EXPECT_EQ( reasons(), Reasons{} );
}

TEST( OpensslErrors, ErrorsFromBeforeStay )
{
    addErrors( { 1, 2 } );
    {
        ErrorMark mark;
        addErrors( { 3, 4 } );
    }
    addErrors( { 5 } );
    EXPECT_EQ( reasons(), ( Reasons{ 1, 2, 5 } ) );
    // A scope that adds no error removes no error.
    addErrors( { 1 } );
    {
        ErrorMark mark;
    }
    EXPECT_EQ( reasons(), Reasons{ 1 } );
}

TEST( OpensslErrors, KeepLeavesAllThatTheScopeAdds )
{
    for( const Reasons &before : { Reasons{}, Reasons{ 1 } } )
    {
        Reasons wanted = before;
        addErrors( before );
        {
            ErrorMark mark;
            addErrors( { 2 } );
            mark.keep();
            addErrors( { 3 } );
        }
        wanted.insert( wanted.end(), { 2, 3 } );
        EXPECT_EQ( reasons(), wanted );
    }
}

TEST( OpensslErrors, MarksNestInAnyCombination )
{
    for( const Reasons &before : { Reasons{}, Reasons{ 1 } } )
    {
        // If the outer scope adds nothing before the inner one, both begin at the same error.
        for( bool between : { false, true } )
        {
            for( bool keepOuter : { false, true } )
            {
                for( bool keepInner : { false, true } )
                {
                    Reasons wanted = before;
                    addErrors( before );
                    {
                        ErrorMark outer;
                        if( between )
                            addErrors( { 2 } );
                        {
                            ErrorMark inner;
                            addErrors( { 3 } );
                            if( keepInner )
                                inner.keep();
                        }
                        addErrors( { 4 } );
                        if( keepOuter )
                            outer.keep();
                    }
                    if( keepOuter && between )
                        wanted.push_back( 2 );
                    if( keepOuter && keepInner )
                        wanted.push_back( 3 );
                    if( keepOuter )
                        wanted.push_back( 4 );
                    EXPECT_EQ( reasons(), wanted ) << before.size() << between << keepOuter << keepInner;
                }
            }
        }
    }
}

TEST( OpensslErrors, ScopesThatFollowEachOtherDoNotDisturbEachOther )
{
    addErrors( { 1 } );
    {
        ErrorMark outer;
        for( bool keep : { true, false, true } )
        {
            ErrorMark inner;
            addErrors( { 2 } );
            if( keep )
                inner.keep();
        }
        EXPECT_EQ( ERR_GET_REASON( ERR_peek_last_error() ), 2 );
    }
    EXPECT_EQ( reasons(), Reasons{ 1 } );
    // No mark stays to which a later mark would go back.
    addErrors( { 1 } );
    {
        ErrorMark mark;
        addErrors( { 2 } );
        mark.keep();
    }
    EXPECT_EQ( ERR_clear_last_mark(), 0 );
    EXPECT_EQ( reasons(), ( Reasons{ 1, 2 } ) );
}

TEST( OpensslErrors, AScopeWhoseQueueIsClearedInsideLeavesNothing )
{
    addErrors( { 1 } );
    {
        ErrorMark mark;
        ERR_clear_error();
        addErrors( { 2 } );
    }
    EXPECT_EQ( reasons(), Reasons{} );
}

TEST( OpensslErrors, EachThreadHasItsOwnQueue )
{
    addErrors( { 1 } );
    {
        ErrorMark mark;
        addErrors( { 2 } );
        std::thread( [] {
            addErrors( { 3 } );
            {
                ErrorMark own;
                addErrors( { 4 } );
            }
            EXPECT_EQ( reasons(), Reasons{ 3 } );
        } ).join();
    }
    EXPECT_EQ( reasons(), Reasons{ 1 } );
}
