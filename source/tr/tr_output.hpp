// Where a sink for JSON Lines writes its text: a file, or a function of the host.
#pragma once

#include <tr/tr_sink.h>

#include <string_view>

namespace tr
{

class Output
{
public:
    Output( TR_SINK_WRITE writeFunction, void *writeContext ) : function( writeFunction ), context( writeContext ) {}
    // Takes over an open file.
    explicit Output( int file ) : descriptor( file ) {}
    ~Output();
    Output( const Output & )            = delete;
    Output &operator=( const Output & ) = delete;

    // Opens a regular file for appending; -1 if that fails.
    static int tryOpen( const char *path );

    bool isFile() const { return descriptor >= 0; }

    // Writes whole lines, and returns how many bytes could be written.
    size_t write( std::string_view text );

private:
    size_t writeToFile( std::string_view text );

    TR_SINK_WRITE function   = nullptr;
    void         *context    = nullptr;
    int           descriptor = -1;
    bool          cut        = false; // the file ends within a line
};

}
