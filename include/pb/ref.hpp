// pb::Ref, the C++ holder of one reference to an object of these libraries. C++ only.
#pragma once

#include <pb/pb_obj.h>

#include <concepts>
#include <utility>

namespace pb
{

// Object: the types that PB_OBJECT_TYPE declared. A pointer to one is a pointer to a PB_OBJ,
// whether the type is complete or not.
template<class T>
concept Object = requires( const T *obj ) { pb_isObject( obj ); };

template<Object T>
inline PB_OBJ *asObj( T *obj )
{
    return reinterpret_cast<PB_OBJ *>( obj );
}

// Reference counting on typed pointers; nothing happens for null.
template<Object T>
inline T *shareOrNull( T *obj )
{
    if( obj )
    {
        int64_t *count = &asObj( obj )->refCount;
        if( __atomic_load_n( count, __ATOMIC_RELAXED ) >= 0 )
            __atomic_fetch_add( count, 1, __ATOMIC_RELAXED );
    }
    return obj;
}

template<Object T>
inline void releaseOrNull( T *obj )
{
    if( !obj )
        return;
    int64_t *count = &asObj( obj )->refCount;
    if( __atomic_load_n( count, __ATOMIC_RELAXED ) >= 0 && __atomic_fetch_sub( count, 1, __ATOMIC_ACQ_REL ) == 1 )
        pb___ObjFree( asObj( obj ) );
}

// Ref: made by adopt( new reference ) or share( borrowed ), never from a raw pointer. get() lends
// the object, take() gives the reference to the caller.
template<Object T>
class Ref
{
public:
    Ref() = default;
    Ref( const Ref &other ) : object( shareOrNull( other.object ) ) {}
    Ref( Ref &&other ) noexcept : object( std::exchange( other.object, nullptr ) ) {}
    ~Ref() { releaseOrNull( object ); }

    Ref &operator=( Ref other ) noexcept
    {
        std::swap( object, other.object );
        return *this;
    }

    T *get() const { return object; }
    T *take() { return std::exchange( object, nullptr ); }
    // The address of the pointer, for setters, which may replace the object by a copy.
    T **handle() { return &object; }
    explicit operator bool() const { return object != nullptr; }
    PB_OBJ *obj() const { return asObj( object ); }

    // For adopt.
    static Ref of( T *newReference )
    {
        Ref ref;
        ref.object = newReference;
        return ref;
    }

private:
    T *object = nullptr;
};

template<Object T>
Ref<T> adopt( T *newReference )
{
    return Ref<T>::of( newReference );
}

template<Object T>
Ref<T> share( T *borrowed )
{
    return adopt( shareOrNull( borrowed ) );
}

}
