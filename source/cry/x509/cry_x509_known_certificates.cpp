#include "x509/cry_x509_known_certificates.hpp"

#include "common/cry_ossl.hpp"
#include "x509/cry_x509_certificate.hpp"

#include <openssl_module/internal/openssl_module.h>
#include <pb/known_table.hpp>

namespace
{

constinit pb::KnownTable<X509, 64> table;
static_assert( decltype( table )::most == cry::x509::mostKnown );

// Larger certificates are unusual and would take much memory.
constexpr PB_INT largestKept = 16384;

std::basic_string_view<PB_BYTE> view( PB_BUFFER *der ) { return { pbBufferBytes( der ), (size_t)pbBufferLength( der ) }; }

X509 *shared( X509 *x509 ) { return X509_up_ref( x509 ) == 1 ? x509 : nullptr; }

}

X509 *cry::x509::tryShareKnown( PB_BUFFER *der ) { return openssl___ShortcutsUsed() ? table.find( view( der ), shared ) : nullptr; }

void cry::x509::keepKnown( CRY_X509_CERTIFICATE *cert )
{
    // An OpenSSL certificate from somewhere else may have other inner values than these bytes have.
    PB_BUFFER *der  = peekDer( cert );
    X509      *x509 = peekIfMade( cert );
    if( openssl___ShortcutsUsed() && x509 && isDeferred( cert ) && pbBufferLength( der ) <= largestKept && table.isNoted( view( der ) ) )
        table.keep( view( der ), [x509] { return shared( x509 ); } );
}

void cry::x509::forgetKnown() { table.clear(); }

PB_INT cry::x509::countKnown() { return (PB_INT)table.count(); }
