// PEM text with anything around it. Messages say the line at which it is wrong.
#pragma once

#include <cry/cry_pem.h>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>
#include <rfc/rfc_encapsulation.h>

#include <set>
#include <string>

namespace tool
{

// One block of PEM text in a file, and what is wrong with it.
struct Block
{
    PB_INT           line = 0; // of BEGIN
    std::string      label;    // what BEGIN says
    pb::Ref<CRY_PEM> pem;      // null if the block is damaged
    std::string      problem;
    PB_INT           problemLine = 0;
    bool             headers     = false;    // only its header lines are wrong
    PB_INT           offset = 0, length = 0; // in the text
};

// Goes through the blocks of a text, which it lends.
class Blocks
{
public:
    explicit Blocks( PB_BUFFER *text );
    bool next( Block &block ); // false at the end

private:
    PB_BUFFER        *whole;
    RFC_ENCAPSULATION found;
};

// The labels of blocks that a command has no use for, as a message names them: each once, and not
// all of very many.
class OtherLabels
{
public:
    void        add( const std::string &label );
    bool        empty() const { return labels.empty(); }
    std::string list() const;

private:
    std::set<std::string> labels;
};

// A block of a label, which must be one, and bytes.
pb::Ref<CRY_PEM> pemOf( const std::string &label, PB_BUFFER *der );

// The text of PEM, with the line ends of text files.
pb::Ref<PB_BUFFER> pemText( CRY_PEM *pem );

}
