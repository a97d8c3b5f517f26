// Objects of one kind in files: PEM with anything around it, or DER.
#pragma once

#include "input/file.hpp"
#include "input/pem.hpp"
#include "output/error.hpp"
#include "text/convert.hpp"

#include <string_view>
#include <vector>

namespace tool
{

// A kind of object. If there is none in a block or in DER, the functions give null and say why.
template<class Object>
struct ObjectKind
{
    std::string name; // "certificate"
    bool ( *isLabel )( std::string_view label );
    pb::Ref<Object> ( *fromBlock )( CRY_PEM *pem, std::string &problem );
    pb::Ref<Object> ( *fromDer )( PB_BUFFER *der, std::string &reason ); // in brackets, or nothing
};

// The objects of a file, in order. Throws InputError, which names file and line, if anything in it
// is damaged or there is none.
template<class Object>
std::vector<pb::Ref<Object>> readObjects( const std::string &path, const ObjectKind<Object> &kind )
{
    pb::Ref<PB_BUFFER> content = readWhole( path );
    if( !pbBufferLength( content.get() ) )
        throw InputError( path, "is empty" );

    std::vector<pb::Ref<Object>> objects;
    OtherLabels                  others;
    Blocks                       blocks( content.get() );
    Block                        block;
    std::string                  problem;
    while( blocks.next( block ) )
    {
        // A file of a server often holds its key too.
        if( !kind.isLabel( block.label ) && ( block.pem || block.headers ) )
        {
            others.add( block.label );
            continue;
        }
        if( !block.pem )
            throw InputError( path, block.problem, block.problemLine );
        objects.push_back( kind.fromBlock( block.pem.get(), problem ) );
        if( !objects.back() )
            throw InputError( path, problem, block.line );
    }
    if( objects.empty() && !others.empty() )
        throw InputError( path, "holds no " + kind.name + ", only " + others.list() );
    if( objects.empty() )
    {
        if( startsWith( content.get(), "\xFF\xFE" ) || startsWith( content.get(), "\xFE\xFF" ) )
            throw InputError( path, "is text in UTF-16; PEM is read in ASCII or UTF-8" );
        objects.push_back( kind.fromDer( content.get(), problem ) );
        if( !objects.back() )
            throw InputError( path, "is neither PEM text nor a " + kind.name + " in DER" + problem );
    }
    return objects;
}

}
