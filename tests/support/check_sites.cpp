#include "support/check_sites.hpp"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

namespace
{

bool isWord( char c ) { return std::isalnum( (unsigned char)c ) || c == '_'; }

// The text as the preprocessor writes it: single blanks, and no blanks at the ends.
std::string inOneLine( std::string_view text )
{
    std::string out;
    for( char c : text )
    {
        if( !std::isspace( (unsigned char)c ) )
            out += c;
        else if( !out.empty() && out.back() != ' ' )
            out += ' ';
    }
    if( !out.empty() && out.back() == ' ' )
        out.pop_back();
    return out;
}

// The place after the literal that begins at `at`; `at` itself if no literal begins there.
size_t behindLiteral( std::string_view text, size_t at )
{
    char quote = text[at];
    // A single quote can also separate the digits of a number.
    if( quote != '"' && ( quote != '\'' || ( at && std::isdigit( (unsigned char)text[at - 1] ) ) ) )
        return at;
    for( size_t end = at + 1; end < text.size() && text[end] != '\n'; end++ )
    {
        if( text[end] == '\\' )
            end++;
        else if( text[end] == quote )
            return end + 1;
    }
    return at;
}

void blankOut( std::string &text, size_t from, size_t to )
{
    for( size_t at = from; at < to && at < text.size(); at++ )
    {
        if( text[at] != '\n' )
            text[at] = ' ';
    }
}

std::string withoutComments( std::string text )
{
    for( size_t at = 0; at < text.size(); at++ )
    {
        if( size_t behind = behindLiteral( text, at ); behind > at )
            at = behind - 1;
        else if( text.compare( at, 2, "//" ) == 0 )
            blankOut( text, at, text.find( '\n', at ) );
        else if( text.compare( at, 2, "/*" ) == 0 )
            blankOut( text, at, text.find( "*/", at ) + 2 );
    }
    return text;
}

// A use of a function or macro: a name with arguments in parentheses.
struct Call
{
    std::string              name;
    std::vector<std::string> arguments;
    size_t                   begin, end;
};

// Reads the arguments whose parenthesis opens at `at`; false if it is not closed.
bool tryReadArguments( std::string_view text, size_t at, Call &call )
{
    int    depth = 0;
    size_t start = at + 1;
    for( ; at < text.size(); at++ )
    {
        if( size_t behind = behindLiteral( text, at ); behind > at )
        {
            at = behind - 1;
            continue;
        }
        char c = text[at];
        depth += c == '(' || c == '[' || c == '{';
        depth -= c == ')' || c == ']' || c == '}';
        if( depth && ( c != ',' || depth != 1 ) )
            continue;
        call.arguments.push_back( inOneLine( text.substr( start, at - start ) ) );
        start = at + 1;
        if( !depth )
        {
            call.end = at;
            return true;
        }
    }
    return false;
}

std::vector<Call> callsIn( std::string_view text )
{
    std::vector<Call> calls;
    size_t            macroBegin = 0, macroEnd = 0;
    for( size_t at = 0; at < text.size(); at++ )
    {
        if( size_t behind = behindLiteral( text, at ); behind > at )
            at = behind - 1;
        if( !isWord( text[at] ) )
            continue;
        size_t end = at;
        while( end < text.size() && isWord( text[end] ) )
            end++;
        size_t open = text.find_first_not_of( " \n", end );
        Call   call = { std::string( text.substr( at, end - at ) ), {}, at, at };
        at          = end - 1;
        if( open == text.npos || text[open] != '(' || !tryReadArguments( text, open, call ) )
            continue;
        // For the compiler, a macro's arguments are on the line on which the macro begins.
        bool isMacro = std::none_of( call.name.begin(), call.name.end(), []( char c ) { return std::islower( (unsigned char)c ); } );
        if( call.begin < macroEnd )
            call.begin = macroBegin;
        else if( isMacro )
        {
            macroBegin = call.begin;
            macroEnd   = call.end;
        }
        calls.push_back( std::move( call ) );
    }
    return calls;
}

std::string joined( const std::vector<std::string> &arguments, size_t from )
{
    std::string out;
    for( size_t index = from; index < arguments.size(); index++ )
        out += ( index > from ? ", " : "" ) + arguments[index];
    return out;
}

// The texts that a use of a check macro can report; empty for other macros and functions.
std::set<std::string> textsOf( const Call &call )
{
    if( call.name == "PB_CHECK" )
        return { joined( call.arguments, 0 ) };
    if( call.name == "PB_CHECK_CONTEXT" )
        return { joined( call.arguments, 1 ) };
    if( call.name == "PB_CHECK_HANDLE" )
        return { call.arguments[0], "*" + call.arguments[0] };
    return {};
}

struct Macro
{
    std::vector<std::string> parameters;
    std::string              body;
};

// A source file: its text without comments and definitions of macros, and these definitions.
struct Source
{
    std::string                  text;
    std::map<std::string, Macro> macros;

    explicit Source( const std::filesystem::path &path )
    {
        std::ifstream      in( path );
        std::ostringstream all;
        all << in.rdbuf();
        text = withoutComments( all.str() );
        for( size_t at = text.find( "#define " ); at != text.npos; at = text.find( "#define ", at + 1 ) )
        {
            size_t end = text.find( '\n', at );
            while( end != text.npos && text[end - 1] == '\\' )
                end = text.find( '\n', end + 1 );
            take( text.substr( at, end - at ) );
            blankOut( text, at, end );
        }
    }

    size_t lineAt( size_t offset ) const { return 1 + (size_t)std::count( text.begin(), text.begin() + (ptrdiff_t)offset, '\n' ); }

private:
    void take( std::string definition )
    {
        std::replace( definition.begin(), definition.end(), '\\', ' ' );
        size_t begin = definition.find_first_not_of( ' ', sizeof "#define" ), end = begin;
        while( end < definition.size() && isWord( definition[end] ) )
            end++;
        Call call;
        if( end < definition.size() && definition[end] == '(' && tryReadArguments( definition, end, call ) )
            macros[definition.substr( begin, end - begin )] = { call.arguments, definition.substr( call.end + 1 ) };
    }
};

// The body of a macro with its arguments in place.
std::string expanded( const Macro &macro, const std::vector<std::string> &arguments )
{
    std::map<std::string, std::string> values;
    for( size_t index = 0; index < macro.parameters.size() && index < arguments.size(); index++ )
        values[macro.parameters[index]] = arguments[index];
    if( macro.parameters.back() == "..." )
        values["__VA_ARGS__"] = joined( arguments, macro.parameters.size() - 1 );
    std::string out;
    for( size_t at = 0; at < macro.body.size(); )
    {
        size_t end = at;
        while( end < macro.body.size() && isWord( macro.body[end] ) )
            end++;
        if( end == at )
        {
            if( macro.body.compare( at, 2, "##" ) != 0 )
                out += macro.body[at++];
            else
                at += 2;
            continue;
        }
        std::string word  = macro.body.substr( at, end - at );
        auto        value = values.find( word );
        out += value == values.end() ? word : value->second;
        at = end;
    }
    return out;
}

// The macros and functions of all sources together.
class Sources
{
public:
    static const Sources &all()
    {
        static const Sources only;
        return only;
    }

    // Whether a call makes a check with this text: it is a check, or a macro with such a check.
    bool makes( const Call &call, const std::string &expression, const std::map<std::string, Macro> &own, int depth = 0 ) const
    {
        if( textsOf( call ).count( expression ) )
            return true;
        auto         found = own.find( call.name ), known = macros.find( call.name );
        const Macro *macro = found != own.end() ? &found->second : known != macros.end() ? &known->second : nullptr;
        if( !macro || depth == 4 || call.name.starts_with( "PB_CHECK" ) )
            return false;
        for( const Call &inner : callsIn( expanded( *macro, call.arguments ) ) )
        {
            if( makes( inner, expression, own, depth + 1 ) )
                return true;
        }
        return false;
    }

    // Whether the called function makes a check with this text for its caller.
    bool makesForCaller( const Call &call, const std::string &expression ) const { return makesForCaller( call.name, expression, 0 ); }

private:
    // Such a function may pass its caller's place to other functions.
    bool makesForCaller( const std::string &function, const std::string &expression, int depth ) const
    {
        auto taker = familyOf.find( function );
        if( taker == familyOf.end() || depth == 4 )
            return false;
        const std::set<std::string> &texts  = checksOf.at( taker->second );
        const std::set<std::string> &others = handsOnTo.at( taker->second );
        return std::any_of( texts.begin(), texts.end(), [&]( const std::string &each ) { return fits( each, expression ); } ) ||
            std::any_of( others.begin(), others.end(), [&]( const std::string &each ) { return makesForCaller( each, expression, depth + 1 ); } );
    }

    Sources()
    {
        std::filesystem::path root = CRY_SOURCE_DIR;
        for( const char *folder : { "source", "include" } )
        {
            for( const auto &entry : std::filesystem::recursive_directory_iterator( root / folder ) )
            {
                if( entry.is_regular_file() )
                    add( Source( entry.path() ), entry.path().stem() );
            }
        }
    }

    // The functions that take their caller's place, and the checks that they make for it, are in
    // one header or source file, or in a header and the source file of the same name.
    void add( const Source &source, const std::string &family )
    {
        macros.insert( source.macros.begin(), source.macros.end() );
        std::set<std::string> &texts  = checksOf[family];
        std::set<std::string> &others = handsOnTo[family];
        for( const Call &call : callsIn( source.text ) )
        {
            if( call.name == "PB_CHECK_AT" )
                texts.insert( joined( call.arguments, 1 ) );
            if( std::find( call.arguments.begin(), call.arguments.end(), "site" ) != call.arguments.end() )
                others.insert( call.name );
            // A check whose text is made from names.
            if( call.name == "snprintf" && call.arguments.size() > 2 && call.arguments[2].starts_with( "\"" ) )
                texts.insert( contentOf( call.arguments[2] ) );
            if( std::any_of(
                    call.arguments.begin(), call.arguments.end(), []( const std::string &each ) { return each.starts_with( "pb::Site site" ); } ) )
                familyOf[call.name] = family;
        }
    }

    // The text of a string literal.
    static std::string contentOf( const std::string &literal )
    {
        std::string out;
        for( size_t at = 1; at + 1 < literal.size(); at++ )
            out += literal[at] == '\\' ? literal[++at] : literal[at];
        return out;
    }

    // Whether an expression has the form `text`, in which %s stands for any text.
    static bool fits( const std::string &text, const std::string &expression )
    {
        size_t open = text.find( "%s" );
        if( open == text.npos )
            return text == expression;
        if( expression.compare( 0, open, text, 0, open ) != 0 )
            return false;
        std::string rest = text.substr( open + 2 );
        for( size_t from = open; from <= expression.size(); from++ )
        {
            if( fits( rest, expression.substr( from ) ) )
                return true;
        }
        return false;
    }

    std::map<std::string, Macro>                 macros;
    std::map<std::string, std::string>           familyOf;  // the name of the file without its ending, by function
    std::map<std::string, std::set<std::string>> checksOf;  // by that name
    std::map<std::string, std::set<std::string>> handsOnTo; // by that name: the functions that get the place
};

}

std::string support::wrongPlaceOfCheck( const std::string &file, PB_INT line, const std::string &expression )
{
    struct Parsed
    {
        Source            source;
        std::vector<Call> calls;
    };
    static std::map<std::string, Parsed> known;

    auto found = known.find( file );
    if( found == known.end() )
    {
        Source source( std::filesystem::path( CRY_SOURCE_DIR ) / file );
        found = known.emplace( file, Parsed{ source, callsIn( source.text ) } ).first;
    }
    const auto &[source, calls] = found->second;
    for( const Call &call : calls )
    {
        if( (size_t)line < source.lineAt( call.begin ) || (size_t)line > source.lineAt( call.end ) )
            continue;
        if( Sources::all().makes( call, expression, source.macros ) || Sources::all().makesForCaller( call, expression ) )
            return {};
    }
    return file + ":" + std::to_string( line ) + ": there is no check `" + expression + "` on this line";
}
