// OpenSSL's error queue, as every function of the libraries treats it: docs/conventions.md,
// OpenSSL. C++ only.
#pragma once

#include <pb/containers.hpp>

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

// OlderErrors: the queue is empty in a scope, so that the first error in it is the scope's own. At
// the end, the older errors stand again in front of those that the scope added and left. Marks that
// the caller set on older errors are lost.
class OlderErrors
{
public:
    OlderErrors() : older( drain() ) {}
    ~OlderErrors()
    {
        pb::StdVector<Error> newer = drain();
        for( const pb::StdVector<Error> *errors : { &older, &newer } )
        {
            for( const Error &each : *errors )
                each.raise();
        }
    }
    OlderErrors( const OlderErrors & )            = delete;
    OlderErrors &operator=( const OlderErrors & ) = delete;

private:
    struct Error
    {
        unsigned long   code;
        int             line;
        pb::StdString<> file, function, data;

        void raise() const
        {
            ERR_new();
            ERR_set_debug( file.c_str(), line, function.c_str() );
            const char *format = data.empty() ? nullptr : "%s";
            ERR_set_error( ERR_GET_LIB( code ), ERR_GET_REASON( code ), format, data.c_str() );
        }
    };

    static pb::StdVector<Error> drain()
    {
        pb::StdVector<Error> errors;
        const char          *file, *function, *data;
        int                  line, flags;
        while( unsigned long code = ERR_get_error_all( &file, &line, &function, &data, &flags ) )
            errors.push_back( { code, line, file, function, flags & ERR_TXT_STRING ? data : "" } );
        return errors;
    }

    pb::StdVector<Error> older;
};

}
