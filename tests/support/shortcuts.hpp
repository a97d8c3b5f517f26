// Switches the shortcuts on or off while an object lives.
#pragma once

#include <openssl_module/internal/openssl_module.h>

namespace support
{

class Shortcuts
{
public:
    explicit Shortcuts( bool used ) : before( openssl___SetShortcutsUsed( used ) ) {}
    ~Shortcuts() { openssl___SetShortcutsUsed( before ); }
    Shortcuts( const Shortcuts & )            = delete;
    Shortcuts &operator=( const Shortcuts & ) = delete;

private:
    PB_BOOL before;
};

}
