// OpenSSL's error queue, as every function of the libraries treats it: docs/conventions.md, OpenSSL.
// C++ only.
#pragma once

#include <openssl/err.h>

namespace openssl
{

// ErrorMark: what a scope adds to the thread's error queue is removed at its end. What was there
// before stays.
class ErrorMark
{
public:
    ErrorMark() { ERR_set_mark(); }
    ~ErrorMark()
    {
        if( kept )
            ERR_clear_last_mark();
        else
            ERR_pop_to_mark();
    }
    ErrorMark( const ErrorMark & )            = delete;
    ErrorMark &operator=( const ErrorMark & ) = delete;

    // What was added is a reason that the caller is to see, so it stays.
    void keep() { kept = true; }

private:
    bool kept = false;
};

}
