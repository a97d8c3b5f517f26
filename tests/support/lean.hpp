// The lean context switched on or off for a while.
#pragma once

#include <openssl_module/internal/openssl_module.h>

namespace support
{

class Lean
{
public:
    explicit Lean( bool used ) : before( openssl___SetLeanContextUsed( used ) ) {}
    ~Lean() { openssl___SetLeanContextUsed( before ); }
    Lean( const Lean & )            = delete;
    Lean &operator=( const Lean & ) = delete;

private:
    PB_BOOL before;
};

}
