// Files for tests: the repository's own, installed test material, and temporary ones.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace support
{

// The whole content of a file; .xz files are unpacked. Fails the test if it cannot be read.
std::string read( const std::filesystem::path &path );

void write( const std::filesystem::path &path, std::string_view content );

// A folder for one test. It is removed with the object.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    std::filesystem::path path;
};

// The folder of the public vectors: the value of CRY_VECTORS, else beside the checkout
// (../shared/vectors). No value if it does not exist.
std::optional<std::filesystem::path> vectors();

// The files of an installed Debian package; empty if it is not installed.
std::vector<std::filesystem::path> packageFiles( const std::string &package );

// All regular files below a folder, sorted.
std::vector<std::filesystem::path> filesBelow( const std::filesystem::path &folder );

}

// Skips the test, with a message, if the public vectors do not exist.
#define NEED_VECTORS( folder )                                        \
    std::optional<std::filesystem::path> folder = support::vectors(); \
    if( !folder )                                                     \
    GTEST_SKIP() << "the public test vectors are not on this machine (see README, CRY_VECTORS)"
