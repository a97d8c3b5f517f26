// Switches the key-decoding context on or off while an object lives.
#pragma once

#include <openssl_module/internal/openssl_module.h>

namespace support
{

class KeyDecoding
{
public:
    explicit KeyDecoding( bool used ) : before( openssl___SetKeyDecodingContextUsed( used ) ) {}
    ~KeyDecoding() { openssl___SetKeyDecodingContextUsed( before ); }
    KeyDecoding( const KeyDecoding & )            = delete;
    KeyDecoding &operator=( const KeyDecoding & ) = delete;

private:
    PB_BOOL before;
};

}
