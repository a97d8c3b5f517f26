#include "pages/pages.hpp"

#include <algorithm>
#include <cctype>
#include <set>

namespace
{

using pages::Entry;

// Text as roff takes it. A hyphen that is typed as it stands, in an option or a name with digits,
// becomes a minus sign, which can be copied.
std::string roff( const std::string &text )
{
    std::string out;
    bool        inOption = false;
    for( size_t index = 0; index < text.size(); index++ )
    {
        char c      = text[index];
        char before = index ? text[index - 1] : ' ', after = index + 1 < text.size() ? text[index + 1] : ' ';
        auto isEdge = []( char each ) { return std::isspace( (unsigned char)each ) || each == '\'' || each == '(' || each == '['; };
        if( isEdge( c ) || ( !std::isalnum( (unsigned char)c ) && c != '-' ) )
            inOption = false;
        else if( c == '-' && isEdge( before ) )
            inOption = true;
        bool minus = c == '-' && ( inOption || std::isdigit( (unsigned char)before ) || std::isdigit( (unsigned char)after ) );
        out += c == '\\' ? "\\e" : c == '\'' ? "\\(aq" : minus ? "\\-" : std::string( 1, c );
    }
    return out.starts_with( '.' ) ? "\\&" + out : out;
}

std::string bold( const std::string &text ) { return "\\fB" + roff( text ) + "\\fR"; }
std::string italic( const std::string &text ) { return "\\fI" + roff( text ) + "\\fR"; }

std::string withValue( const CLI::Option *option )
{
    std::string name = "--" + option->get_lnames()[0];
    return bold( name ) + ( pages::takesValue( option ) ? " " + italic( option->get_type_name() ) : "" );
}

bool excludes( const CLI::Option *option, const CLI::Option *other )
{
    return option->get_excludes().count( const_cast<CLI::Option *>( other ) ) > 0;
}

std::string synopsis( const Entry &entry )
{
    std::string                      text    = ".B " + roff( entry.path.empty() ? "cry" : "cry " + entry.path ) + "\n";
    std::vector<const CLI::Option *> options = entry.options();
    std::set<const CLI::Option *>    done;
    std::string                      line;
    for( const CLI::Option *option : options )
    {
        if( done.count( option ) )
            continue;
        // Options that exclude each other stand together.
        std::vector<const CLI::Option *> choice{ option };
        for( const CLI::Option *other : options )
        {
            if( other != option && !done.count( other ) &&
                std::all_of( choice.begin(), choice.end(), [other]( const CLI::Option *each ) { return excludes( each, other ); } ) )
                choice.push_back( other );
        }
        std::string part;
        for( const CLI::Option *each : choice )
        {
            part += ( part.empty() ? "" : " | " ) + withValue( each );
            done.insert( each );
        }
        line += ( line.empty() ? "" : " " ) + ( option->get_required() ? part : "[" + part + "]" ) + ( pages::isRepeated( option ) ? "..." : "" );
    }
    for( const CLI::Option *argument : entry.arguments() )
    {
        std::string name = italic( argument->get_name() );
        line += " " + ( argument->get_required() ? name : "[" + name + "]" ) + ( pages::isRepeated( argument ) ? "..." : "" );
    }
    return text + line + "\n";
}

std::string names( const std::set<CLI::Option *> &options )
{
    // A set of pointers has no order of its own that is the same each time.
    std::set<std::string> sorted;
    for( const CLI::Option *each : options )
        sorted.insert( each->get_name() );
    std::string text;
    for( const std::string &each : sorted )
        text += ( text.empty() ? "" : ", " ) + each;
    return text;
}

std::string item( const CLI::Option *option )
{
    bool        named = !option->get_lnames().empty();
    std::string text  = option->get_description();
    if( named && option->get_required() )
        text += "; required";
    if( pages::isRepeated( option ) && text.find( "several times" ) == text.npos && named )
        text += "; may be given several times";
    if( !option->get_default_str().empty() )
        text += "; " + option->get_default_str() + " if left out";
    if( !option->get_needs().empty() )
        text += "; only with " + names( option->get_needs() );
    if( !option->get_excludes().empty() )
        text += "; not with " + names( option->get_excludes() );
    return ".TP\n" + ( named ? withValue( option ) : italic( option->get_name() ) ) + "\n" + roff( text ) + "\n";
}

std::string section( const Entry &entry )
{
    std::string summary = entry.app->get_description(), footer = entry.app->get_footer(), exit;
    summary[0] = (char)std::toupper( (unsigned char)summary[0] );
    size_t at  = footer.find( "Exit: " );
    if( at != footer.npos )
    {
        exit   = footer.substr( at + 6 );
        footer = footer.substr( 0, at );
    }
    std::string text = ".SS cry " + entry.path + "\n" + roff( summary ) + ".\n";
    if( !footer.empty() )
        text += roff( pages::replaced( footer, "\n", " " ) ) + "\n";
    for( const CLI::Option *argument : entry.arguments() )
        text += item( argument );
    for( const CLI::Option *option : entry.options() )
        text += item( option );
    return pages::replaced( text, " \n", "\n" ) + ".PP\nExit status: " + roff( exit ) + "\n";
}

}

std::string pages::manual( const CLI::App &app, const std::string &source, const std::string &version )
{
    Entry       tool{ "", &app };
    std::string synopses, sections, own;
    for( const Entry &each : all( app ) )
    {
        if( each.isGroup() )
            continue;
        synopses += synopsis( each ) + ".br\n";
        sections += section( each );
    }
    for( const CLI::Option *option : tool.options() )
        own += item( option );
    std::string text = replaced( source, "@SYNOPSIS@\n", synopses + synopsis( tool ) );
    text             = replaced( text, "@COMMANDS@\n", sections );
    text             = replaced( text, "@OPTIONS@\n", own );
    return replaced( text, "@VERSION@", version );
}
