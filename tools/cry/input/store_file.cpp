#include "input/store_file.hpp"

#include "input/file.hpp"
#include "output/error.hpp"
#include "text/convert.hpp"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <pb/pb_store_codec.h>
#include <set>
#include <vector>

namespace
{

// A place in the text, which says how far the text was read.
struct Place
{
    using iterator_category = std::input_iterator_tag;
    using value_type        = char;
    using difference_type   = std::ptrdiff_t;
    using pointer           = const char *;
    using reference         = const char &;

    const char  *at;
    const char **reached;

    const char &operator*() const { return *( *reached = at ); }
    Place      &operator++() { return at++, *this; }
    Place       operator++( int ) { return { at++, reached }; }
    bool        operator==( const Place &other ) const { return at == other.at; }
    bool        operator!=( const Place &other ) const { return at != other.at; }
};

// Reads a text as JSON and keeps the reason why it is not a store. What the text says is not in the
// reason, since it may be a part of a private key.
struct Reasons : nlohmann::json_sax<nlohmann::json>
{
    std::string                        reason;
    std::vector<std::set<std::string>> open; // the keys in each object or array

    bool refuse( const std::string &why )
    {
        reason = why;
        return false;
    }
    bool begin()
    {
        open.emplace_back();
        return open.size() <= (size_t)PB_STORE_DEPTH_MAX || refuse( "there are too many objects and lists in one another" );
    }
    bool end()
    {
        open.pop_back();
        return true;
    }

    bool null() override { return true; }
    bool boolean( bool ) override { return true; }
    bool number_integer( number_integer_t ) override { return true; }
    bool number_unsigned( number_unsigned_t value ) override
    {
        return value <= (number_unsigned_t)std::numeric_limits<PB_INT>::max() || refuse( "a number is too large" );
    }
    bool number_float( number_float_t, const string_t & ) override { return refuse( "a number has a fraction or an exponent, or is too large" ); }
    bool string( string_t & ) override { return true; }
    bool binary( binary_t & ) override { return true; }
    bool start_object( size_t ) override { return begin(); }
    bool key( string_t &name ) override { return open.back().insert( name ).second || refuse( "a key occurs twice in one object" ); }
    bool end_object() override { return end(); }
    bool start_array( size_t ) override { return begin(); }
    bool end_array() override { return end(); }
    bool parse_error( size_t, const std::string &, const nlohmann::json::exception &problem ) override
    {
        std::string text  = problem.what();
        size_t      after = text.find( "parsing " ), dash = after == text.npos ? after : text.find( " - ", after );
        text = dash == text.npos ? "" : text.substr( dash + 3 );
        return refuse( "is not JSON" + ( text.empty() ? "" : ": " + text.substr( 0, text.find( "; last read" ) ) ) );
    }
};

tool::InputError problemOf( const std::string &path, PB_BUFFER *content )
{
    const char *begin = (const char *)pbBufferBytes( content ), *end = begin + pbBufferLength( content ), *reached = begin;
    if( begin == end )
        return { path, "is empty" };
    if( tool::startsWith( content, "\xEF\xBB\xBF" ) )
        return { path, "begins with a byte order mark, which JSON does not have" };
    Reasons reasons;
    nlohmann::json::sax_parse( Place{ begin, &reached }, Place{ end, &reached }, &reasons );
    if( reasons.reason.empty() )
        return { path, "is JSON, but neither an object nor of a size that can be read" };
    PB_INT      line = 1 + std::count( begin, reached, '\n' );
    const char *from = std::find( std::make_reverse_iterator( reached ), std::make_reverse_iterator( begin ), '\n' ).base();
    return { path, reasons.reason + " (column " + std::to_string( reached - from + 1 ) + ")", line };
}

}

tool::StoreFile tool::readStore( const std::string &path, Content kind )
{
    pb::Ref<PB_BUFFER>       content = readWhole( path, kind );
    pb::Ref<PB_STORE_HEADER> header;
    pb::Ref<PB_STORE>        store = pb::adopt( pbStoreTryDecode( content.get(), header.handle() ) );
    if( !store )
        throw problemOf( path, content.get() );
    if( pbStoreIsArray( store.get() ) )
        throw InputError( path, "is a list, not an object" );
    StoreFile file{ content, store, {} };
    if( header )
        file.type = take( pbStoreHeaderType( header.get() ) );
    return file;
}
