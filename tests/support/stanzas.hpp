// Files of test vectors in stanzas: "name = value" lines with empty lines between; a "[...]" line
// is the heading of the next stanzas, "#" begins a comment, and a PEM block is the value of a field
// PEM.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace support
{

std::string lower( std::string text );

// Bytes from hexadecimal digits of either case; anything else fails the test.
std::string strictUnhex( const std::string &text );

// A reader of a stanza takes each of its fields, as often as the field occurs, and then calls
// end().
struct Stanza
{
    std::string                                      heading = {}; // without the brackets
    std::vector<std::pair<std::string, std::string>> fields  = {};
    size_t                                           line    = 0;

    bool has( const std::string &name ) const;
    // The first field of a name; fails the test if there is none.
    std::string take( const std::string &name );
    std::string takeBytes( const std::string &name ) { return strictUnhex( take( name ) ); }
    // All fields of a name.
    std::vector<std::string> takeAll( const std::string &name );
    // Fails the test if a field was not taken.
    void end() const;
};

std::vector<Stanza> readStanzas( const std::filesystem::path &path );

}
