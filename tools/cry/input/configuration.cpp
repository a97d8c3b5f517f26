#include "input/configuration.hpp"

#include "input/file.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cry/cry_x509_policy_flags.h>
#include <cry/cry_x509_san.h>
#include <cry/cry_x509_stack.h>
#include <cs/cs_object.h>
#include <cs/cs_sort_backend.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <pb/pb_store_codec.h>
#include <set>
#include <vector>

namespace
{

constexpr char typeOfStacks[] = "CRY_X509_STACK";

// ---- why a text is not a store

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

// ---- what a stack does not use

struct Unused
{
    std::vector<std::string> entries;

    void add( const std::string &entry ) { entries.push_back( entry ); }

    void addCount( const std::string &list, size_t count )
    {
        if( count )
            add( std::to_string( count ) + " of the list " + list );
    }
};

// How many entries of a list are no names.
size_t countNoNames( PB_STORE *list )
{
    size_t count = 0;
    for( PB_INT index = 0; index < pbStoreLength( list ); index++ )
    {
        pb::Ref<PB_STORE> entry = pb::adopt( pbStoreStoreAt( list, index ) );
        count += !entry || !pb::adopt( cryX509SanTryRestore( entry.get() ) );
    }
    return count;
}

// The names in a text that are no flags.
void addUnknownFlags( const std::string &text, Unused &unused )
{
    for( size_t from = 0; from < text.size(); )
    {
        size_t      to   = std::min( text.find( '|', from ), text.size() );
        std::string name = text.substr( from, to - from );
        if( name.find_first_not_of( " \t\r\n" ) != name.npos &&
            !cryX509PolicyFlagsFromString( pb::adopt( pbStringCreateFromCstr( name.data(), (PB_INT)name.size() ) ).get() ) )
            unused.add( "the flag " + tool::shown( name ) );
        from = to + 1;
    }
}

// Adds the entries of a keyed store that are not kept. A set keeps equal names once, and an empty
// list is not kept, but nothing is lost by that.
void addUnused( PB_STORE *kept, PB_STORE *all, const std::string &above, Unused &unused )
{
    for( PB_INT index = 0; index < pbStoreLength( all ); index++ )
    {
        std::string       key       = tool::take( pbStoreKeyAt( all, index ) );
        std::string       path      = tool::shown( above + key );
        pb::Ref<PB_STORE> inner     = pb::adopt( pbStoreStoreAt( all, index ) );
        PB_INT            at        = pbStoreIndexCstr( kept, key.data(), (PB_INT)key.size() );
        pb::Ref<PB_STORE> keptInner = at < 0 ? pb::Ref<PB_STORE>() : pb::adopt( pbStoreStoreAt( kept, at ) );
        bool isList = key == "trustedCertificates" || key == "synchronizedTrustedCertificates" || key == "trustedSans" || key == "extraCertificates";
        if( isList && inner )
        {
            PB_INT lost = pbStoreLength( inner.get() ) - ( keptInner ? pbStoreLength( keptInner.get() ) : 0 );
            unused.addCount( path, key == "trustedSans" ? countNoNames( inner.get() ) : (size_t)lost );
        }
        else if( at < 0 )
            unused.add( path );
        else if( key == "identity" && inner && pbStoreIsArray( inner.get() ) )
            unused.add( path );
        else if( key == "identity" && inner && keptInner )
            addUnused( keptInner.get(), inner.get(), "identity.", unused );
        else if( key == "policyFlags" )
            addUnknownFlags( tool::take( pbStoreValueAt( all, index ) ), unused );
    }
}

}

tool::Configuration tool::readConfiguration( const std::string &path )
{
    Configuration            read{ readWhole( path, Content::secret ), {} };
    pb::Ref<PB_STORE_HEADER> header;
    read.store = pb::adopt( pbStoreTryDecode( read.content.get(), header.handle() ) );
    if( !read.store )
        throw problemOf( path, read.content.get() );
    if( pbStoreIsArray( read.store.get() ) )
        throw InputError( path, "is a list, not an object with the settings of a stack" );
    if( header && !pbStoreHeaderIsTypeCstr( header.get(), typeOfStacks, -1 ) )
        throw InputError( path, "is a store of the type " + shown( take( pbStoreHeaderType( header.get() ) ) ) + ", not " + typeOfStacks );
    return read;
}

bool tool::hasValue( PB_STORE *configuration, const char *key, const std::string &value )
{
    PB_STRING *text = pbStoreValueCstr( configuration, key, -1 );
    return text && take( text ) == value;
}

void tool::warnOfEntries( const std::string &path, PB_STORE *configuration )
{
    constexpr size_t  most = 5;
    Unused            unused;
    pb::Ref<PB_STORE> kept = pb::adopt( csConfigurationTryNormalize( cryX509StackSort(), configuration, PB_FALSE, CS_STORE_PRIVATE ) );
    addUnused( kept.get(), configuration, "", unused );
    std::string list;
    for( size_t index = 0; index < unused.entries.size() && index < most; index++ )
        list += ( index ? ", " : "" ) + unused.entries[index];
    if( unused.entries.size() > most )
        list += " and others";
    if( !list.empty() )
        warn( { nameOf( path ) + ": not used, since it is unknown or cannot be read: " + list, path, {} } );
    pb::Ref<PB_STORE> identity = pb::adopt( pbStoreStoreCstr( configuration, "identity", -1 ) );
    if( identity && pbStoreIndexCstr( identity.get(), "privateKey", -1 ) >= 0 )
        warnIfOthersCanRead( path, "the private key" );
}
