// Vectors of objects of one type. C++ only.
#pragma once

#include <pb/pb_vector.h>
#include <pb/ref.hpp>

namespace pb
{

// peekAt: lends the object at an index, as its type. The vector must hold only such objects.
template<Object T>
inline T *peekAt( PB_VECTOR *vec, PB_INT index )
{
    return reinterpret_cast<T *>( pb___VectorPeekObjAt( vec, index ) );
}

// each<T>( vector ): the objects of a vector, lent one after another, for a range-based for. The
// vector must hold only objects of type T, and must not be edited during the loop. Null counts as
// an empty vector.
template<Object T>
class Each
{
public:
    explicit Each( PB_VECTOR *vec ) : vector( vec ), length( vec ? pbVectorLength( vec ) : 0 ) {}

    struct Iterator
    {
        PB_VECTOR *vector;
        PB_INT     index;

        T        *operator*() const { return peekAt<T>( vector, index ); }
        Iterator &operator++() { return ++index, *this; }
        bool      operator!=( const Iterator &other ) const { return index != other.index; }
    };

    Iterator begin() const { return { vector, 0 }; }
    Iterator end() const { return { vector, length }; }

private:
    PB_VECTOR *vector;
    PB_INT     length;
};

template<Object T>
inline Each<T> each( PB_VECTOR *vec )
{
    return Each<T>( vec );
}

template<Object T>
inline Each<T> each( const Ref<PB_VECTOR> &vec )
{
    return Each<T>( vec.get() );
}

}
