// Switches the key-decoding context on or off while an object lives. While it is off, certificates
// and keys are parsed when their objects are made, so that they are parsed with this setting.
#pragma once

#include <openssl_module/internal/openssl_module.h>

namespace support
{

class KeyDecoding
{
public:
    explicit KeyDecoding( bool used ) : before( openssl___SetKeyDecodingContextUsed( used ) ), shortcuts( openssl___ShortcutsUsed() )
    {
        if( !used )
            openssl___SetShortcutsUsed( PB_FALSE );
    }
    ~KeyDecoding()
    {
        openssl___SetKeyDecodingContextUsed( before );
        openssl___SetShortcutsUsed( shortcuts );
    }
    KeyDecoding( const KeyDecoding & )            = delete;
    KeyDecoding &operator=( const KeyDecoding & ) = delete;

private:
    PB_BOOL before, shortcuts;
};

}
