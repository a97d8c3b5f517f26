// What a signal wakes: objects in the order of their addition, each once.
#pragma once

#include <pb/containers.hpp>
#include <pb/ref.hpp>

#include <bit>

namespace pb
{

// Most signals wake nothing or one object, so one has a place of its own. From `indexed` entries
// on, an index finds them.
class SignalSet
{
public:
    // False if the object is in the set already. The set retains nothing.
    bool add( PB_OBJ *obj )
    {
        if( !one && !many )
        {
            one = obj;
            return true;
        }
        if( !many )
        {
            if( one == obj )
                return false;
            many = make<Many>();
            many->entries.push_back( one );
            one = nullptr;
        }
        return many->add( obj );
    }

    // False if the object is not in the set.
    bool remove( const PB_OBJ *obj )
    {
        if( one && one == obj )
        {
            one = nullptr;
            return true;
        }
        if( !many || !many->remove( obj ) )
            return false;
        if( many->length() == 0 )
            clear();
        return true;
    }

    PB_INT length() const { return many ? many->length() : one ? 1 : 0; }

    template<class Function>
    void each( Function function ) const
    {
        if( one )
            function( one );
        if( many )
        {
            for( PB_OBJ *obj : many->entries )
            {
                if( obj )
                    function( obj );
            }
        }
    }

    void clear()
    {
        destroy( many );
        one  = nullptr;
        many = nullptr;
    }

private:
    static constexpr size_t indexed = 500;

    struct Many
    {
        StdVector<PB_OBJ *> entries; // null: was removed
        StdVector<uint32_t> index;   // open addressing: places in the entries, plus one; 0: free
        size_t              gaps = 0;

        PB_INT length() const { return (PB_INT)( entries.size() - gaps ); }

        // The slot of the index in which a search for an object begins.
        size_t firstSlot( const PB_OBJ *obj ) const { return ( ( (uintptr_t)obj >> 4 ) * 0x9E3779B97F4A7C15u >> 32 ) & ( index.size() - 1 ); }

        // The place of an object, or the number of entries.
        size_t find( const PB_OBJ *obj ) const
        {
            if( !index.empty() )
            {
                size_t slot = firstSlot( obj );
                while( index[slot] && entries[index[slot] - 1] != obj )
                    slot = ( slot + 1 ) & ( index.size() - 1 );
                return index[slot] ? index[slot] - 1 : entries.size();
            }
            // What was added last is often removed first.
            for( size_t place = entries.size(); place-- > 0; )
            {
                if( entries[place] == obj )
                    return place;
            }
            return entries.size();
        }

        bool add( PB_OBJ *obj )
        {
            if( find( obj ) != entries.size() )
                return false;
            entries.push_back( obj );
            if( !index.empty() && entries.size() <= index.size() / 2 )
                addToIndex( entries.size() - 1 );
            else if( entries.size() > indexed )
                makeIndex();
            return true;
        }

        bool remove( const PB_OBJ *obj )
        {
            size_t place = find( obj );
            if( place == entries.size() )
                return false;
            // Its slot of the index stays in use, so that searches go on behind it.
            entries[place] = nullptr;
            gaps++;
            if( gaps > 16 && gaps > entries.size() / 2 )
                closeGaps();
            return true;
        }

        void closeGaps()
        {
            std::erase( entries, nullptr );
            gaps = 0;
            if( entries.size() > indexed )
                makeIndex();
            else
                index.clear();
        }

        void addToIndex( size_t place )
        {
            size_t slot = firstSlot( entries[place] );
            while( index[slot] )
                slot = ( slot + 1 ) & ( index.size() - 1 );
            index[slot] = (uint32_t)( place + 1 );
        }

        // Twice to four times as many slots as entries.
        void makeIndex()
        {
            index.assign( std::bit_ceil( entries.size() ) * 2, 0 );
            for( size_t place = 0; place < entries.size(); place++ )
            {
                if( entries[place] )
                    addToIndex( place );
            }
        }
    };

    PB_OBJ *one  = nullptr;
    Many   *many = nullptr;
};

}
