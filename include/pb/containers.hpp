// The containers of the standard library with memory of these libraries. If there is no memory, the
// process ends, as it does for an object; nothing throws. C++ only.
#pragma once

#include <pb/pb_mem.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace pb
{

// ObjectMemory: memory from the allocator of pbMemSetAllocator. It is given back before its object
// is.
struct ObjectMemory
{
    static void *take( PB_INT count, size_t size ) { return pbMemReallocN( nullptr, count, size ); }
    static void  give( void *memory ) { pbMemFree( memory ); }
};

// ProcessMemory: memory that may be held while pbMemSetAllocator replaces the allocator; for
// objects that live as long as the process.
struct ProcessMemory
{
    static void *take( PB_INT count, size_t size )
    {
        void *memory = std::calloc( (size_t)count, size );
        PB_CHECK( memory );
        return memory;
    }
    static void give( void *memory ) { std::free( memory ); }
};

template<class T, class Memory = ObjectMemory>
struct Allocator
{
    static_assert( alignof( T ) <= alignof( std::max_align_t ) );

    using value_type = T;

    template<class Other>
    struct rebind
    {
        using other = Allocator<Other, Memory>;
    };

    constexpr Allocator() = default;
    template<class Other>
    constexpr Allocator( const Allocator<Other, Memory> & )
    {
    }

    T   *allocate( size_t count ) { return static_cast<T *>( Memory::take( (PB_INT)count, sizeof( T ) ) ); }
    void deallocate( T *memory, size_t ) { Memory::give( memory ); }

    friend constexpr bool operator==( Allocator, Allocator ) { return true; }
};

template<class Memory = ObjectMemory>
using StdString = std::basic_string<char, std::char_traits<char>, Allocator<char, Memory>>;

template<class T, class Memory = ObjectMemory>
using StdVector = std::vector<T, Allocator<T, Memory>>;

template<class Key, class Value, class Before = std::less<Key>, class Memory = ObjectMemory>
using StdMap = std::map<Key, Value, Before, Allocator<std::pair<const Key, Value>, Memory>>;

template<class Key>
using StdSet = std::set<Key, std::less<Key>, Allocator<Key>>;

template<class Key, class Value, class Hash = std::hash<Key>>
using StdUnorderedMap = std::unordered_map<Key, Value, Hash, std::equal_to<Key>, Allocator<std::pair<const Key, Value>>>;

// decimal: a number as text.
template<class Memory = ObjectMemory>
StdString<Memory> decimal( PB_INT number )
{
    char digits[24];
    return StdString<Memory>( digits, std::to_chars( digits, digits + sizeof digits, number ).ptr );
}

// make, destroy: new and delete with this memory. An object that is made with ProcessMemory is
// never destroyed.
template<class T, class Memory = ObjectMemory, class... Arguments>
T *make( Arguments &&...arguments )
{
    static_assert( alignof( T ) <= alignof( std::max_align_t ) );
    return ::new( Memory::take( 1, sizeof( T ) ) ) T( std::forward<Arguments>( arguments )... );
}

template<class T>
void destroy( T *value )
{
    if( !value )
        return;
    value->~T();
    ObjectMemory::give( value );
}

}
