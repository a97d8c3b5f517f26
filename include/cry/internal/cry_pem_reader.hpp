// The one reader of PEM text (RFC 7468, lax): it finds the lines of a block, or the reason why the
// lines are not a block. C++ only.
#pragma once

#include <pb/pb_base.h>
#include <rfc/internal/rfc_line_end.hpp>

#include <string_view>

namespace cry::pem
{

inline constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----";

// Words of printable characters, joined by single blanks or hyphens. An empty label is one.
inline bool labelOk( std::string_view label )
{
    bool afterSeparator = true;
    for( char c : label )
    {
        if( c < 0x20 || c > 0x7E )
            return false;
        bool separator = c == ' ' || c == '-';
        if( separator && afterSeparator )
            return false;
        afterSeparator = separator;
    }
    return label.empty() || !afterSeparator;
}

// The lines of a text in ISO 8859-1 (every byte is a character), trimmed of white space, without
// empty lines and comments.
class TextLines
{
public:
    explicit TextLines( std::string_view text, bool sensitive = false ) : at( text.data() ), last( at + text.size() ), secret( sensitive ) {}

    bool sensitive() const { return secret; }

    // The number of the line that next() gave last, counted from 1.
    PB_INT number() const { return lineNumber; }

    // The text behind the lines that were given.
    std::string_view rest() const { return { at, (size_t)( last - at ) }; }

    // Passes over so many lines with so many characters, line ends included.
    void skip( PB_INT lines, size_t characters )
    {
        at += characters;
        lineNumber += lines;
    }

    bool next( std::string_view &line )
    {
        while( at < last )
        {
            line = trim( rawLine() );
            if( !line.empty() && line[0] != '#' )
                return true;
        }
        return false;
    }

private:
    static bool isSpace( char c )
    {
        PB_BYTE byte = (PB_BYTE)c;
        return byte == ' ' || ( byte >= 0x09 && byte <= 0x0D ) || byte == 0x85 || byte == 0xA0;
    }

    static std::string_view trim( std::string_view line )
    {
        while( !line.empty() && isSpace( line.front() ) )
            line.remove_prefix( 1 );
        while( !line.empty() && isSpace( line.back() ) )
            line.remove_suffix( 1 );
        return line;
    }

    // LF, CR LF, CR and NEL end a line.
    std::string_view rawLine()
    {
        lineNumber++;
        const char      *lineEnd = rfc::findLineEnd<'\n', '\r', '\x85'>( at, last );
        std::string_view line( at, (size_t)( lineEnd - at ) );
        at = lineEnd == last ? last : lineEnd + ( *lineEnd == '\r' && lineEnd + 1 < last && lineEnd[1] == '\n' ? 2 : 1 );
        return line;
    }

    const char *at;
    const char *last;
    PB_INT      lineNumber = 0;
    bool        secret;
};

enum class Outcome
{
    block,
    noLines,
    failed
};

enum class Problem
{
    none,
    noBegin,      // the first line is not a BEGIN line
    beginOpen,    // the BEGIN line does not end with five hyphens
    label,        // the text of the BEGIN line is not a label
    noEnd,        // there is no END line
    endOpen,      // the last line is an END line that does not end with five hyphens
    labelsDiffer, // BEGIN and END have different labels
    headers,      // a body line has a colon, as the header lines of old encrypted keys
    character,    // a character that base 64 does not have, or text after the padding
    cutOff,       // the base 64 characters are not a multiple of four
    padding,      // the padding is too long or does not fit the last characters
    body,         // the body is base 64, so something else is wrong
};

// Damage: the reason why the lines are not a block, and its place.
struct Damage
{
    Problem          problem = Problem::none;
    PB_INT           line    = 0; // the first line of the text is 1
    std::string_view label;       // of the BEGIN line, if that line is complete
    std::string_view endLabel;    // for labelsDiffer
    char             character = 0;
};

// Takes the lines of one block: lines.next( line ) gives the next line, lines.number() gives its
// number. sink.label( label ) and sink.line( line, number ) get the label and the lines of the
// body; sink.isLabel( text ) says whether a text is the label. The views in the damage are views
// that the lines gave.
template<class Lines, class Sink>
Outcome readLines( Lines &lines, Sink &sink, Damage &damage )
{
    std::string_view line;
    auto             fail = [&]( Problem problem ) {
        damage.problem = problem;
        damage.line    = lines.number();
        return Outcome::failed;
    };
    if( !lines.next( line ) )
        return Outcome::noLines;
    if( !line.starts_with( begin ) )
        return fail( Problem::noBegin );
    if( line.size() < begin.size() + dashes.size() || !line.ends_with( dashes ) )
        return fail( Problem::beginOpen );
    line.remove_prefix( begin.size() );
    line.remove_suffix( dashes.size() );
    damage.label = line;
    if( !labelOk( line ) )
        return fail( Problem::label );
    sink.label( line );

    for( bool endOpen = false;; )
    {
        if( !lines.next( line ) )
            return fail( endOpen ? Problem::endOpen : Problem::noEnd );
        endOpen = line.starts_with( end );
        if( endOpen && line.ends_with( dashes ) && line.size() >= end.size() + dashes.size() )
            break;
        sink.line( line, lines.number() );
    }
    line.remove_prefix( end.size() );
    line.remove_suffix( dashes.size() );
    if( sink.isLabel( line ) )
        return Outcome::block;
    damage.endLabel = line;
    return fail( Problem::labelsDiffer );
}

// Finds the reason why the body of a block is not base 64.
class BodyInspection
{
public:
    void label( std::string_view text ) { wanted = text; }
    bool isLabel( std::string_view text ) const { return text == wanted; }

    void line( std::string_view text, PB_INT number )
    {
        if( found.problem == Problem::character )
            return;
        last = number;
        if( !headers && text.find( ':' ) != text.npos )
            headers = number;
        for( char c : text )
        {
            characters++;
            if( c == '=' )
            {
                padding++;
                padded = padded ? padded : number;
            }
            else if( !isBase64( c ) || padding )
            {
                found.problem   = Problem::character;
                found.line      = number;
                found.character = c;
                return;
            }
        }
    }

    void tell( Damage &damage ) const
    {
        auto say = [&damage]( Problem problem, PB_INT line ) {
            damage.problem = problem;
            damage.line    = line;
        };
        damage.character = found.character;
        if( headers )
            return say( Problem::headers, headers );
        if( found.problem != Problem::none )
            return say( found.problem, found.line );
        if( characters % 4 && padding <= 2 )
            return say( Problem::cutOff, last );
        if( padded )
            return say( Problem::padding, padded );
        say( Problem::body, 1 );
    }

    static bool isBase64( char c )
    {
        return ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '+' || c == '/';
    }

private:
    std::string_view wanted;
    size_t           characters = 0, padding = 0;
    PB_INT           padded = 0, headers = 0, last = 0; // lines; 0 for none
    Damage           found;
};

// The damage of a block that does not decode. Its views point into the text.
inline Damage diagnose( std::string_view block )
{
    TextLines      lines( block );
    BodyInspection body;
    Damage         damage;
    if( readLines( lines, body, damage ) == Outcome::block )
        body.tell( damage );
    else if( damage.problem == Problem::none )
        damage.problem = Problem::noBegin;
    return damage;
}

}
