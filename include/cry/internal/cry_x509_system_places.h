/* The places where Linux distributions keep the platform's trusted roots. */
#ifndef CRY_INTERNAL_CRY_X509_SYSTEM_PLACES_H
#define CRY_INTERNAL_CRY_X509_SYSTEM_PLACES_H

/* The first of these places that exists is used. In a directory, each file holds one certificate
   and is named by a hash of the subject, for example 1a2b3c4d.0. */
static const char *const cry___x509SystemPlaces[] = {
    "/etc/ssl/certs/ca-certificates.crt",                /* Debian, Ubuntu, Arch, Gentoo, Alpine */
    "/etc/pki/tls/certs/ca-bundle.crt",                  /* Fedora, RHEL */
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem", /* RHEL 7 and later */
    "/etc/ssl/ca-bundle.pem",                            /* SUSE */
    "/var/lib/ca-certificates/ca-bundle.pem",            /* SUSE, newer */
    "/etc/ssl/cert.pem",                                 /* Alpine */
    "/etc/ssl/certs",                                    /* a directory of hashed files */
    "/etc/pki/tls/certs",
};

/* The longest file that is read, in bytes. No real bundle is longer. */
#define CRY___X509_SYSTEM_PLACE_MAX_LENGTH ( (long long)64 << 20 )

#endif
