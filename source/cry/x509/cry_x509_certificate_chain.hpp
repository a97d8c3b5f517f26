// Verification of a chain, with the reason if it fails.
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
    pb::Ref<CRY_X509_CERTIFICATE>  certificate; // the certificate to which the code belongs; may be null
};

// Does the work of cry___X509CertificateChainTryVerifyCertificate and also gives the reason. Checks
// for memory report the caller's file and line.
Verdict verifyChain( CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates,
    PB_TIME *tm, pb::Site site = pb::Site::here() );

}
