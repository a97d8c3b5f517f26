// Certificates in files: PEM with anything around it, or DER.
#pragma once

#include <cry/cry_pem.h>
#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_certificates.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

// The certificates of a file, in order. Throws InputError, which names file and line, if anything
// in it is damaged or there is none.
std::vector<pb::Ref<CRY_X509_CERTIFICATE>> readCertificates( const std::string &path );

// The certificate in a block; if there is none, `problem` says why.
pb::Ref<CRY_X509_CERTIFICATE> certificateIn( CRY_PEM *pem, std::string &problem );

// The certificate in DER; if there is none, `reason` may say why in brackets.
pb::Ref<CRY_X509_CERTIFICATE> certificateInDer( PB_BUFFER *der, std::string &reason );

// The members of a list, and how they get into one.
std::vector<pb::Ref<CRY_X509_CERTIFICATE>> elements( CRY_X509_CERTIFICATES *certificates );
void append( pb::Ref<CRY_X509_CERTIFICATES> &to, const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &certificates, size_t from = 0 );
// Those of several files, one file after another.
void appendFiles( pb::Ref<CRY_X509_CERTIFICATES> &to, const std::vector<std::string> &files );

using Certificates = std::vector<pb::Ref<CRY_X509_CERTIFICATE>>;

// Those of `all` that are not in `others`.
Certificates without( const Certificates &all, const Certificates &others );

}
