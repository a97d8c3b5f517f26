#include "x509/cry_x509_stack_imp.hpp"
#include "x509/cry_x509_validator_imp.hpp"

#include "support/files.hpp"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace support;

namespace
{

const std::string path = CRY_SOURCE_DIR "/docs/state-machines.md";

// The document with the diagrams of the tables. A diagram follows the heading of its type.
std::string withDiagrams( std::string document )
{
    const std::string opening = "```mermaid\n", closing = "```\n";
    for( const auto &[heading, diagram] :
        { std::pair{ "\n## Stack\n", cry::x509::stackStateMachineDiagram() }, { "\n## Validator\n", cry::x509::validatorStateMachineDiagram() } } )
    {
        size_t place = document.find( heading );
        size_t begin = place == std::string::npos ? place : document.find( opening, place );
        size_t end   = begin == std::string::npos ? begin : document.find( closing, begin + opening.size() );
        if( end == std::string::npos )
            return "the document has no diagram after" + std::string( heading );
        begin += opening.size();
        document.replace( begin, end - begin, diagram );
    }
    return document;
}

}

TEST( StateMachines, TheDocumentHasTheDiagramsOfTheTables )
{
    std::string document = read( path ), wanted = withDiagrams( document );
    if( std::getenv( "CRY_WRITE_STATE_MACHINES" ) )
        write( path, wanted );
    EXPECT_EQ( document, wanted ) << "CRY_WRITE_STATE_MACHINES=1 writes the diagrams into " << path;
}
