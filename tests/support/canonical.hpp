// The verdicts of openssl___IsCanonicalCertificate and openssl___IsCanonicalPrivateKey, and the
// same questions to OpenSSL.
#pragma once

#include <openssl_module/internal/openssl_module.h>

#include <string>

namespace support
{

inline bool isCanonicalCertificate( const std::string &der )
{
    return openssl___IsCanonicalCertificate( (const PB_BYTE *)der.data(), (PB_INT)der.size() );
}
inline bool isCanonicalPrivateKey( const std::string &der )
{
    return openssl___IsCanonicalPrivateKey( (const PB_BYTE *)der.data(), (PB_INT)der.size() );
}

// What is wrong if OpenSSL parses a certificate or a key in the key-decoding context, or in the
// default context, and writes it again. Empty if it is accepted and gives the same DER and the same
// text. The default context takes long.
enum class Context
{
    keyDecoding,
    everybodys
};
std::string problemOfCertificate( const std::string &der, Context context );
std::string problemOfPrivateKey( const std::string &der, Context context );

// The same in both contexts.
std::string problemOfCertificate( const std::string &der );
std::string problemOfPrivateKey( const std::string &der );

}
