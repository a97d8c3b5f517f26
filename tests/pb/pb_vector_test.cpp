#include <gtest/gtest.h>

#include "support/text.hpp"

using namespace support;

TEST( PbVector, KeepsOrderAndTakesOffItsFront )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b", "c" } );
    pb::Ref<PB_OBJ>    first  = pb::adopt( pbVectorTakeFirst( vector.handle() ) );
    EXPECT_EQ( text( pbStringFrom( first.get() ) ), "a" );
    EXPECT_EQ( texts( vector.get() ), ( std::vector<std::string>{ "b", "c" } ) );
}
