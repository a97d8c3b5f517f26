// How a type of the family is defined: its slots, its sort with the eight standard functions, and
// copy-on-write. Its list of fields is in fields.hpp. C++ only.
#pragma once

#include <pb/fields.hpp>
#include <pb/pb_obj.h>
#include <pb/ref.hpp>

#include <new>
#include <type_traits>

namespace pb
{

// Site: the file and the line that a check reports. Code that several types share checks for an
// exported function, with that function's site.
struct Site
{
    const char *file;
    int         line;

    static constexpr Site here( const char *file = __builtin_FILE(), int line = __builtin_LINE() ) { return { file, line }; }
};

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

// create: a new object of its struct. Its fields are value-initialised: numbers are zero, pointers
// null, mutexes and atomics constructed. `extraBytes` more bytes, all zero, follow the struct.
template<class Struct>
inline Struct *create( size_t extraBytes = 0 )
{
    PB_OBJ *obj = pb___ObjCreate( sizeof( Struct ) + extraBytes, &SortOf<Struct>::sort() );
    if constexpr( std::is_trivially_default_constructible_v<Struct> )
        return static_cast<Struct *>( obj );
    PB_OBJ  header                    = *obj;
    Struct *created                   = ::new( static_cast<void *>( obj ) ) Struct{};
    static_cast<PB_OBJ &>( *created ) = header;
    return created;
}

// copyOf: a new object with the values of another one's fields; object fields are shared.
template<class List>
inline typename List::Struct *copyOf( List, const typename List::Struct *source )
{
    auto *copy = create<typename List::Struct>();
    List::copy( copy, source );
    return copy;
}

template<Object T>
inline bool isShared( const T *obj )
{
    return __atomic_load_n( &reinterpret_cast<const PB_OBJ *>( obj )->refCount, __ATOMIC_ACQUIRE ) != 1;
}

// makeWritable: the one place where copy-on-write happens. After it, the caller's pointer points to
// an object that nobody else holds.
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

// clear: leaves a field without a value.
template<Object T>
inline void clear( T *&field )
{
    assign( field, static_cast<T *>( nullptr ) );
}

}

// The sorts of the sorts and of the modules themselves, for the headers of static objects.
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_SORT;
extern "C" PB_EXPORT const PB_SORT pb___sort_PB_MODULE;

// A check in shared code, which reports the file and the line of the exported function.
#define PB_CHECK_AT( site, ... ) \
    ( __builtin_expect( !!( __VA_ARGS__ ), 1 ) ? (void)0 : pb___Abort( NULL, ( site ).file, ( site ).line, #__VA_ARGS__ ) )

#define PB_OBJ_STATIC( sort )         \
    {                                 \
        PB_OBJ_STATIC_REF_COUNT, sort \
    }

// The slots of a type that frees and compares by lists of fields. `name` is the object's name in
// the texts of the checks, for example "cert", "certA", "certB". `order` may be a list that does
// not have all fields.
#define PB_FREE_FIELDS( STRUCT, name, list ) \
    .free = pb::slot<+[]( STRUCT *name ) {   \
        PB_CHECK( name );                    \
        list.release( name );                \
    }>
#define PB_COMPARE_FIELDS( STRUCT, name, order )                  \
    .compare = pb::slot<+[]( STRUCT *name##A, STRUCT *name##B ) { \
        PB_CHECK( name##A );                                      \
        PB_CHECK( name##B );                                      \
        return order.compare( name##A, name##B );                 \
    }>

// PB_SORT_OF_FIELDS( prefix, Type, STRUCT, name, list, order, slots... ): a sort with these two
// slots.
#define PB_SORT_OF_FIELDS( prefix, Type, STRUCT, name, list, order, ... ) \
    PB_SORT_DEFINE( prefix, Type, STRUCT, PB_FREE_FIELDS( STRUCT, name, list ), PB_COMPARE_FIELDS( STRUCT, name, order ) __VA_OPT__(, ) __VA_ARGS__ )

// PB_SORT_DEFINE( prefix, Type, STRUCT, slots... ): the sort `prefix___sort_STRUCT` and the eight
// standard functions `prefixType...`, whose prototypes are in the type's header. Only the file that
// uses this macro knows the struct. clang-format off
#define PB_SORT_DEFINE( prefix, Type, STRUCT, ... )                                                                                                 \
    extern "C" PB_EXPORT const PB_MODULE prefix##___module;                                                                                         \
    extern "C" PB_EXPORT const PB_SORT   prefix##___sort_##STRUCT;                                                                                  \
    template<>                                                                                                                                      \
    struct pb::SortOf<STRUCT>                                                                                                                       \
    {                                                                                                                                               \
        static const PB_SORT &sort() { return prefix##___sort_##STRUCT; }                                                                           \
        static void           check( const PB_OBJ *obj ) { PB_CHECK_CONTEXT( "stdfunc from", !obj || pbObjSort(obj)==&prefix##___sort_##STRUCT ); } \
    };                                                                                                                                              \
    extern "C" const PB_SORT prefix##___sort_##STRUCT = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), &prefix##___module, #STRUCT,                         \
        PB_SORT_SLOTS{ __VA_ARGS__ } };                                                                                                             \
    const PB_SORT           *prefix##Type##Sort() { return &prefix##___sort_##STRUCT; }                                                             \
    PB_OBJ                  *prefix##Type##Obj( STRUCT *obj ) { return obj; }                                                                       \
    STRUCT                  *prefix##Type##From( PB_OBJ *obj )                                                                                      \
    {                                                                                                                                               \
        PB_CHECK_CONTEXT( "stdfunc from", !obj || pbObjSort(obj)==&prefix##___sort_##STRUCT );                                                      \
        return static_cast<STRUCT *>( obj );                                                                                                        \
    }                                                                                                                                               \
    STRUCT *prefix##Type##Retain( STRUCT *obj )                                                                                                     \
    {                                                                                                                                               \
        PB_CHECK_CONTEXT( "stdfunc retain", obj );                                                                                                  \
        return pb::shareOrNull( obj );                                                                                                              \
    }                                                                                                                                               \
    void prefix##Type##Release( STRUCT *obj )                                                                                                       \
    {                                                                                                                                               \
        PB_CHECK_CONTEXT( "stdfunc release", obj );                                                                                                 \
        pb::releaseOrNull( obj );                                                                                                                   \
    }                                                                                                                                               \
    PB_INT prefix##Type##Compare( STRUCT *objA, STRUCT *objB )                                                                                      \
    {                                                                                                                                               \
        PB_CHECK_CONTEXT( "stdfunc compare a", objA );                                                                                              \
        PB_CHECK_CONTEXT( "stdfunc compare b", objB );                                                                                              \
        return pbObjCompare( objA, objB );                                                                                                          \
    }                                                                                                                                               \
    PB_BOOL    prefix##Type##Equals( STRUCT *objA, STRUCT *objB ) { return pbObjCompare( objA, objB ) == 0; }                                       \
    PB_STRING *prefix##Type##ToString( STRUCT *obj )                                                                                                \
    {                                                                                                                                               \
        PB_CHECK_CONTEXT( "stdfunc tostring", obj );                                                                                                \
        return pbObjToString( obj );                                                                                                                \
    }
// clang-format on
