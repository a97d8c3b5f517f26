// A bounded table of results that are already known, by the bytes from which they come. C++ only.
#pragma once

#include <pb/containers.hpp>
#include <pb/fields.hpp>
#include <pb/locks.hpp>
#include <pb/pb_random.h>
#include <pb/seeded_hash.hpp>

#include <atomic>

namespace pb
{

// KnownTable<T, Sets>: up to four values in each of `Sets` sets. The hash of the bytes, with a seed
// of this process, chooses the set; the bytes are compared in full. A new value replaces one that
// was not found lately: a value that is found again before its set has taken four new ones stays,
// however many come once. The bytes are cleansed when they go. A table is zero-initialised, in
// static memory, and never freed. Any thread may use it.
template<class T, size_t Sets>
class KnownTable
{
public:
    static constexpr size_t ways = 4, most = Sets * ways;

    using Bytes = std::basic_string_view<PB_BYTE>;

    // share( value ) for the value of these bytes, or null. The set is locked meanwhile.
    template<class Share>
    T *find( Bytes bytes, Share share )
    {
        uint64_t    hash = hashOf( bytes );
        Set        &set  = setOf( hash );
        InPlainLock in( set.lock );
        Entry      *entry = set.find( hash, bytes );
        if( !entry )
            return nullptr;
        entry->used = true;
        return share( entry->value );
    }

    // Keeps make() for these bytes, if there is none yet and it is not null. The set is locked
    // while it is made.
    template<class Make>
    void keep( Bytes bytes, Make make )
    {
        uint64_t hash    = hashOf( bytes );
        Set     &set     = setOf( hash );
        Entry    removed = {};
        {
            InPlainLock in( set.lock );
            if( set.find( hash, bytes ) )
                return;
            T *value = make();
            if( !value )
                return;
            auto *copy = (PB_BYTE *)ProcessMemory::take( (PB_INT)bytes.size(), 1 );
            std::memcpy( copy, bytes.data(), bytes.size() );
            removed = std::exchange( set.victim(), Entry{ hash, copy, bytes.size(), value, false } );
        }
        removed.release();
    }

    // Whether these bytes were noted lately. Notes them. For values that are kept only if they come
    // again: cold memory costs more than making such a value once.
    bool isNoted( Bytes bytes )
    {
        uint64_t hash = hashOf( bytes ) | 1;
        return notes[( hash >> 1 ) % std::size( notes )].exchange( hash, std::memory_order_relaxed ) == hash;
    }

    // Removes all values and notes.
    void clear()
    {
        for( std::atomic<uint64_t> &note : notes )
            note.store( 0, std::memory_order_relaxed );
        for( Set &set : sets )
        {
            for( Entry &entry : set.entries )
            {
                Entry removed = {};
                {
                    InPlainLock in( set.lock );
                    removed = std::exchange( entry, Entry{} );
                }
                removed.release();
            }
        }
    }

    // The number of values.
    size_t count()
    {
        size_t found = 0;
        for( Set &set : sets )
        {
            InPlainLock in( set.lock );
            for( const Entry &entry : set.entries )
                found += entry.value != nullptr;
        }
        return found;
    }

private:
    struct Entry
    {
        uint64_t hash;
        PB_BYTE *bytes;
        size_t   length;
        T       *value; // null for an empty place
        bool     used;  // found since the last search for a place passed by

        void release()
        {
            if( value )
                Field<T *>::release( value );
            if( bytes )
                pbMemCleanse( bytes, (PB_INT)length );
            ProcessMemory::give( bytes );
        }
    };

    struct Set
    {
        PlainLock lock;
        Entry     entries[ways] = {};
        size_t    next          = 0; // the place at which the next search for a place begins

        Entry *find( uint64_t hash, Bytes bytes )
        {
            for( Entry &entry : entries )
            {
                // A comparison of views of bytes would go byte by byte.
                if( entry.value && entry.hash == hash && entry.length == bytes.size() && std::memcmp( entry.bytes, bytes.data(), bytes.size() ) == 0 )
                    return &entry;
            }
            return nullptr;
        }

        // The place for a new value: an empty one, or one that was not found since it was passed.
        Entry &victim()
        {
            for( Entry &entry : entries )
            {
                if( !entry.value )
                    return entry;
            }
            while( entries[next].used )
            {
                entries[next].used = false;
                next               = ( next + 1 ) % ways;
            }
            Entry &chosen = entries[next];
            next          = ( next + 1 ) % ways;
            return chosen;
        }
    };

    Set &setOf( uint64_t hash ) { return sets[hash % Sets]; }

    uint64_t hashOf( Bytes bytes )
    {
        uint64_t known = seed.load( std::memory_order_relaxed );
        if( !known )
        {
            uint64_t fresh;
            pbRandomBytes( (PB_BYTE *)&fresh, sizeof fresh );
            fresh |= 1;
            known = seed.compare_exchange_strong( known, fresh, std::memory_order_relaxed ) ? fresh : known;
        }
        return seededHash( bytes, known );
    }

    Set                   sets[Sets]      = {};
    std::atomic<uint64_t> notes[4 * most] = {};
    std::atomic<uint64_t> seed{ 0 };
};

}
