// What a corpus of test vectors says and we do differently on purpose, in a JSON file: case,
// expected, actual and reason.
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

    // Fails the test when the two differ and no exception says so, and when an exception does not
    // hold any more.
    void check( const std::string &id, const std::string &expected, const std::string &actual );

    // Fails the test for exceptions that begin so and were never met.
    void checkMet( const std::string &prefix ) const;

private:
    std::map<std::string, std::pair<std::string, std::string>> rows;
    std::set<std::string>                                      met;
};

}
