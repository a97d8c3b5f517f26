// The names of new certificates and requests.
#pragma once

#include "common/cry_ossl.hpp"

#include <openssl/x509v3.h>
#include <pb/pb_string.h>

namespace cry::generate
{

// Writes the subject: the common name, else the domain name as it was given, else a new UUID. False
// if OpenSSL refuses it.
bool tryAddSubject( X509_NAME *subject, PB_STRING *domainName, PB_STRING *commonName );

// The subject alternative name of a domain name; null if the name is not valid. The name is checked
// first, since OpenSSL's text form of extensions has a syntax of its own.
ossl::Ptr<X509_EXTENSION> tryMakeAlternativeName( X509V3_CTX *context, PB_STRING *domainName );

}
