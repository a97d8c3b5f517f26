// Several results of one command, which are all written or none.
#pragma once

#include "output/out_file.hpp"

#include <filesystem>
#include <vector>

namespace tool
{

// Where a file is, at the end of all links, whether it is there or not.
std::filesystem::path placeOf( const std::string &path );

// A name in the folder of a file that no other file has in practice.
std::string nameBeside( const std::string &path );

// Puts the name of a file on the disk, if the file system can do that.
void syncFolder( const std::string &path );

// Gives a new file its name if no file has it. Returns 0 or a number of <errno.h>, EEXIST if there
// is one.
int renameWithoutReplacing( const std::string &from, const std::string &to );

// Gives files their names only after all of them are on the disk. If a name cannot be given, those
// before it get their old content back. What went to standard output or into a device stays there.
class OutputFiles
{
public:
    OutputFiles() = default;
    ~OutputFiles(); // removes the new files if they were not written
    OutputFiles( const OutputFiles & )            = delete;
    OutputFiles &operator=( const OutputFiles & ) = delete;

    void add( const Output &output, const pb::Ref<PB_BUFFER> &content, Secrecy secrecy );
    // Throws InputError if one of them cannot be written, and then no file has changed.
    void write();

private:
    struct File
    {
        const Output      *output;
        pb::Ref<PB_BUFFER> content;
        Secrecy            secrecy;
        std::string        target;        // at the end of all links
        std::string        beside;        // the new file, or the old one after an exchange; may be empty
        bool               isNew = false; // nothing was there before
        bool               named = false;
    };

    static void prepare( File &file );
    static void name( File &file );
    static void unname( File &file );

    std::vector<File> files;
};

}
