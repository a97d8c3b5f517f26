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

// A bar, if standard error is such a terminal and there is much to do: more than `worthShowing`, of
// bytes if it is left out.
class Progress
{
public:
    Progress( std::string what, uint64_t total, uint64_t worthShowing = 64u << 20 );
    ~Progress();
    void advance( uint64_t count );
    // Takes the bar away, so that something else can be printed; the next advance brings it back.
    void hide();

private:
    std::string what;
    uint64_t    total;
    uint64_t    done  = 0;
    int         shown = -1;
    bool        visible;
};

}
