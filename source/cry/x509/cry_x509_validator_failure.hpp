// How validators make the reason of a refusal.
#pragma once

#include <cry/cry_x509_validator_failure.h>

namespace cry::x509
{

// All objects are lent; null is absent.
struct FailureFacts
{
    CRY_X509_VALIDATOR_FAILURE_REASON reason;
    PB_TIME                          *time;
    PB_INT                            opensslError    = -1;
    PB_INT                            depth           = -1;
    CRY_X509_CERTIFICATE             *certificate     = nullptr;
    CRY_X509_SANS                    *certificateSans = nullptr;
    CRY_X509_SANS                    *wantedSans      = nullptr;
};

CRY_X509_VALIDATOR_FAILURE *createFailure( const FailureFacts &facts );

}
