// What OpenSSL must do with bytes that a walker accepts.
#pragma once

#include "openssl.hpp"

#include <openssl/pem.h>
#include <openssl_module/internal/openssl_module.h>

namespace fuzz
{

inline std::string_view contentOf( BIO *bio )
{
    char  *bytes;
    size_t length = (size_t)BIO_get_mem_data( bio, &bytes );
    return { bytes, length };
}

// Whether the text that `write` gives is PEM of the same bytes.
template<class Write>
bool isTextOf( const char *label, std::string_view der, Write write )
{
    BIO *wanted = BIO_new( BIO_s_mem() ), *written = BIO_new( BIO_s_mem() );
    bool same = PEM_write_bio( wanted, label, "", (const unsigned char *)der.data(), (long)der.size() ) > 0 && write( written ) == 1 &&
        contentOf( wanted ) == contentOf( written );
    BIO_free( wanted );
    BIO_free( written );
    return same;
}

// The default context takes long, so it sees some inputs only.
constexpr uint64_t everybodysStep = 16;

}
