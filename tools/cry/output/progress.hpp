// Signs on standard error that a long work goes on.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace tool
{

// For work that cannot be measured: on a terminal that takes escapes the seconds, else one line at
// the start.
class Waiting
{
public:
    explicit Waiting( std::string what );
    ~Waiting();
    void show();

private:
    std::string what;
    time_t      began;
    bool        terminal;
};

// A bar, if standard error is such a terminal and there is much to do.
class Progress
{
public:
    Progress( std::string what, uint64_t total );
    ~Progress();
    void advance( uint64_t bytes );

private:
    std::string what;
    uint64_t    total;
    uint64_t    done  = 0;
    int         shown = -1;
    bool        visible;
};

}
