// The telephone number authorization list of a certificate (RFC 8226, 9).
#pragma once

#include <cry/cry_x509_certificate.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

struct TnList
{
    pb::Ref<CRY_X509_TN_AUTH_LIST> list;    // null if the certificate has none, or it cannot be read
    std::string                    problem; // why it cannot be read

    explicit TnList( CRY_X509_CERTIFICATE *certificate );

    // The entries for people, one line each, escaped.
    std::vector<std::string> lines() const;
};

// The OID of the extension.
inline constexpr const char *tnListOid = "1.3.6.1.5.5.7.1.26";

}
