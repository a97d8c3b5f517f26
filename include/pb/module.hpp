// The definition of a library's module object, its record and its version marker. C++ only. The
// build defines the PB_PRODUCT_ macros.
#pragma once

#include <pb/pb_module.h>
#include <pb/sort.hpp>

#define PB_MODULE_TEXT_OF( value ) #value
#define PB_MODULE_TEXT( value ) PB_MODULE_TEXT_OF( value )

#ifdef __x86_64__
#define PB_MODULE_PROCESSOR "x86 (64 bit)"
#elif defined( __aarch64__ )
#define PB_MODULE_PROCESSOR "arm (64 bit)"
#elif defined( __i386__ )
#define PB_MODULE_PROCESSOR "x86 (32 bit)"
#else
#define PB_MODULE_PROCESSOR "unknown"
#endif

// PB_MODULE_DEFINE( name, description, version, dependencies, startup, halt, shutdown ): exports
// `name___module`, `name___module_record`, `name___module_version_string` (a text that tools find
// in the file by its prefix) and `nameModule()`.
// clang-format off
#define PB_MODULE_DEFINE( name, description, version, dependencies, startupFunction, haltFunction, shutdownFunction )                                \
    extern "C" PB_EXPORT const PB_MODULE        name##___module;                                                                                     \
    extern "C" PB_EXPORT const PB_MODULE_RECORD name##___module_record;                                                                              \
    extern "C" PB_EXPORT const char *const      name##___module_version_string;                                                                      \
    extern "C" const PB_MODULE_RECORD           name##___module_record = { PB_MODULE_RECORD_FORMAT_VERSION, PB_PRODUCT_TAG, PB_PRODUCT_DISPLAY_NAME, \
                  PB_PRODUCT_MAJOR, PB_PRODUCT_MINOR, PB_PRODUCT_BUILD, PB_PRODUCT_BUILD_TIME, PB_PRODUCT_VENDOR, PB_PRODUCT_COPYRIGHT, #name,       \
                  description, version, dependencies, "" };                                                                                          \
    extern "C" const char *const name##___module_version_string =                                                                                    \
        "###QM_VERSION### " PB_PRODUCT_TAG "-" PB_MODULE_TEXT( PB_PRODUCT_MAJOR ) "." PB_MODULE_TEXT( PB_PRODUCT_MINOR ) "." PB_MODULE_TEXT(         \
            PB_PRODUCT_BUILD ) " (Linux, " PB_MODULE_PROCESSOR ", " PB_PRODUCT_BUILD_KIND "), " #name " " version;                                   \
    static void                fourthHook() {}                                                                                                       \
    extern "C" const PB_MODULE name##___module = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &name##___module_record, startupFunction, haltFunction,    \
        fourthHook, shutdownFunction };                                                                                                              \
    const PB_MODULE           *name##Module() { return &name##___module; }
// clang-format on

namespace pb
{

// Hooks for a module that has nothing to do.
inline PB_BOOL startNothing() { return PB_TRUE; }
inline void    doNothing() {}

}
