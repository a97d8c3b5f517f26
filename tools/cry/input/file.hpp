// Files and standard input: as a whole, or piece by piece.
#pragma once

#include <pb/pb_buffer.h>
#include <pb/pb_byte_source.h>
#include <pb/ref.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool
{

// How messages call a file; "-" is standard input.
std::string nameOf( const std::string &path );

enum class Content
{
    open,
    secret,
    key, // secret, too
};

// The whole content of a file or of standard input; a secret one is marked sensitive. Throws
// InputError if it cannot be read, or is larger than any file of certificates (64 MiB) or, for a
// key, than any file of a key (1 MiB).
pb::Ref<PB_BUFFER> readWhole( const std::string &path, Content content = Content::open );

// Calls take( bytes, count ) for the pieces of a file or of standard input, however large it is,
// and shows progress if there is much. Throws InputError if it cannot be read. It ends early when
// the descriptor `stop` can be read; -1 is none.
void forEachPiece( const std::string &path, const std::function<void( const PB_BYTE *bytes, PB_INT count )> &take, int stop = -1 );

// A file or standard input for functions of the module that read from a source, however large it
// is; shows progress as forEachPiece does.
class FileSource
{
public:
    // Throws InputError if it cannot be opened.
    explicit FileSource( const std::string &path );
    ~FileSource();
    FileSource( const FileSource & )            = delete;
    FileSource &operator=( const FileSource & ) = delete;

    PB_BYTE_SOURCE *source() const; // lent
    // Throws the error that ended the source, if one did.
    void check() const;

private:
    struct State;

    std::unique_ptr<State> state;
};

// Warns if users other than the owner can read a file, which holds `what`.
void warnIfOthersCanRead( const std::string &path, const std::string &what );

// Throws InputError if more than one of these is standard input.
void checkStandardInput( const std::vector<std::string> &paths );

}
