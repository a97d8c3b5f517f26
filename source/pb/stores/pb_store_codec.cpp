#include <pb/containers.hpp>
#include <pb/pb_store_codec.h>
#include <pb/pb_string.h>

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>
#include <unistr.h>

#include "stores/pb_store_codec.hpp"
#include "stores/pb_store_entries.hpp"
#include "values/pb_string_fill.hpp"

static constexpr char headerKey[] = "header";
static constexpr char storeKey[]  = "store";

// Writing.

namespace
{

// The number of bytes in a JSON string for each byte of the text.
constexpr std::array<uint8_t, 256> writtenLength = [] {
    std::array<uint8_t, 256> lengths{};
    for( size_t byte = 0; byte < lengths.size(); byte++ )
        lengths[byte] = byte < 0x20 ? 6 : 1;
    for( char byte : { '"', '\\', '\b', '\f', '\n', '\r', '\t' } )
        lengths[(uint8_t)byte] = 2;
    return lengths;
}();

// Counts what a text will need, so that it is written into memory of the right size: memory that
// grows would leave secrets behind.
struct Measure
{
    size_t length    = 0;
    size_t entries   = 0;
    size_t depth     = 0;
    bool   sensitive = false;

    void put( std::string_view text ) { length += text.size(); }
    void indent( size_t levels ) { length += 2 * levels; }
    void string( PB_STRING *str )
    {
        sensitive |= pbStringSensitive( str ) != 0;
        length += 2;
        for( char byte : pb::viewOf( str ) )
            length += writtenLength[(uint8_t)byte];
    }
    void store( size_t levels ) { depth = levels > depth ? levels : depth; }
    void entry() { entries++; }

    bool isWithin( const pb::StoreBounds &bounds ) const
    {
        return length <= (size_t)bounds.bytes && entries <= (size_t)bounds.entries && depth <= (size_t)bounds.depth;
    }
};

// Writes a text that was measured.
class Writer
{
public:
    explicit Writer( PB_BYTE *memory ) : to( memory ) {}

    void put( std::string_view text ) { put( text.data(), text.size() ); }
    void indent( size_t levels )
    {
        std::memset( to, ' ', 2 * levels );
        to += 2 * levels;
    }
    void string( PB_STRING *str )
    {
        *to++                 = '"';
        std::string_view text = pb::viewOf( str );
        size_t           from = 0;
        for( size_t at = 0; at < text.size(); at++ )
        {
            if( writtenLength[(uint8_t)text[at]] == 1 )
                continue;
            put( text.data() + from, at - from );
            escape( text[at] );
            from = at + 1;
        }
        put( text.data() + from, text.size() - from );
        *to++ = '"';
    }
    void store( size_t ) {}
    void entry() {}

private:
    void put( const char *text, size_t count )
    {
        std::memcpy( to, text, count );
        to += count;
    }

    void escape( char byte )
    {
        static constexpr char plain[] = "\b\t\n\f\r\"\\", escaped[] = "btnfr\"\\", digits[] = "0123456789abcdef";
        *to++ = '\\';
        if( const void *found = std::memchr( plain, byte, sizeof plain - 1 ) )
        {
            *to++ = (PB_BYTE)escaped[(const char *)found - plain];
            return;
        }
        put( "u00" );
        *to++ = (PB_BYTE)digits[byte >> 4];
        *to++ = (PB_BYTE)digits[byte & 15];
    }

    PB_BYTE *to;
};

// A store that is being written.
struct Level
{
    PB_STORE *store;
    size_t    place = 0;
    bool      empty = true;
};

template<class Out>
void writeLine( Out &out, size_t levels )
{
    // A store that is too deep to be read must not take quadratic memory.
    out.put( "\n" );
    out.indent( levels < (size_t)PB_STORE_DEPTH_MAX ? levels : (size_t)PB_STORE_DEPTH_MAX );
}

template<class Out>
void writeNumber( Out &out, PB_INT number )
{
    char  digits[24];
    char *end = std::to_chars( digits, digits + sizeof digits, number ).ptr;
    out.put( { digits, (size_t)( end - digits ) } );
}

// Its stack does not grow with the depth of the stores.
template<class Out>
void writeDocument( Out &out, PB_STORE *document )
{
    pb::StdVector<Level> levels;
    auto                 begin = [&]( PB_STORE *store ) {
        levels.push_back( { store } );
        out.store( levels.size() );
        out.put( pbStoreIsArray( store ) ? "[" : "{" );
    };
    begin( document );
    while( !levels.empty() )
    {
        Level         &level = levels.back();
        pb::StoreEntry entry;
        if( !pb::nextStoreEntry( level.store, level.place, entry ) )
        {
            Level ended = level;
            levels.pop_back();
            if( !ended.empty )
                writeLine( out, levels.size() );
            out.put( pbStoreIsArray( ended.store ) ? "]" : "}" );
            continue;
        }
        if( !level.empty )
            out.put( "," );
        level.empty = false;
        out.entry();
        writeLine( out, levels.size() );
        if( entry.key )
        {
            out.string( entry.key );
            out.put( ": " );
        }
        if( entry.kind == pb::StoreKind::store )
            begin( pbStoreFrom( entry.object ) );
        else if( entry.kind == pb::StoreKind::string )
            out.string( pbStringFrom( entry.object ) );
        else if( entry.kind == pb::StoreKind::integer )
            writeNumber( out, entry.number );
        else
            out.put( entry.kind == pb::StoreKind::null ? "null" : entry.number ? "true" : "false" );
    }
    out.put( "\n" );
}

}

PB_BUFFER *pb::encodeStore( PB_STORE *store, PB_STORE_HEADER *header, const StoreBounds *bounds )
{
    Ref<PB_STORE> document = share( store );
    if( header )
    {
        document = adopt( pbStoreCreate() );
        pbStoreSetStoreCstr( document.handle(), headerKey, -1, adopt( pbStoreHeaderStore( header ) ).get() );
        pbStoreSetStoreCstr( document.handle(), storeKey, -1, store );
    }
    Measure measure;
    writeDocument( measure, document.get() );
    if( bounds && !measure.isWithin( *bounds ) )
        return nullptr;
    PB_BYTE       *bytes;
    Ref<PB_BUFFER> buffer = adopt( pb___BufferCreateLength( (PB_INT)measure.length, &bytes ) );
    Writer         writer( bytes );
    writeDocument( writer, document.get() );
    if( measure.sensitive )
        pbBufferSetSensitive( buffer.handle() );
    return buffer.take();
}

PB_BUFFER *pbStoreEncode( PB_STORE *store, PB_STORE_HEADER *header ) { return PB_CHECK( store ), pb::encodeStore( store, header, nullptr ); }

PB_BUFFER *pbStoreTryEncode( PB_STORE *store, PB_STORE_HEADER *header )
{
    return PB_CHECK( store ), pb::encodeStore( store, header, &pb::storeBounds );
}

// Reading.

namespace
{

int hexDigit( PB_BYTE byte )
{
    if( byte >= '0' && byte <= '9' )
        return byte - '0';
    PB_BYTE lower = byte | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// A store that is being read, and its key in the store around it.
struct Open
{
    pb::Ref<PB_STRING> key;
    pb::Ref<PB_STORE>  store;
};

// Reads one document. The functions give false or null if the text is not what they read.
class Reader
{
public:
    Reader( PB_BUFFER *buffer, const pb::StoreBounds &readable ) :
        at( pbBufferBytes( buffer ) ), end( at + pbBufferLength( buffer ) ), sensitive( pbBufferSensitive( buffer ) ), bounds( readable )
    {
    }

    // Its stack does not grow with the depth of the stores.
    pb::Ref<PB_STORE> tryReadDocument()
    {
        pb::Ref<PB_STORE> document;
        if( end - at > bounds.bytes )
            return {};
        skipBlanks();
        if( !tryOpen( {} ) )
            return {};
        while( !open.empty() )
        {
            // Here stands a member, or the end of the store if it has no members yet.
            if( !tryReadMember() )
                return {};
            while( !open.empty() && !isFresh )
            {
                skipBlanks();
                if( take( ',' ) )
                    break;
                if( !tryClose( document ) )
                    return {};
            }
        }
        skipBlanks();
        return at == end ? document : pb::Ref<PB_STORE>();
    }

private:
    bool take( char wanted )
    {
        if( at == end || *at != (PB_BYTE)wanted )
            return false;
        at++;
        return true;
    }

    bool take( std::string_view word )
    {
        if( (size_t)( end - at ) < word.size() || std::memcmp( at, word.data(), word.size() ) != 0 )
            return false;
        at += word.size();
        return true;
    }

    void skipBlanks()
    {
        while( at < end && ( *at == ' ' || *at == '\n' || *at == '\r' || *at == '\t' ) )
            at++;
    }

    // Takes the opening bracket of a store.
    bool tryOpen( pb::Ref<PB_STRING> key )
    {
        bool array = take( '[' );
        if( ( !array && !take( '{' ) ) || open.size() == (size_t)bounds.depth )
            return false;
        open.push_back( { std::move( key ), pb::adopt( array ? pbStoreCreateArray() : pbStoreCreate() ) } );
        isFresh = true;
        return true;
    }

    // Takes the closing bracket of the innermost store and puts the store into the one around it.
    bool tryClose( pb::Ref<PB_STORE> &document )
    {
        if( !take( pbStoreIsArray( open.back().store.get() ) ? ']' : '}' ) )
            return false;
        Open closed = std::move( open.back() );
        open.pop_back();
        isFresh = false;
        if( !open.empty() )
            return tryAdd( std::move( closed.key ), pb::StoreKind::store, 0, pb::share( closed.store.obj() ) );
        document = std::move( closed.store );
        return true;
    }

    bool tryAdd( pb::Ref<PB_STRING> key, pb::StoreKind kind, PB_INT number, pb::Ref<PB_OBJ> object )
    {
        return pb::addStoreEntry( open.back().store.get(), std::move( key ), kind, number, std::move( object ) );
    }

    PB_BOOL inArray() const { return pbStoreIsArray( open.back().store.get() ); }

    bool isClosing() const { return at < end && *at == ( inArray() ? ']' : '}' ); }

    // Reads a value, with its key. If it is a store, only its opening bracket is read.
    bool tryReadMember()
    {
        skipBlanks();
        if( isFresh && isClosing() )
        {
            isFresh = false;
            return true;
        }
        isFresh = false;
        pb::Ref<PB_STRING> key;
        if( ++entries > bounds.entries )
            return false;
        if( !inArray() )
        {
            key = tryReadString();
            skipBlanks();
            if( !key || !take( ':' ) )
                return false;
            skipBlanks();
        }
        if( at == end )
            return false;
        switch( *at )
        {
        case '{':
        case '[':
            return tryOpen( std::move( key ) );
        case '"':
            if( pb::Ref<PB_STRING> text = tryReadString() )
                return tryAdd( std::move( key ), pb::StoreKind::string, 0, pb::share( text.obj() ) );
            return false;
        case 't':
            return take( "true" ) && tryAdd( std::move( key ), pb::StoreKind::boolean, PB_TRUE, {} );
        case 'f':
            return take( "false" ) && tryAdd( std::move( key ), pb::StoreKind::boolean, PB_FALSE, {} );
        case 'n':
            return take( "null" ) && tryAdd( std::move( key ), pb::StoreKind::null, 0, {} );
        default:
            PB_INT number;
            return tryReadNumber( number ) && tryAdd( std::move( key ), pb::StoreKind::integer, number, {} );
        }
    }

    // A fraction or an exponent is left over; then what follows the number is not JSON for the
    // caller.
    bool tryReadNumber( PB_INT &number )
    {
        const char *from   = (const char *)at;
        const char *digits = from + ( *at == '-' );
        auto [stop, error] = std::from_chars( from, (const char *)end, number );
        if( error != std::errc() || ( *digits == '0' && stop - digits > 1 ) )
            return false;
        at = (const PB_BYTE *)stop;
        return true;
    }

    pb::Ref<PB_STRING> tryReadString()
    {
        if( !take( '"' ) )
            return {};
        const PB_BYTE *from    = at;
        bool           escapes = false;
        PB_BYTE        seen    = 0;
        for( ;; at++ )
        {
            if( at == end )
                return {};
            PB_BYTE byte = *at;
            seen |= byte;
            if( writtenLength[byte] == 1 )
                continue;
            if( byte == '"' )
                break;
            if( byte != '\\' || ++at == end )
                return {};
            escapes = true;
        }
        PB_INT length = at++ - from;
        if( !length )
            return pb::adopt( pbStringCreate() );
        if( seen >= 0x80 && u8_check( from, (size_t)length ) )
            return {};
        PB_BYTE           *bytes;
        pb::Ref<PB_STRING> text = pb::adopt( pb::createStringOfLength( length, sensitive, bytes ) );
        if( !escapes )
            std::memcpy( bytes, from, (size_t)length );
        else
            length = tryUnescape( from, from + length, bytes );
        if( length < 0 )
            return {};
        pb::finishString( text.get(), length );
        return text;
    }

    // Writes the text of a string, which is never longer; -1 for a bad escape.
    static PB_INT tryUnescape( const PB_BYTE *from, const PB_BYTE *stop, PB_BYTE *to )
    {
        PB_BYTE *begin = to;
        while( from < stop )
        {
            const PB_BYTE *next  = (const PB_BYTE *)std::memchr( from, '\\', (size_t)( stop - from ) );
            size_t         count = (size_t)( ( next ? next : stop ) - from );
            std::memcpy( to, from, count );
            to += count;
            from += count;
            if( next && !tryReadEscape( from, stop, to ) )
                return -1;
        }
        return to - begin;
    }

    static bool tryReadEscape( const PB_BYTE *&from, const PB_BYTE *stop, PB_BYTE *&to )
    {
        static constexpr char escaped[] = "\"\\/bfnrt", plain[] = "\"\\/\b\f\n\r\t";
        from++;
        PB_BYTE kind = *from++;
        if( const void *found = std::memchr( escaped, kind, sizeof escaped - 1 ) )
        {
            *to++ = (PB_BYTE)plain[(const char *)found - escaped];
            return true;
        }
        int64_t unit = kind == 'u' ? tryReadUnit( from, stop ) : -1;
        if( unit >= 0xD800 && unit < 0xDC00 )
        {
            // The first half of a character; the second half must follow.
            if( stop - from < 2 || from[0] != '\\' || from[1] != 'u' )
                return false;
            from += 2;
            int64_t low = tryReadUnit( from, stop );
            unit        = low >= 0xDC00 && low < 0xE000 ? 0x10000 + ( ( unit - 0xD800 ) << 10 ) + ( low - 0xDC00 ) : -1;
        }
        int length = unit < 0 ? -1 : u8_uctomb( to, (ucs4_t)unit, 4 );
        if( length < 0 )
            return false;
        to += length;
        return true;
    }

    // Four hexadecimal digits; -1 if they are not there.
    static int64_t tryReadUnit( const PB_BYTE *&from, const PB_BYTE *stop )
    {
        if( stop - from < 4 )
            return -1;
        int64_t unit = 0;
        for( int index = 0; index < 4; index++ )
        {
            int digit = hexDigit( *from++ );
            if( digit < 0 )
                return -1;
            unit = unit << 4 | digit;
        }
        return unit;
    }

    const PB_BYTE      *at, *end;
    PB_BOOL             sensitive;
    pb::StoreBounds     bounds;
    PB_INT              entries = 0;
    bool                isFresh = false; // the innermost store was just opened
    pb::StdVector<Open> open;
};

// Takes a document with a header apart. False if it has none.
bool trySplit( PB_STORE *document, pb::Ref<PB_STORE> &store, pb::Ref<PB_STORE_HEADER> &header )
{
    if( pbStoreLength( document ) != 2 || pbStoreIndexCstr( document, headerKey, -1 ) != 0 || pbStoreIndexCstr( document, storeKey, -1 ) != 1 )
        return false;
    pb::Ref<PB_STORE> headerStore = pb::adopt( pbStoreStoreAt( document, 0 ) );
    store                         = pb::adopt( pbStoreStoreAt( document, 1 ) );
    if( !headerStore || !store )
        return false;
    header = pb::adopt( pbStoreHeaderTryRestore( headerStore.get() ) );
    return (bool)header;
}

}

PB_STORE *pb::tryDecodeStore( PB_BUFFER *buffer, PB_STORE_HEADER **header, const StoreBounds &bounds )
{
    if( header )
        *header = nullptr;
    Ref<PB_STORE> document = Reader( buffer, bounds ).tryReadDocument();
    if( !document )
        return nullptr;
    Ref<PB_STORE>        store;
    Ref<PB_STORE_HEADER> found;
    if( !trySplit( document.get(), store, found ) )
        return document.take();
    if( header )
        *header = found.take();
    return store.take();
}

PB_STORE *pbStoreTryDecode( PB_BUFFER *buffer, PB_STORE_HEADER **header )
{
    return PB_CHECK( buffer ), pb::tryDecodeStore( buffer, header, pb::storeBounds );
}
