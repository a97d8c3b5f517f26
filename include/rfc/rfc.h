/* Everything of the library rfc. */
#ifndef RFC_RFC_H
#define RFC_RFC_H

#include <pb/pb_module.h>
#include <rfc/rfc_base.h>
#include <rfc/rfc_base_options.h>
#include <rfc/rfc_encapsulation.h>

PB_BEGIN_DECLS

/* rfcModule: the module object of this library. */
PB_EXPORT const PB_MODULE *rfcModule( void );

PB_END_DECLS

#endif
