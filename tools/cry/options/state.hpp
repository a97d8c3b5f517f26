// The directory for data that is kept between starts.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <pb/pb_runtime.h>
#include <pb/ref.hpp>
#include <string>

namespace tool
{

// The option --state-dir of a command. A module that is started with such a directory reads the
// vault, and so private keys; therefore only commands that need the vault have one.
struct StateOptions
{
    std::string directory; // the one that is used

    void addTo( CLI::App &command );
    bool isGiven() const { return given.has_value(); }
    // Throws InputError if no directory is given and the environment names none.
    void prepare( pb::Ref<PB_RUNTIME_OPTIONS> &start );

private:
    std::optional<std::string> given;
};

}
