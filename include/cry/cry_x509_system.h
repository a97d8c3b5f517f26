/* The trusted roots of the platform. */
#ifndef CRY_CRY_X509_SYSTEM_H
#define CRY_CRY_X509_SYSTEM_H

#include <cry/cry_x509_certificates.h>
#include <pb/pb_signal.h>

PB_BEGIN_DECLS

/* The module reads the platform's trusted roots when it starts and every twelve hours, and keeps
   them until it is halted. If the platform has no roots any more, for example because their file is
   being written, those that are known stay in use; the module looks again every 30 seconds and
   gives them up after a day. Any thread may call these functions. */

/* cryX509SystemTrustedCertificates: the roots, a new reference; an empty collection if there are
   none or the module is halted. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509SystemTrustedCertificates( void );
/* cryX509SystemTrustedCertificatesAddSignalable: subscribes to the next change of the roots. A
   signalable is told once; for each further change it is added again. Subscribe before you read.
   Null aborts ("sigb"). */
PB_EXPORT void cryX509SystemTrustedCertificatesAddSignalable( PB_SIGNALABLE *sigb );
/* cryX509SystemTrustedCertificatesDelSignalable: takes the subscription back. Null aborts
   ("sigb"). */
PB_EXPORT void cryX509SystemTrustedCertificatesDelSignalable( PB_SIGNALABLE *sigb );

PB_END_DECLS

#endif
