// Prints the SHA-256 of a text: hash TEXT
#include <cry/cry.h>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <pb/runtime.hpp>

#include <cstdio>
#include <cstring>

int main( int argc, char **argv )
{
    if( argc != 2 )
        return std::fprintf( stderr, "usage: hash TEXT\n" ), 2;

    pb::Runtime runtime( { "cry" } ); // stops the modules when main returns
    if( !runtime.started() )
    {
        auto error = pb::adopt( pbRuntimeStartError() );
        return std::fprintf( stderr, "hash: %s\n", pbStringPeekUtf8( error.get(), nullptr ) ), 1;
    }

    // pb::Ref holds one reference and releases it; pb::adopt takes over a new one.
    auto data   = pb::adopt( pbBufferCreateFromBytes( argv[1], (PB_INT)std::strlen( argv[1] ) ) );
    auto digest = pb::adopt( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, data.get() ) );
    if( !digest )
        return std::fprintf( stderr, "hash: there is no SHA-256 here\n" ), 1;

    pb::Ref<PB_STRING> digits = pb::adopt( pbBufferToString( digest.get() ) );
    std::printf( "%s\n", pbStringPeekUtf8( digits.get(), nullptr ) );
}
