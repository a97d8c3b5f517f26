/* The platform's trusted roots. */
#ifndef CRY_INTERNAL_CRY_X509_SYSTEM_H
#define CRY_INTERNAL_CRY_X509_SYSTEM_H

#include <cry/cry_x509_system.h>

PB_BEGIN_DECLS

/* cry___X509SystemPlatformTrustedCertificatesLoad: reads the platform's trusted roots from the
   files at each call. Gives a new collection, which is empty if there are no roots; never null. A
   certificate that does not parse is left out. A certificate that occurs twice is kept once. May
   block while it reads files. */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509SystemPlatformTrustedCertificatesLoad( void );

/* cry___X509SystemTrustedCertificatesReload: loads the roots on this thread and publishes what it
   finds, also if that is nothing. Equal roots change nothing. May block while it reads files. */
PB_EXPORT void cry___X509SystemTrustedCertificatesReload( void );

/* cry___X509SystemHalt: gives the roots up and ends the reloads; only the module's own hook calls
   it. A second call aborts ("!cry___X509SystemHalted"). */
PB_EXPORT void cry___X509SystemHalt( void );

PB_END_DECLS

#endif
