// Verification of a chain, with the reason if it fails.
#pragma once

#include <cry/internal/cry_x509_certificate_chain.h>
#include <pb/ref.hpp>
#include <pb/sort.hpp>

#include <ctime>
#include <openssl/x509_vfy.h>

namespace cry::x509
{

// Question: one certificate, lent with all that it is verified with. The certificates of the store
// are those of `trusted`.
struct Question
{
    CRY_X509_CERTIFICATE  *certificate;
    CRY_X509_CERTIFICATES *extra; // may be null
    CRY_X509_CERTIFICATES *trusted;
    X509_STORE            *x509Store;
};

// Verdict: a chain, or the reason why there is none.
struct Verdict
{
    pb::Ref<CRY_X509_CERTIFICATES> chain;       // leaf first; null if the certificate was refused
    int                            code;        // OpenSSL's, X509_V_OK for a chain
    int                            depth;       // 0 for the leaf; -1 if it does not apply
    pb::Ref<CRY_X509_CERTIFICATE>  certificate; // the certificate to which the code belongs; may be null
    bool                           verified;    // also if the chain cannot be given out

    explicit operator bool() const { return (bool)chain; }
};

// The reason lies in the verdict; what OpenSSL adds to the queue of errors stays there. Checks for
// memory report the caller's file and line.
Verdict verifyChain( const Question &question, time_t seconds, pb::Site site = pb::Site::here() );

// Does the work of cry___X509CertificateChainTryVerifyCertificate and also gives the reason.
Verdict verifyChain( CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates,
    PB_TIME *tm, pb::Site site = pb::Site::here() );

}
