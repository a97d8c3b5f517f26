// Whether a key can sign and verify. The module takes that for granted.
#pragma once

#include "input/key_file.hpp"

#include <cry/cry_hash_algorithm.h>

namespace tool
{

// Throws InputError if a private key cannot sign with this digest, or if its own public half does
// not confirm what it signs.
void checkCanSign( const Key &key, CRY_HASH_ALGORITHM algorithm );

// Throws InputError if OpenSSL cannot verify with this key and digest.
void checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm );

}
