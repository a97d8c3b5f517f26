#include "input/store_file.hpp"

#include "input/file.hpp"
#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <pb/pb_store_codec.h>
#include <set>
#include <string_view>
#include <vector>

namespace
{

// Finds out why a text is not a store. Its functions are called as the text is read; false ends
// that.
class Finder
{
public:
    std::string problem;
    size_t      at = 0; // the byte at which the text is not JSON, from 1 on; 0 if it is JSON

    bool null() { return take(); }
    bool boolean( bool ) { return take(); }
    bool number_integer( int64_t ) { return take(); }
    bool number_unsigned( uint64_t value ) { return take() && ( value <= INT64_MAX || refuseNumber() ); }
    bool number_float( double, const std::string & ) { return take() && refuseNumber(); }
    bool string( std::string & ) { return take(); }
    bool binary( std::vector<uint8_t> & ) { return take(); }
    bool start_object( size_t ) { return open( false ); }
    bool start_array( size_t ) { return open( true ); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key( std::string &name )
    {
        levels.back().name = name;
        return levels.back().names.insert( name ).second || refuse( "is there twice" );
    }
    bool parse_error( size_t position, const std::string &, const nlohmann::detail::exception & )
    {
        at = std::max( position, (size_t)1 );
        return false;
    }

private:
    struct Level
    {
        bool                  isArray;
        size_t                count = 0;
        std::string           name;
        std::set<std::string> names;
    };

    bool take()
    {
        if( !levels.empty() )
            levels.back().count++;
        return true;
    }
    bool open( bool isArray )
    {
        take();
        if( levels.size() == PB_STORE_DEPTH_MAX )
        {
            problem = "more than " + std::to_string( PB_STORE_DEPTH_MAX ) + " objects and lists lie in one another";
            return false;
        }
        levels.push_back( { isArray, 0, {}, {} } );
        return true;
    }
    bool close()
    {
        levels.pop_back();
        return true;
    }
    bool refuseNumber() { return refuse( "is a number with a fraction or an exponent, or of more than 64 bits" ); }
    bool refuse( const char *reason )
    {
        std::string place;
        for( const Level &each : levels )
            place += each.isArray ? "[" + std::to_string( each.count - 1 ) + "]" : ( place.empty() ? "" : "." ) + each.name;
        problem = tool::shown( place ) + " " + reason;
        return false;
    }

    std::vector<Level> levels;
};

tool::InputError notAStore( const std::string &path, std::string_view text )
{
    Finder finder;
    bool   isJson = nlohmann::json::sax_parse( text.begin(), text.end(), &finder );
    if( finder.at )
    {
        std::string_view before = text.substr( 0, std::min( finder.at - 1, text.size() ) );
        size_t           begin  = before.rfind( '\n' ) + 1; // 0 if there is no line end
        return { path, "is not JSON at column " + std::to_string( before.size() - begin + 1 ),
            1 + (PB_INT)std::count( before.begin(), before.end(), '\n' ) };
    }
    if( !isJson && !finder.problem.empty() )
        return { path, finder.problem };
    return { path, "is not a JSON object that can be read" };
}

}

tool::StoreFile tool::readStore( const std::string &path )
{
    pb::Ref<PB_BUFFER>       content = readWhole( path );
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode( content.get(), header.handle() ) );
    if( !store )
        throw notAStore( path, { (const char *)pbBufferBytes( content.get() ), (size_t)pbBufferLength( content.get() ) } );
    if( pbStoreIsArray( store.get() ) )
        throw InputError( path, "is a list in JSON, not an object" );
    StoreFile file{ store, {} };
    if( header )
        file.type = take( pbStoreHeaderType( header.get() ) );
    return file;
}
