// Certificates in texts: PEM, or DER in base 64.
#pragma once

#include <cry/cry_x509_certificates.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

// The certificates of a text: those of PEM with anything around it, or the one in DER. Throws
// InputError if there is none or anything is damaged; the message begins with `what`.
pb::Ref<CRY_X509_CERTIFICATES> certificatesInText( const std::string &text, const std::string &what );

}
