// CRLs for the benchmarks, made with plain OpenSSL.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench
{

// The serial number of an entry: 16 bytes that look random.
std::vector<unsigned char> serialOf( uint64_t entry );

// PEM of a CRL with these entries, which have no extensions.
std::string crlText( uint64_t entries );

}
