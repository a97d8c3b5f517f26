// The list of a type's fields, which its objects release, copy and compare. C++ only.
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

// The value that a pointer has after its release, so that a later use traps.
inline void *poison() { return reinterpret_cast<void *>( ~uintptr_t{ 0 } ); }

template<class T>
inline bool isPoison( T *pointer )
{
    return pointer == static_cast<void *>( poison() );
}

// The store is volatile. Without that, the optimiser would remove it before the memory is given
// back.
template<class T>
inline void setPoison( T *&pointer )
{
    *const_cast<T *volatile *>( &pointer ) = static_cast<T *>( poison() );
}

// Field: the functions that release, copy and compare a field of type T. The primary template is
// undefined, so a list of fields can hold only types that have a specialisation, here or in the
// header for OpenSSL's types. A type that cannot be copied or compared does not have that function.
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

// A field that has a destructor, for example a mutex, and that objects do not share: a copy begins
// with a new one.
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

// Two facts about a struct, for fieldsChecked: how many initialisers it takes, and where its
// members are.

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

    // Whether the list names each member once, in the order of their declaration.
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

    // Null comes first. The first field that differs decides.
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

// someFields: for a type that does not compare or copy all of its fields.
template<auto First, auto... Rest>
inline constexpr auto someFields = Fields<First, Rest...>{};

}
