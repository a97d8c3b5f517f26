// What every fuzzer needs: the started family, checks, and fast paths to values.
#pragma once

#include <bn/bn.h>
#include <cry/cry.h>
#include <cs/cs.h>
#include <in/in.h>
#include <openssl_module/openssl_module.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <rfc/rfc.h>
#include <tr/tr.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size );

#ifdef FUZZ_CHOOSES
// OpenSSL allocates much, and noting who did so takes as long as the rest.
// ASAN_OPTIONS=malloc_context_size=30 brings the callers back into a report.
extern "C" __attribute__( ( used, visibility( "default" ) ) ) inline const char *__asan_default_options() { return "malloc_context_size=0"; }
#endif

namespace fuzz
{

// Ends the process where a result is not what it must be.
#define FUZZ_CHECK( ... ) ( ( __VA_ARGS__ ) ? (void)0 : fuzz::fail( __FILE__, __LINE__, #__VA_ARGS__ ) )

[[noreturn]] inline void fail( const char *file, int line, const char *expression )
{
    std::fprintf( stderr, "%s:%d: %s\n", file, line, expression );
    std::abort();
}

// Starts the family at the first call, with the modules that are linked into the program.
inline void start()
{
    if( pbRuntimeStarted() )
        return;
    for( const PB_MODULE *module : { rfcModule(), bnModule(), inModule(), trModule(), csModule(), opensslModule(), cryModule() } )
        pbRuntimeRegisterModule( module );
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    FUZZ_CHECK( pbRuntimeStart( options.get() ) );
    std::atexit( [] { pbRuntimeStop(); } );
}

inline pb::Ref<PB_BUFFER> buffer( std::string_view bytes ) { return pb::adopt( pbBufferCreateFromBytes( bytes.data(), (PB_INT)bytes.size() ) ); }

inline std::string_view view( const pb::Ref<PB_BUFFER> &buf )
{
    return { (const char *)pbBufferBytes( buf.get() ), (size_t)pbBufferLength( buf.get() ) };
}

inline std::string_view view( PB_STRING *str )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( str, &length );
    return { text, (size_t)length };
}
inline std::string_view view( const pb::Ref<PB_STRING> &str ) { return view( str.get() ); }

// Takes bytes that steer a fuzzer off the front of an input; 0 where there are none.
inline uint8_t takeByte( std::string_view &input )
{
    if( input.empty() )
        return 0;
    uint8_t byte = (uint8_t)input.front();
    input.remove_prefix( 1 );
    return byte;
}

// Whether an input is among the one in `number` that get the checks which take long; always the
// same ones are. Where a corpus is replayed, all of them are.
inline bool chosen( [[maybe_unused]] std::string_view input, [[maybe_unused]] uint64_t number )
{
#ifdef FUZZ_CHOOSES
    uint64_t hash = 14695981039346656037u;
    for( char byte : input )
        hash = ( hash ^ (uint8_t)byte ) * 1099511628211u;
    return ( hash ^ hash >> 32 ) % number == 0;
#else
    return true;
#endif
}

}
