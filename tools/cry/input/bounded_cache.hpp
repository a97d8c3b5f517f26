// Values that were made of texts, kept so that a text that comes again is not read again.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tool
{

// Any thread may use it. A value is kept when its text comes for the second time: most texts come
// once, and their values would only fill the memory. What has not been used for long is dropped:
// the values are in two generations, and a value that is used goes to the younger one. When that is
// full, it takes the place of the older one.
template<class Value>
class BoundedCache
{
public:
    // A text, with its hash.
    struct Key
    {
        std::string text;
        size_t      hash;

        explicit Key( std::string given ) : text( std::move( given ) ), hash( std::hash<std::string>()( text ) ) {}
        bool operator==( const Key & ) const = default;
    };

    // The most values and bytes of text in one generation. A longer text is not kept.
    BoundedCache( size_t values, size_t textBytes ) : mostValues( values ), mostBytes( textBytes ) {}

    std::optional<Value> find( const Key &key )
    {
        Values          dropped; // is freed after the lock
        std::lock_guard lock( mutex );
        if( auto found = younger.find( key ); found != younger.end() )
            return found->second;
        auto found = older.find( key );
        if( found == older.end() )
            return {};
        Value value = found->second;
        auto  node  = older.extract( found );
        makeRoom( key.text.size(), dropped );
        younger.insert( std::move( node ) );
        return value;
    }

    void add( Key key, Value value )
    {
        if( key.text.size() > mostBytes )
            return;
        Values          dropped;
        std::lock_guard lock( mutex );
        if( std::exchange( once[key.hash % once.size()], key.hash ) != key.hash )
            return;
        makeRoom( key.text.size(), dropped );
        younger.emplace( std::move( key ), std::move( value ) );
    }

private:
    struct Hash
    {
        size_t operator()( const Key &key ) const { return key.hash; }
    };
    using Values = std::unordered_map<Key, Value, Hash>;

    void makeRoom( size_t length, Values &dropped )
    {
        if( !younger.empty() && ( younger.size() >= mostValues || bytes + length > mostBytes ) )
        {
            dropped = std::exchange( older, std::exchange( younger, {} ) );
            bytes   = 0;
        }
        bytes += length;
    }

    std::mutex          mutex;
    std::vector<size_t> once = std::vector<size_t>( 8192 ); // hashes of texts that came lately
    Values              younger, older;
    size_t              bytes = 0; // in the younger one; a text that two threads add at once counts twice
    size_t              mostValues, mostBytes;
};

}
