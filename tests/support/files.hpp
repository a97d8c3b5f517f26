// Files for tests: the repository's own, installed test material, and temporary ones.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace support
{

// The whole content of a file; .xz files come unpacked. Fails the test when it cannot be read.
std::string read( const std::filesystem::path &path );

void write( const std::filesystem::path &path, std::string_view content );

// A folder of its own for one test, removed with the object.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    std::filesystem::path path;
};

// The public vectors beside the checkout (../shared/vectors) or where CRY_VECTORS says; none where
// they are absent.
std::optional<std::filesystem::path> vectors();

// The files of an installed Debian package; none when it is not installed.
std::vector<std::filesystem::path> packageFiles( const std::string &package );

// All regular files below a folder, sorted.
std::vector<std::filesystem::path> filesBelow( const std::filesystem::path &folder );

}

// Skips the test visibly where the public vectors are not there.
#define NEED_VECTORS( folder )                                        \
    std::optional<std::filesystem::path> folder = support::vectors(); \
    if( !folder )                                                     \
    GTEST_SKIP() << "the public test vectors are not on this machine (see README, CRY_VECTORS)"
