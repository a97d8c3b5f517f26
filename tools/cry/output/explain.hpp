// Why a chain does not verify.
#pragma once

#include <cry/cry_x509_certificates.h>
#include <pb/pb_time.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

struct Reason
{
    int                           code = 0; // OpenSSL's X509_V_ERR_...
    std::string                   text;
    int                           depth = 0;   // 0 is the leaf
    pb::Ref<CRY_X509_CERTIFICATE> certificate; // the one it speaks of; may be null
};

// Verifies again, with the same parameters, to find what the module's call does not say.
Reason explain( CRY_X509_CERTIFICATE *leaf, CRY_X509_CERTIFICATES *extra, CRY_X509_CERTIFICATES *trusted, PB_TIME *tm );

}
