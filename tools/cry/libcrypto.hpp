// The libcrypto that the process got.
#pragma once

namespace tool
{

// Throws InputError if libcrypto's configuration left no provider with the algorithms that
// everything here needs. Without them, a good chain or signature would look bad.
void requireAlgorithms();

}
