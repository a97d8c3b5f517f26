// DER as a tree, which tests write again with changes.
#pragma once

#include "openssl_der.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace support
{

struct Node
{
    unsigned char     tag = 0;
    std::string       front; // bytes before the children: the unused bits of a BIT STRING
    std::string       content;
    std::vector<Node> children;
    bool              nested = false;
};

inline bool parseNodes( std::string_view in, std::vector<Node> &out );

inline bool parseNode( std::string_view &in, Node &node )
{
    openssl::Bytes rest( (const PB_BYTE *)in.data(), in.size() );
    if( in.empty() || ( in[0] & 0x1F ) == 0x1F )
        return false;
    node.tag               = (unsigned char)in[0];
    openssl::Bytes content = openssl::take( rest, node.tag );
    if( !content.data() )
        return false;
    node.content = std::string( (const char *)content.data(), content.size() );
    in           = in.substr( in.size() - rest.size() );
    if( node.tag & 0x20 )
        return node.nested = true, parseNodes( node.content, node.children );
    // DER in a string counts as its children.
    std::string_view inner = node.content;
    if( node.tag == 0x03 && inner.starts_with( '\0' ) && inner.size() > 2 && inner[1] == 0x30 )
    {
        node.front = std::string( 1, '\0' );
        inner.remove_prefix( 1 );
    }
    else if( node.tag != 0x04 || !inner.starts_with( '\x30' ) )
        return true;
    std::vector<Node> children;
    if( parseNodes( inner, children ) )
    {
        node.children = std::move( children );
        node.nested   = true;
    }
    return true;
}

inline bool parseNodes( std::string_view in, std::vector<Node> &out )
{
    while( !in.empty() )
    {
        out.emplace_back();
        if( !parseNode( in, out.back() ) )
            return false;
    }
    return true;
}

inline std::string lengthOf( size_t length, int extra )
{
    std::string bytes;
    for( size_t left = length; left; left >>= 8 )
        bytes.insert( bytes.begin(), (char)left );
    if( length < 0x80 && !extra )
        return std::string( 1, (char)length );
    while( extra-- > 0 )
        bytes.insert( bytes.begin(), 0 );
    return std::string( 1, (char)( 0x80 | bytes.size() ) ) + bytes;
}

// Writes a tree. change( node, written ) may change the bytes of each node.
inline std::string writeNode( const Node &node, const std::function<std::string( const Node &, const std::string & )> &change )
{
    std::string content = node.content;
    if( node.nested )
    {
        content = node.front;
        for( const Node &child : node.children )
            content += writeNode( child, change );
    }
    return change( node, content );
}

inline std::string element( unsigned char tag, std::string_view content )
{
    return std::string( 1, (char)tag ) + lengthOf( content.size(), 0 ) + std::string( content );
}

inline std::string plainly( const Node &node, const std::string &content ) { return element( node.tag, content ); }

inline void collect( const Node &node, std::vector<const Node *> &all )
{
    all.push_back( &node );
    for( const Node &child : node.children )
        collect( child, all );
}

}
