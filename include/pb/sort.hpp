// How a type of the family is defined: its list of fields, its slots, its sort with the eight standard functions, and copy-on-write. C++ only.
#pragma once

#include <pb/pb_obj.h>
#include <pb/ref.hpp>

#include <cstddef>
#include <type_traits>

namespace pb
{

// Site: where a check stands that code shared by several types makes for an exported function.
struct Site
{
    const char *file;
    int         line;

    static constexpr Site here( const char *file = __builtin_FILE(), int line = __builtin_LINE() ) { return { file, line }; }
};

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

// Field: what a field of type T does on release, copy and compare. The primary template is undefined, so a type must be known here (or where
// OpenSSL's types are made known) before it can stand in a list of fields.
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
T memberType( T Struct::* );
template<class Struct, class T>
Struct memberOwner( T Struct::* );

// Fields: all fields of a struct in declaration order.
template<auto First, auto... Rest>
struct Fields
{
    using Struct = decltype( memberOwner( First ) );

    template<auto Member>
    using Type = decltype( memberType( Member ) );

    static consteval size_t aligned( size_t offset, size_t alignment ) { return ( offset + alignment - 1 ) / alignment * alignment; }

    template<auto Member>
    static consteval size_t after( size_t offset )
    {
        return aligned( offset, alignof( Type<Member> ) ) + sizeof( Type<Member> );
    }

    static consteval size_t totalSize()
    {
        size_t offset = after<First>( sizeof( PB_OBJ ) );
        ( ( offset = after<Rest>( offset ) ), ... );
        return aligned( offset, alignof( Struct ) );
    }

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

// fields: the complete list; one that is missing does not compile.
template<auto First, auto... Rest>
consteval Fields<First, Rest...> fieldsChecked()
{
    using List = Fields<First, Rest...>;
    static_assert( List::totalSize() == sizeof( typename List::Struct ), "the list names every field of the struct, in order" );
    return {};
}

template<auto... Members>
inline constexpr auto fields = fieldsChecked<Members...>();

// someFields: for a type that compares less than all of its fields.
template<auto First, auto... Rest>
inline constexpr auto someFields = Fields<First, Rest...>{};

// SortOf: the sort of a struct and its sort check; PB_SORT_DEFINE specialises it.
template<class Struct>
struct SortOf;

template<auto Function>
struct Slot;

template<class Struct, void ( *Function )( Struct * )>
struct Slot<Function>
{
    static void call( PB_OBJ *obj )
    {
        SortOf<Struct>::check( obj );
        Function( static_cast<Struct *>( obj ) );
    }
};

template<class Struct, PB_INT ( *Function )( Struct *, Struct * )>
struct Slot<Function>
{
    static PB_INT call( PB_OBJ *objA, PB_OBJ *objB )
    {
        SortOf<Struct>::check( objA );
        SortOf<Struct>::check( objB );
        return Function( static_cast<Struct *>( objA ), static_cast<Struct *>( objB ) );
    }
};

template<class Struct, PB_STRING *( *Function )( Struct * )>
struct Slot<Function>
{
    static PB_STRING *call( PB_OBJ *obj )
    {
        SortOf<Struct>::check( obj );
        return Function( static_cast<Struct *>( obj ) );
    }
};

// slot: a typed function as a slot; it checks the sort first.
template<auto Function>
inline constexpr auto slot = &Slot<Function>::call;

// create: a new, zeroed object of its struct.
template<class Struct>
inline Struct *create( size_t extraBytes = 0 )
{
    return static_cast<Struct *>( pb___ObjCreate( sizeof( Struct ) + extraBytes, &SortOf<Struct>::sort() ) );
}

template<Object T>
inline bool isShared( const T *obj )
{
    return __atomic_load_n( &reinterpret_cast<const PB_OBJ *>( obj )->refCount, __ATOMIC_ACQUIRE ) != 1;
}

// makeWritable: the one place where copy-on-write happens. Afterwards the caller's pointer is an object that nobody else holds.
template<Object T>
inline T *makeWritable( T **handle, T *( *createFrom )(T *))
{
    if( isShared( *handle ) )
    {
        T *shared = *handle;
        *handle   = createFrom( shared );
        releaseOrNull( shared );
    }
    return *handle;
}

// assign: puts a value into a field; retains the new one before it releases the old one.
template<Object T>
inline void assign( T *&field, T *value )
{
    T *old = field;
    field  = shareOrNull( value );
    releaseOrNull( old );
}

}

// The sorts of sorts and of modules themselves, for the headers of static ones.
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_SORT;
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_MODULE;

// A check that shared code makes for an exported function, whose file and line it takes.
#define PB_CHECK_AT( site, ... ) \
    ( __builtin_expect( !!( __VA_ARGS__ ), 1 ) ? (void)0 : pb___Abort( NULL, ( site ).file, ( site ).line, #__VA_ARGS__ ) )

#define PB_OBJ_STATIC( sort )         \
    {                                 \
        PB_OBJ_STATIC_REF_COUNT, sort \
    }

// PB_SORT_DEFINE( prefix, Type, STRUCT, slots... ): the sort `prefix___sort_STRUCT` and the eight standard functions `prefixType...`, whose prototypes
// stand in the type's header. Everything else of the struct stays in the file that uses this.
// clang-format off
#define PB_SORT_DEFINE( prefix, Type, STRUCT, ... )                                                                                             \
    extern "C" PB_EXPORT const PB_MODULE prefix##___module;                                                                                     \
    extern "C" PB_EXPORT const PB_SORT prefix##___sort_##STRUCT;                                                                                \
    template<>                                                                                                                                 \
    struct pb::SortOf<STRUCT>                                                                                                                   \
    {                                                                                                                                           \
        static const PB_SORT &sort() { return prefix##___sort_##STRUCT; }                                                                       \
        static void check( const PB_OBJ *obj )                                                                                                  \
        {                                                                                                                                       \
            PB_CHECK_CONTEXT( "stdfunc from", !obj || pbObjSort(obj)==&prefix##___sort_##STRUCT );                                              \
        }                                                                                                                                       \
    };                                                                                                                                          \
    extern "C" const PB_SORT prefix##___sort_##STRUCT = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), &prefix##___module, #STRUCT, PB_SORT_SLOTS{ __VA_ARGS__ } }; \
    const PB_SORT *prefix##Type##Sort() { return &prefix##___sort_##STRUCT; }                                                                   \
    PB_OBJ *prefix##Type##Obj( STRUCT *obj ) { return obj; }                                                                                    \
    STRUCT *prefix##Type##From( PB_OBJ *obj )                                                                                                   \
    {                                                                                                                                           \
        PB_CHECK_CONTEXT( "stdfunc from", !obj || pbObjSort(obj)==&prefix##___sort_##STRUCT );                                                  \
        return static_cast<STRUCT *>( obj );                                                                                                    \
    }                                                                                                                                           \
    STRUCT *prefix##Type##Retain( STRUCT *obj )                                                                                                 \
    {                                                                                                                                           \
        PB_CHECK_CONTEXT( "stdfunc retain", obj );                                                                                              \
        return pb::shareOrNull( obj );                                                                                                          \
    }                                                                                                                                           \
    void prefix##Type##Release( STRUCT *obj )                                                                                                   \
    {                                                                                                                                           \
        PB_CHECK_CONTEXT( "stdfunc release", obj );                                                                                             \
        pb::releaseOrNull( obj );                                                                                                               \
    }                                                                                                                                           \
    PB_INT prefix##Type##Compare( STRUCT *objA, STRUCT *objB )                                                                                  \
    {                                                                                                                                           \
        PB_CHECK_CONTEXT( "stdfunc compare a", objA );                                                                                          \
        PB_CHECK_CONTEXT( "stdfunc compare b", objB );                                                                                          \
        return pbObjCompare( objA, objB );                                                                                                      \
    }                                                                                                                                           \
    PB_BOOL prefix##Type##Equals( STRUCT *objA, STRUCT *objB ) { return pbObjCompare( objA, objB ) == 0; }                                      \
    PB_STRING *prefix##Type##ToString( STRUCT *obj )                                                                                            \
    {                                                                                                                                           \
        PB_CHECK_CONTEXT( "stdfunc tostring", obj );                                                                                            \
        return pbObjToString( obj );                                                                                                            \
    }
// clang-format on
