// A value that a shared object makes at the first request. C++ only.
#pragma once

#include <pb/fields.hpp>

#include <atomic>

namespace pb
{

// Published<T *>: a field that is empty at first. The first caller who asks for the value makes it,
// without a lock; after that all callers have the same value. Any thread may ask for the value.
template<class Pointer>
class Published;

template<class T>
class Published<T *>
{
public:
    // The value, or null as long as nobody made it.
    T *get() const { return value.load( std::memory_order_acquire ); }

    // The value; `make()` gives a new one if there is none. If several threads make a value at the
    // same time, the first that is ready publishes its value, and the others release theirs. So all
    // these values must be equally good. Null if make() gives null; then nothing is published.
    template<class Make>
    T *getOrMake( Make make )
    {
        T *known = get();
        if( known )
            return known;
        T *made = make();
        if( made && !value.compare_exchange_strong( known, made, std::memory_order_acq_rel, std::memory_order_acquire ) )
        {
            Field<T *>::release( made );
            return known;
        }
        return made;
    }

    // Gives the field its value at once. Nobody else may hold the object.
    void set( T *made ) { value.store( made, std::memory_order_release ); }

    // Empties the field, for example before an edit. Nobody else may hold the object.
    void clear()
    {
        T *old = value.exchange( nullptr, std::memory_order_acq_rel );
        if( old )
            Field<T *>::release( old );
    }

    void release()
    {
        T *old = value.exchange( static_cast<T *>( poison() ), std::memory_order_acq_rel );
        if( old )
            Field<T *>::release( old );
    }

private:
    std::atomic<T *> value;
};

// A copy begins empty: after an edit, its value can be another one.
template<class T>
struct Field<Published<T *>>
{
    static void release( Published<T *> &field ) { field.release(); }
    static void copy( Published<T *> &, const Published<T *> & ) {}
};

}
