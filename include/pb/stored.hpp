// Reading and writing the stores of objects: a value that is absent is not written, and an entry
// that cannot be read leaves the field as it is. C++ only.
#pragma once

#include <pb/each.hpp>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>
#include <pb/sort.hpp>

namespace pb
{

// StoreWriter: writes a keyed store. The keys have the order of the calls.
class StoreWriter
{
public:
    // A null value is absent.
    StoreWriter &value( const char *key, PB_STRING *text )
    {
        if( text )
            pbStoreSetValueCstr( store.handle(), key, -1, text );
        return *this;
    }
    StoreWriter &value( const char *key, const Ref<PB_STRING> &text ) { return value( key, text.get() ); }

    // toText( obj ) gives a new string.
    template<Object T>
    StoreWriter &value( const char *key, T *obj, PB_STRING *( *toText )(T *))
    {
        return value( key, adopt( obj ? toText( obj ) : nullptr ) );
    }

    StoreWriter &integer( const char *key, PB_INT number )
    {
        pbStoreSetIntValueCstr( store.handle(), key, -1, number );
        return *this;
    }

    StoreWriter &boolean( const char *key, PB_BOOL flag )
    {
        pbStoreSetBoolValueCstr( store.handle(), key, -1, flag );
        return *this;
    }

    StoreWriter &sub( const char *key, PB_STORE *part )
    {
        if( part )
            pbStoreSetStoreCstr( store.handle(), key, -1, part );
        return *this;
    }
    StoreWriter &sub( const char *key, const Ref<PB_STORE> &part ) { return sub( key, part.get() ); }

    // toStore( obj ) gives a new store.
    template<Object T>
    StoreWriter &sub( const char *key, T *obj, PB_STORE *( *toStore )(T *))
    {
        return sub( key, adopt( obj ? toStore( obj ) : nullptr ) );
    }

    PB_STORE *take() { return store.take(); }

private:
    Ref<PB_STORE> store = adopt( pbStoreCreate() );
};

// StoreReader: the fields of an object, read from a store. The field does not change if the key is
// absent, if the entry has another type, or if tryFromText or tryFromStore refuses it.
class StoreReader
{
public:
    explicit StoreReader( PB_STORE *from ) : store( from ) {}

    template<Object T>
    const StoreReader &value( const char *key, T *&field, T *( *tryFromText )(PB_STRING *)) const
    {
        if( Ref<PB_STRING> text = adopt( pbStoreValueCstr( store, key, -1 ) ) )
            replace( field, tryFromText( text.get() ) );
        return *this;
    }

    const StoreReader &value( const char *key, PB_STRING *&field ) const
    {
        replace( field, pbStoreValueCstr( store, key, -1 ) );
        return *this;
    }

    // An enumeration or a flag set by its names; fromText gives -1 for an unknown one.
    const StoreReader &value( const char *key, PB_INT &field, PB_INT ( *fromText )( PB_STRING * ) ) const
    {
        Ref<PB_STRING> text   = adopt( pbStoreValueCstr( store, key, -1 ) );
        PB_INT         number = text ? fromText( text.get() ) : -1;
        if( number != -1 )
            field = number;
        return *this;
    }

    const StoreReader &integer( const char *key, PB_INT &field ) const
    {
        PB_INT number;
        if( pbStoreIntValueCstr( store, key, -1, &number ) )
            field = number;
        return *this;
    }

    const StoreReader &boolean( const char *key, PB_BOOL &field ) const
    {
        PB_BOOL flag;
        if( pbStoreBoolValueCstr( store, key, -1, &flag ) )
            field = flag;
        return *this;
    }

    template<Object T>
    const StoreReader &sub( const char *key, T *&field, T *( *tryFromStore )(PB_STORE *)) const
    {
        if( Ref<PB_STORE> part = adopt( pbStoreStoreCstr( store, key, -1 ) ) )
            replace( field, tryFromStore( part.get() ) );
        return *this;
    }

private:
    template<Object T>
    static void replace( T *&field, T *newReference )
    {
        if( !newReference )
            return;
        releaseOrNull( field );
        field = newReference;
    }

    PB_STORE *store;
};

// storeOfEach: an array store with toStore( object ) of every object of a vector.
template<Object T>
inline PB_STORE *storeOfEach( PB_VECTOR *vec, PB_STORE *( *toStore )(T *))
{
    Ref<PB_STORE> store = adopt( pbStoreCreateArray() );
    for( T *obj : each<T>( vec ) )
        pbStoreAppendStore( store.handle(), adopt( toStore( obj ) ).get() );
    return store.take();
}

// restoreEach: a vector of the objects that tryRestore gives for the sub-stores of a store, in
// order; entries of other types and entries that tryRestore refuses are skipped.
template<Object T>
inline PB_VECTOR *restoreEach( PB_STORE *store, T *( *tryRestore )(PB_STORE *))
{
    Ref<PB_VECTOR> vec = adopt( pbVectorCreate() );
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
    {
        Ref<PB_STORE> part = adopt( pbStoreStoreAt( store, index ) );
        if( Ref<T> obj = adopt( part ? tryRestore( part.get() ) : nullptr ) )
            pbVectorAppendObj( vec.handle(), obj.obj() );
    }
    return vec.take();
}

}
