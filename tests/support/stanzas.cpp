#include "support/stanzas.hpp"

#include "support/files.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

using namespace support;

static std::string trimmed( const std::string &text )
{
    size_t first = text.find_first_not_of( " \t\r" ), last = text.find_last_not_of( " \t\r" );
    return first == std::string::npos ? "" : text.substr( first, last - first + 1 );
}

std::string support::lower( std::string text )
{
    for( char &c : text )
        c = (char)tolower( (unsigned char)c );
    return text;
}

std::string support::strictUnhex( const std::string &text )
{
    EXPECT_EQ( text.size() % 2, 0u ) << text;
    EXPECT_EQ( text.find_first_not_of( "0123456789abcdefABCDEF" ), text.npos ) << text;
    return unhex( text );
}

static auto named( const std::string &name )
{
    return [&name]( const auto &field ) { return field.first == name; };
}

bool Stanza::has( const std::string &name ) const { return std::any_of( fields.begin(), fields.end(), named( name ) ); }

std::string Stanza::take( const std::string &name )
{
    auto found = std::find_if( fields.begin(), fields.end(), named( name ) );
    if( found == fields.end() )
    {
        ADD_FAILURE() << "no " << name << " in the stanza at line " << line;
        return {};
    }
    std::string value = found->second;
    fields.erase( found );
    return value;
}

std::vector<std::string> Stanza::takeAll( const std::string &name )
{
    std::vector<std::string> values;
    while( has( name ) )
        values.push_back( take( name ) );
    return values;
}

void Stanza::end() const { EXPECT_TRUE( fields.empty() ) << "nobody reads " << fields.begin()->first << " at line " << line; }

std::vector<Stanza> support::readStanzas( const std::filesystem::path &path )
{
    std::istringstream  in( read( path ) );
    std::vector<Stanza> stanzas;
    Stanza              current;
    size_t              number = 0;
    std::string         pem;
    auto                add = [&]( const std::string &name, const std::string &value ) {
        if( current.fields.empty() )
            current.line = number;
        current.fields.emplace_back( name, value );
    };
    auto finish = [&] {
        if( !current.fields.empty() )
            stanzas.push_back( current );
        current.fields.clear();
    };
    for( std::string line; std::getline( in, line ); )
    {
        number++;
        line = trimmed( line );
        if( !pem.empty() || line.starts_with( "-----BEGIN" ) )
        {
            pem += line + "\n";
            if( !line.starts_with( "-----END" ) )
                continue;
            add( "PEM", pem );
            pem.clear();
        }
        else if( line.empty() || line == "!!" ) // one old file separates keys from cases in this way
            finish();
        else if( line[0] == '[' )
        {
            finish();
            EXPECT_EQ( line.back(), ']' ) << path << ":" << number;
            current.heading = line.substr( 1, line.size() - 2 );
        }
        else if( line[0] != '#' )
        {
            size_t equals = line.find( '=' );
            EXPECT_NE( equals, line.npos ) << path << ":" << number << ": " << line;
            if( equals != line.npos )
                add( trimmed( line.substr( 0, equals ) ), trimmed( line.substr( equals + 1 ) ) );
        }
    }
    EXPECT_TRUE( pem.empty() ) << path << ": a PEM block does not end";
    finish();
    return stanzas;
}
