// What a command says beside its result: on standard error at once, and in its JSON.
#pragma once

#include "output/error.hpp"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace tool
{

struct Warning
{
    std::string                message; // of standard error, where "warning: " stands before it
    std::optional<std::string> file;    // the one that it speaks of, as it was given
    std::optional<size_t>      depth;   // of the certificate that it speaks of; 0 is the leaf
};

// Prints a warning, and keeps it for the member `warnings`.
void warn( const Warning &warning );

// Prints what cannot be read while the command goes on, and keeps it for the member `problems`.
void report( const InputError &problem );
// Keeps it only.
void keepProblem( const InputError &problem );

// An error or problem as JSON: message, file and line.
nlohmann::ordered_json problemJson( const InputError &problem );

// Adds `problems` and `warnings`, if there are any.
void addNotices( nlohmann::ordered_json &json );
// The same; then they are forgotten, since further objects follow.
void moveNotices( nlohmann::ordered_json &json );
// For a command that runs for long and prints no JSON.
void forgetNotices();

}
