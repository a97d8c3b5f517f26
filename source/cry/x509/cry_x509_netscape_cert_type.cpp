#include <cry/cry_x509_netscape_cert_type.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SMIME ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_CA ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SMIME_CA ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA ),
};

CRY_FLAGSET_DEFINE( X509NetscapeCertType, names )
