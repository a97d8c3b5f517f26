// The content of an object's memory after it was freed.
#pragma once

#include <pb/pb_obj.h>
#include <pb/ref.hpp>
#include <pb/sort.hpp>

#include <gtest/gtest.h>
#include <malloc.h>

namespace support
{

// Frees the fields of an object that nobody else holds, and checks every word after its header.
// `layout` has one letter for each word: 'p' for the all-ones pointer, '-' for any other content.
template<pb::Object T>
void expectPoison( pb::Ref<T> object, std::string_view layout )
{
    static const PB_SORT withoutSlots = { { PB_OBJ_STATIC_REF_COUNT, nullptr }, nullptr, "FREED", {} };

    ASSERT_TRUE( object );
    PB_OBJ     *obj  = object.obj();
    std::string name = pbSortName( obj->sort );
    ASSERT_FALSE( pbObjIsShared( obj ) ) << name;
    ASSERT_NE( obj->sort->slots.free, nullptr ) << name;
    ASSERT_GE( malloc_usable_size( obj ), sizeof( PB_OBJ ) + layout.size() * sizeof( void * ) ) << name;
    obj->sort->slots.free( obj );

    std::string  found;
    void *const *words = reinterpret_cast<void *const *>( obj + 1 );
    for( size_t index = 0; index < layout.size(); index++ )
        found += pb::isPoison( words[index] ) ? 'p' : '-';
    EXPECT_EQ( found, layout ) << name;
    // The fields are freed already; only the memory is left to free.
    obj->sort = &withoutSlots;
}

}
