// Which sanitizers a test is compiled with: 1 or 0.
#pragma once

#ifndef __has_feature
#define __has_feature( name ) 0
#endif

#if defined( __SANITIZE_ADDRESS__ ) || __has_feature( address_sanitizer )
#define WITH_ADDRESS_SANITIZER 1
#else
#define WITH_ADDRESS_SANITIZER 0
#endif

#if defined( __SANITIZE_THREAD__ ) || __has_feature( thread_sanitizer )
#define WITH_THREAD_SANITIZER 1
#else
#define WITH_THREAD_SANITIZER 0
#endif

// GCC does not tell of this one.
#if __has_feature( undefined_behavior_sanitizer )
#define WITH_UNDEFINED_SANITIZER 1
#else
#define WITH_UNDEFINED_SANITIZER 0
#endif
