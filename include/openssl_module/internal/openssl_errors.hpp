// Guards for OpenSSL's error queue. docs/conventions.md, OpenSSL, has the rules for all functions
// of the libraries. C++ only.
#pragma once

#include <pb/containers.hpp>

#include <openssl/err.h>

namespace openssl
{

// ErrorMark: at the end of the scope, the errors that the scope added to the thread's queue are
// removed. Older errors stay.
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

    // Keeps the errors that were added: they are a reason for the caller.
    void keep() { kept = true; }

private:
    bool kept = false;
};

// OlderErrors: the queue is empty at the start of the scope, so that the first error in it belongs
// to the scope. At the end, the older errors are put back, in front of the errors that the scope
// added and left. Marks that the caller set on older errors are lost.
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
