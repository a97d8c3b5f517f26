// Public keys for the module's own files.
#pragma once

#include <cry/cry_pkey_public.h>

namespace cry::pkey
{

// Whether a signature is that of a digest under a valid algorithm.
bool verify( CRY_PKEY_PUBLIC *pub, PB_INT alg, const PB_BYTE *digest, PB_BUFFER *signature );

}
