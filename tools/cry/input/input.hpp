// Reading what people give: files and standard input, PEM text with anything around it, DER. What is wrong is said with file and line.
#pragma once

#include <cry/cry_x509_certificate.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <rfc/rfc_encapsulation.h>

#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{

// How a file is called in messages; "-" is standard input.
std::string nameOf( const std::string &path );

// The whole content of a file or of standard input; a secret one is marked sensitive. Throws InputError when it cannot be read or is larger than any file of
// certificates.
enum class Content
{
    open,
    secret,
};
pb::Ref<PB_BUFFER> readWhole( const std::string &path, Content content = Content::open );

// Says so when others than its owner can read a file, which holds `what`.
void warnIfOthersCanRead( const std::string &path, const std::string &what );

// One block of PEM text in a file, and what is wrong with it.
struct Block
{
    PB_INT           line = 0; // of BEGIN
    std::string      label;    // what BEGIN says
    pb::Ref<CRY_PEM> pem;      // null when the block is damaged
    std::string      problem;
    PB_INT           problemLine = 0;
    bool             headers     = false;    // it is only header lines that are wrong
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

// The labels of blocks that a command has no use for, as a message names them: each once, and not all of very many.
class OtherLabels
{
public:
    void        add( const std::string &label );
    bool        empty() const { return labels.empty(); }
    std::string list() const;

private:
    std::set<std::string> labels;
};

// A certificate, and where it stood.
struct Certificate
{
    pb::Ref<CRY_X509_CERTIFICATE> certificate;
    std::string                   file;
    PB_INT                        line = 0; // 0 for DER
};

// The certificates of a file, in order. Throws InputError, naming file and line, when anything in it is damaged or there is none.
std::vector<Certificate> readCertificates( const std::string &path );

// The certificate in a block; when there is none, `problem` says why.
pb::Ref<CRY_X509_CERTIFICATE> certificateIn( CRY_PEM *pem, std::string &problem );

// Throws InputError when more than one of these is standard input.
void checkStandardInput( std::initializer_list<std::string> paths );

// Text of any length for a message: printable, and cut off when it is long.
std::string shown( std::string_view text );

// A decimal number that was given; throws InputError, naming `what` it is, when it is none or out of range.
PB_INT number( const std::string &text, const std::string &what, PB_INT least, PB_INT most );

// A text that was given as the value of an option; throws InputError, naming the option, when it is not UTF-8 or holds U+0000.
pb::Ref<PB_STRING> given( const std::string &text, const std::string &option );

// Whether bytes begin with these.
bool startsWith( PB_BUFFER *buf, std::string_view bytes );

// The reason that OpenSSL gave first, which is the innermost; empty when it gave none. The queue is empty afterwards.
std::string opensslReason();
// The same in brackets, after a blank.
std::string opensslReasonInBrackets();

// The text of a string object, which is released.
std::string take( PB_STRING *str );

}
