// A result that is written piece by piece, because it may be larger than memory.
#pragma once

#include "output/out_file.hpp"

namespace tool
{

// A file that gets its name at the end, whole or not at all; standard output or a device.
class OutputStream
{
public:
    // Throws InputError if the file cannot be made or is in the way. What goes to standard output
    // or a device goes there at once, or, if it is `held`, at the end.
    OutputStream( const Output &output, bool held );
    ~OutputStream(); // removes what was not finished
    OutputStream( const OutputStream & )            = delete;
    OutputStream &operator=( const OutputStream & ) = delete;

    // These throw InputError if something cannot be written; then no file has changed.
    void write( const PB_BYTE *bytes, size_t count );
    void finish();

private:
    void openBeside();
    void openHeld();
    int  name();
    void passOn() const;
    // Throws the error of the result, if there is one.
    void check( int problem ) const;

    const Output &output;
    std::string   target;      // of a regular file, at the end of all links; else empty
    std::string   beside;      // the name of the new file, if it has one
    int           file   = -1; // gets the bytes
    int           device = -1; // gets them at the end if they are held
};

}
