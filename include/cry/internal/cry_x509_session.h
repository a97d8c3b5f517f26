/* Sessions and their OpenSSL store. */
#ifndef CRY_INTERNAL_CRY_X509_SESSION_H
#define CRY_INTERNAL_CRY_X509_SESSION_H

#include <cry/cry_x509_session.h>
#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509SessionPeekOpensslX509Store: the OpenSSL store of the trusted certificates, lent while
   the caller holds the session; it must not be edited. It stays as it is if the stack changes. A
   null session aborts ("sess"). */
PB_EXPORT X509_STORE *cry___X509SessionPeekOpensslX509Store( CRY_X509_SESSION *sess );

PB_END_DECLS

#endif
