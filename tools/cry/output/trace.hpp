// The traces of a command, in a file.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

namespace tool
{

// The options --trace and --trace-format of a command.
struct TraceOptions
{
    std::optional<std::string> path;
    std::string                format = "text";

    void addTo( CLI::App &command );
};

// Appends what the libraries trace to the file of --trace, if there is that option. The module must
// be started.
class Trace
{
public:
    // Throws InputError if the file cannot be opened.
    explicit Trace( const TraceOptions &options );
    // Ends the traces, and warns if some could not be written.
    ~Trace();
    Trace( const Trace & )            = delete;
    Trace &operator=( const Trace & ) = delete;

    // Ends the traces. Throws OutputError if some could not be written.
    void finish();

private:
    struct File;

    int end(); // a number of <errno.h>, or 0

    std::unique_ptr<File> file; // null if there is nothing to trace, or nothing any more
};

}
