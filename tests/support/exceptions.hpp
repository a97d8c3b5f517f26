// The cases of a corpus of test vectors in which the library differs on purpose, from a JSON file:
// case, expected, actual and reason.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

namespace support
{

class Exceptions
{
public:
    // `name` is a file in tests/vectors.
    explicit Exceptions( const std::string &name );

    // Fails the test if the two differ without an exception, or if an exception is no longer true.
    void check( const std::string &id, const std::string &expected, const std::string &actual );

    // Fails the test if an exception with this prefix did not occur.
    void checkMet( const std::string &prefix ) const;

private:
    std::map<std::string, std::pair<std::string, std::string>> rows;
    std::set<std::string>                                      met;
};

}
