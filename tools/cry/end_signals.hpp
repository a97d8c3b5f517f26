// An orderly end of commands that run until somebody ends them.
#pragma once

#include <atomic>
#include <csignal>
#include <pb/pb_signal.h>
#include <pb/ref.hpp>
#include <thread>

namespace tool
{

// While it exists, SIGINT and SIGTERM do not end the process; they assert a signal of the library
// instead. A signal that the process was started to ignore stays ignored. After it, they stay
// blocked, so that the process can stop in order.
class EndSignals
{
public:
    EndSignals();
    ~EndSignals();
    EndSignals( const EndSignals & )            = delete;
    EndSignals &operator=( const EndSignals & ) = delete;

    PB_SIGNAL *end() const { return asserted.get(); } // lent

private:
    pb::Ref<PB_SIGNAL> asserted;
    sigset_t           signals;
    std::atomic<bool>  over = false;
    std::thread        waiter;
};

}
