// The list of a type's fields: what its objects release, copy and compare. C++ only.
#pragma once

#include <pb/pb_obj.h>
#include <pb/ref.hpp>

#include <cstddef>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

namespace pb
{

// The value that a released pointer is left with, so that a later use traps.
inline void *poison() { return reinterpret_cast<void *>( ~uintptr_t{ 0 } ); }

template<class T>
inline bool isPoison( T *pointer )
{
    return pointer == static_cast<void *>( poison() );
}

// The store is volatile, or the optimiser would drop it before the memory goes back.
template<class T>
inline void setPoison( T *&pointer )
{
    *const_cast<T *volatile *>( &pointer ) = static_cast<T *>( poison() );
}

// Field: what a field of type T does on release, copy and compare. The primary template is
// undefined, so a type must be known here (or where OpenSSL's types are made known) before it can
// stand in a list of fields. A type that cannot be copied or compared leaves that function out.
template<class T>
struct Field;

template<class T>
struct PlainField
{
    static void   release( [[maybe_unused]] T &field ) {}
    static void   copy( T &to, const T &from ) { to = from; }
    static PB_INT compare( const T &a, const T &b ) { return a < b ? -1 : b < a ? 1 : 0; }
};

template<>
struct Field<PB_INT> : PlainField<PB_INT>
{
};
template<>
struct Field<PB_BOOL> : PlainField<PB_BOOL>
{
};

// A field that its own destructor ends, such as a mutex, and that each object has for itself: a
// copy begins with a new one.
template<class T>
struct OwnField
{
    static void release( T &field ) { std::destroy_at( &field ); }
    static void copy( T &, const T & ) {}
};

template<Object T>
struct Field<T *>
{
    static void release( T *&field )
    {
        releaseOrNull( field );
        setPoison( field );
    }
    static void   copy( T *&to, T *from ) { to = shareOrNull( from ); }
    static PB_INT compare( T *a, T *b ) { return pbObjCompare( asObj( a ), asObj( b ) ); }
};

template<class Struct, class T>
std::type_identity<T> memberType( T Struct::* );
template<class Struct, class T>
Struct memberOwner( T Struct::* );

// What fieldsChecked knows of a struct: how many initialisers it takes, and where its members are.

struct AnyInitialiser
{
    template<class T>
    operator T() const;
};

template<class Struct, size_t... Index>
consteval bool takesInitialisers( std::index_sequence<Index...> )
{
    return requires { Struct{ PB_OBJ{}, ( (void)Index, AnyInitialiser{} )... }; };
}

template<class Struct>
union Probe
{
    char   none;
    Struct value;
    constexpr Probe() : none() {}
    constexpr ~Probe() {}
};

template<class Struct>
inline constexpr Probe<Struct> probe{};

template<auto First, auto Second>
consteval bool standsBefore()
{
#ifdef __clang__
    // Clang does not compare addresses of members of different types in constant expressions.
    return true;
#else
    using Struct = decltype( memberOwner( First ) );
    return static_cast<const void *>( &( probe<Struct>.value.*First ) ) < static_cast<const void *>( &( probe<Struct>.value.*Second ) );
#endif
}

template<auto... Members>
consteval bool areAscending()
{
    constexpr size_t count = sizeof...( Members );
    return []<size_t... Index>( std::index_sequence<Index...> ) {
        [[maybe_unused]] constexpr auto members = std::tuple( Members... );
        return ( standsBefore<std::get<Index>( members ), std::get<Index + 1>( members )>() && ... );
    }( std::make_index_sequence<count - 1>{} );
}

// Fields: fields of a struct in declaration order.
template<auto First, auto... Rest>
struct Fields
{
    using Struct = decltype( memberOwner( First ) );

    template<auto Member>
    using Type = typename decltype( memberType( Member ) )::type;

    // The initialisers that one member takes: an array takes one for each element.
    template<auto Member>
    static constexpr size_t initialisers = std::extent_v<Type<Member>> ? std::extent_v<Type<Member>> : 1;

    static constexpr size_t totalInitialisers = ( initialisers<First> + ... + initialisers<Rest> );

    // Whether the list names as many members as the struct has.
    static consteval bool isComplete()
    {
        return takesInitialisers<Struct>( std::make_index_sequence<totalInitialisers>{} ) &&
            !takesInitialisers<Struct>( std::make_index_sequence<totalInitialisers + 1>{} );
    }

    // Whether it names each once, in the order of their declaration.
    static consteval bool isInOrder() { return areAscending<First, Rest...>(); }

    // Releases and poisons in order.
    static void release( Struct *obj )
    {
        Field<Type<First>>::release( obj->*First );
        ( Field<Type<Rest>>::release( obj->*Rest ), ... );
    }

    // Fills a new object with the values of another; object fields are shared.
    static void copy( Struct *to, const Struct *from )
    {
        Field<Type<First>>::copy( to->*First, from->*First );
        ( Field<Type<Rest>>::copy( to->*Rest, from->*Rest ), ... );
    }

    // Null first; the first field that differs decides.
    static PB_INT compare( const Struct *objA, const Struct *objB )
    {
        PB_INT order = Field<Type<First>>::compare( objA->*First, objB->*First );
        (void)( ( order == 0 && ( ( order = Field<Type<Rest>>::compare( objA->*Rest, objB->*Rest ) ), true ) ) && ... );
        return order;
    }
};

template<auto... Members>
consteval Fields<Members...> fieldsChecked()
{
    using List = Fields<Members...>;
    static_assert( List::isComplete(), "the list names every field of the struct" );
    static_assert( List::isInOrder(), "the list names each field once, in the order of the struct" );
    return {};
}

// fields: the complete list; a field that is missing, named twice or out of order does not compile.
template<auto... Members>
inline constexpr auto fields = fieldsChecked<Members...>();

// someFields: for a type that compares or copies less than all of its fields.
template<auto First, auto... Rest>
inline constexpr auto someFields = Fields<First, Rest...>{};

}
