// Chain verification with a verdict.
#pragma once

#include <cry/internal/cry_x509_certificate_chain.h>
#include <pb/ref.hpp>
#include <pb/sort.hpp>

namespace cry::x509
{

// Verdict: a chain, or the reason why there is none.
struct Verdict
{
    pb::Ref<CRY_X509_CERTIFICATES> chain;       // leaf first; null if the certificate was refused
    int                            code;        // OpenSSL's, X509_V_OK for a chain
    int                            depth;       // 0 for the leaf; -1 if it does not apply
    pb::Ref<CRY_X509_CERTIFICATE>  certificate; // the one that the code speaks of; may be null
};

// What cry___X509CertificateChainTryVerifyCertificate does, with its reasons. Checks that memory
// can be had in the caller's name.
Verdict verifyChain( CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates,
    PB_TIME *tm, pb::Site site = pb::Site::here() );

}
