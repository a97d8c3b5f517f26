#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

TEST( PbHeaderInfo, NamesTheTimeAndTheProductOnly )
{
    pb::Ref<PB_HEADER_INFO> info  = pb::adopt( pbHeaderInfoGenerate() );
    pb::Ref<PB_STORE>       store = pb::adopt( pbHeaderInfoStore( info.get() ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 3 );
    static constexpr const char *keys[] = { "created", "product", "productVersion" };
    for( PB_INT index = 0; index < 3; index++ )
    {
        EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ), keys[index] );
        EXPECT_TRUE( pb::adopt( pbStoreValueAt( store.get(), index ) ) );
    }
}

TEST( PbHeaderInfo, DoesNotChange )
{
    pb::Ref<PB_HEADER_INFO> info  = pb::adopt( pbHeaderInfoGenerate() );
    pb::Ref<PB_STORE>       first = pb::adopt( pbHeaderInfoStore( info.get() ) ), second = pb::adopt( pbHeaderInfoStore( info.get() ) );
    EXPECT_TRUE( pbStoreEquals( first.get(), second.get() ) );
    pbStoreDelCstr( first.handle(), "created", -1 );
    EXPECT_EQ( pbStoreLength( pb::adopt( pbHeaderInfoStore( info.get() ) ).get() ), 3 );
}
