// The functions of a backend, for the other files of this library.
#pragma once

#include <cs/cs_sort_backend.h>

namespace cs
{

struct Callbacks
{
    CS_SORT_BACKEND_CREATE                create;
    CS_SORT_BACKEND_CONFIGURATION         configuration;
    CS_SORT_BACKEND_SET_CONFIGURATION     setConfiguration;
    CS_SORT_BACKEND_NORMALIZE             normalize;
    CS_SORT_BACKEND_VALIDATE              validate;
    CS_SORT_BACKEND_TRACE_COMPLETE_ANCHOR traceCompleteAnchor;
    CS_SORT_BACKEND_HALT                  halt;
};

// The functions are valid while the caller holds the backend.
const Callbacks &callbacksOf( CS_SORT_BACKEND *backend );

}
