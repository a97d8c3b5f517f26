#include "input/batch_line.hpp"

#include "text/printable.hpp"

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::json;

// The texts that a member takes.
struct Member
{
    const char *name;
    enum Kind
    {
        id,
        text,
        list, // one text too
    } kind;
    void ( *add )( tool::BatchLine &line, std::string &&text );
    void ( *begin )( tool::BatchLine &line ) = nullptr; // of a list, which may be empty
};

constexpr Member members[] = {
    { "id", Member::id, []( tool::BatchLine &line, std::string &&text ) { line.id = Json( std::move( text ) ).dump( -1, ' ', true ); } },
    { "certificate", Member::text, []( tool::BatchLine &line, std::string &&text ) { line.certificate = std::move( text ); } },
    { "extraCertificates", Member::list, []( tool::BatchLine &line, std::string &&text ) { line.extraCertificates.push_back( std::move( text ) ); },
        []( tool::BatchLine & ) {} },
    { "trustedCertificates", Member::list,
        []( tool::BatchLine &line, std::string &&text ) { line.trustedCertificates->push_back( std::move( text ) ); },
        []( tool::BatchLine &line ) { line.trustedCertificates.emplace(); } },
    { "time", Member::text, []( tool::BatchLine &line, std::string &&text ) { line.time = std::move( text ); } },
    { "names", Member::list, []( tool::BatchLine &line, std::string &&text ) { line.names->push_back( std::move( text ) ); },
        []( tool::BatchLine &line ) { line.names.emplace(); } },
    { "policyFlags", Member::list, []( tool::BatchLine &line, std::string &&text ) { line.policyFlags.push_back( std::move( text ) ); },
        []( tool::BatchLine & ) {} },
};
constexpr size_t certificateMember = 1;

// Gets the events of the parser. What is wrong with the members ends nothing, so that the id is
// found wherever it stands. No value is kept but the texts that members take, and nesting of any
// depth is only counted.
class Reader
{
public:
    explicit Reader( tool::BatchLine &to ) : line( to ) {}

    bool null() { return other(); }
    bool boolean( bool ) { return other(); }
    bool number_integer( Json::number_integer_t number )
    {
        return numeric( [number] { return std::to_string( number ); } );
    }
    bool number_unsigned( Json::number_unsigned_t number )
    {
        return numeric( [number] { return std::to_string( number ); } );
    }
    // The number as it was written loses no digits.
    bool number_float( Json::number_float_t, const std::string &written )
    {
        return numeric( [&written] { return written; } );
    }
    bool binary( Json::binary_t & ) { return other(); }

    bool string( std::string &text )
    {
        if( !takesValue() )
            return true;
        if( depth == 1 && member->begin )
            member->begin( line );
        member->add( line, std::move( text ) );
        return true;
    }

    bool start_object( size_t )
    {
        if( depth > 0 )
            other();
        depth++;
        return true;
    }

    bool start_array( size_t )
    {
        if( depth == 1 && member && member->kind == Member::list )
        {
            member->begin( line );
            inList = true;
        }
        else
            other();
        depth++;
        return true;
    }

    bool end_object() { return end(); }
    bool end_array() { return end(); }

    bool key( std::string &name )
    {
        if( depth > 1 )
            return true;
        member = nullptr;
        for( const Member &each : members )
        {
            if( name == each.name )
                member = &each;
        }
        if( !member )
            fail( "there is no member " + tool::shown( name ) );
        else if( seen[member - members] )
        {
            fail( std::string( "the member '" ) + member->name + "' is there twice" );
            member = nullptr;
        }
        else
            seen[member - members] = true;
        return true;
    }

    bool parse_error( size_t position, const std::string &, const Json::exception &problem )
    {
        constexpr int tooLarge = 406;

        line.problem = problem.id == tooLarge ? "a number is too large" : "it is not JSON, as byte " + std::to_string( position ) + " shows";
        return false;
    }

    void finish()
    {
        if( !seen[certificateMember] )
            fail( "there is no 'certificate'" );
    }

private:
    bool end()
    {
        depth--;
        inList = inList && depth > 1;
        return true;
    }

    void fail( const std::string &problem )
    {
        if( line.problem.empty() )
            line.problem = problem;
    }

    // Whether a value at this place belongs to a member.
    bool takesValue()
    {
        if( depth == 0 )
            fail( "it is not an object" );
        return member && ( depth == 1 || ( depth == 2 && inList ) );
    }

    bool numeric( auto written )
    {
        if( depth == 1 && member && member->kind == Member::id )
            line.id = written();
        else
            other();
        return true;
    }

    // A value that no member takes.
    bool other()
    {
        static constexpr const char *expected[] = { "neither a text nor a number", "not a text", "neither a text nor a list of texts" };

        if( takesValue() )
            fail( std::string( "the member '" ) + member->name + "' is " + expected[member->kind] );
        return true;
    }

    tool::BatchLine &line;
    const Member    *member                     = nullptr; // null for one that is refused
    bool             seen[std::size( members )] = {};
    bool             inList                     = false;
    size_t           depth                      = 0;
};

// Reads the usual lines: ASCII, with texts, lists of texts and short numbers only. The parser takes
// several times as long for them. Gives the same events as the parser.
class UsualLine
{
public:
    UsualLine( std::string_view line, Reader &to ) : rest( line ), reader( to ) {}

    // False if it is no such line. Then the parser must read all of it, with another Reader.
    bool read()
    {
        if( !take( '{' ) )
            return false;
        reader.start_object( unknownSize );
        if( !take( '}' ) )
        {
            do
            {
                if( !readMember() )
                    return false;
            }
            while( take( ',' ) );
            if( !take( '}' ) )
                return false;
        }
        reader.end_object();
        skipBlanks();
        return rest.empty();
    }

private:
    static constexpr size_t unknownSize = (size_t)-1;

    void skipBlanks()
    {
        size_t count = rest.find_first_not_of( " \t\r\n" );
        rest.remove_prefix( count == rest.npos ? rest.size() : count );
    }

    bool take( char wanted )
    {
        skipBlanks();
        if( !rest.starts_with( wanted ) )
            return false;
        rest.remove_prefix( 1 );
        return true;
    }

    bool readMember()
    {
        if( !readText() )
            return false;
        reader.key( text );
        if( !take( ':' ) )
            return false;
        skipBlanks();
        if( rest.starts_with( '[' ) )
            return readList();
        return rest.starts_with( '"' ) ? readValue() : readNumber();
    }

    bool readList()
    {
        take( '[' );
        reader.start_array( unknownSize );
        if( !take( ']' ) )
        {
            do
            {
                if( !readValue() )
                    return false;
            }
            while( take( ',' ) );
            if( !take( ']' ) )
                return false;
        }
        reader.end_array();
        return true;
    }

    bool readValue()
    {
        if( !readText() )
            return false;
        reader.string( text );
        return true;
    }

    bool readNumber()
    {
        constexpr size_t most = 18; // digits that fit into any integer

        size_t count = rest.find_first_not_of( "0123456789" );
        if( count == 0 || count > most || ( count > 1 && rest[0] == '0' ) || rest[count] == '.' || rest[count] == 'e' || rest[count] == 'E' )
            return false;
        Json::number_unsigned_t number = 0;
        for( char digit : rest.substr( 0, count ) )
            number = number * 10 + ( Json::number_unsigned_t )( digit - '0' );
        rest.remove_prefix( count );
        reader.number_unsigned( number );
        return true;
    }

    bool readText()
    {
        static constexpr std::string_view escapes = "\"\\/bfnrt", meanings = "\"\\/\b\f\n\r\t";

        if( !take( '"' ) )
            return false;
        text.clear();
        while( true )
        {
            size_t count = plainCount();
            text.append( rest, 0, count );
            rest.remove_prefix( count );
            if( rest.starts_with( '"' ) )
                return take( '"' );
            if( rest.size() < 2 || rest[0] != '\\' )
                return false;
            size_t place = escapes.find( rest[1] );
            if( place == escapes.npos )
                return false;
            text += meanings[place];
            rest.remove_prefix( 2 );
        }
    }

    // The bytes that stand for themselves in a text, and stand before any other byte.
    size_t plainCount() const
    {
        constexpr uint64_t ones = 0x0101010101010101, high = ones << 7;

        auto hasZero = []( uint64_t word ) { return ( word - ones ) & ~word & high; };
        // A word with another byte is always seen here; the bytes are looked at one by one then.
        size_t count = 0;
        for( uint64_t word; count + sizeof word <= rest.size(); count += sizeof word )
        {
            std::memcpy( &word, rest.data() + count, sizeof word );
            if( ( word & high ) | ( ( word - ' ' * ones ) & high ) | hasZero( word ^ '"' * ones ) | hasZero( word ^ '\\' * ones ) )
                break;
        }
        auto isPlain = []( char each ) { return each >= ' ' && (unsigned char)each < 0x80 && each != '"' && each != '\\'; };
        while( count < rest.size() && isPlain( rest[count] ) )
            count++;
        return count;
    }

    std::string_view rest;
    Reader          &reader;
    std::string      text;
};

}

tool::BatchLine tool::readBatchLine( std::string_view text )
{
    BatchLine line;
    // The parser takes this byte for the end.
    if( size_t place = text.find( '\0' ); place != text.npos )
        line.problem = "byte " + std::to_string( place + 1 ) + " is 0";
    else if( text.find_first_not_of( " \t\r" ) == text.npos )
        line.problem = "it is empty";
    if( !line.problem.empty() )
        return line;
    Reader usualReader( line );
    if( UsualLine( text, usualReader ).read() )
    {
        usualReader.finish();
        return line;
    }
    line = {};
    Reader reader( line );
    if( Json::sax_parse( text.begin(), text.end(), &reader ) )
        reader.finish();
    else if( !isUtf8( text ) )
        line.problem = "it is not UTF-8";
    return line;
}
