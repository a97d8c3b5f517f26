/* The cryptography module. */
#ifndef CRY_CRY_MODULE_H
#define CRY_CRY_MODULE_H

#include <pb/pb_module.h>

PB_BEGIN_DECLS

/* cryModule: the module object, through which the runtime starts, halts and shuts down the module.
   No other function of the module may be used before its start-up or after its shut-down. */
PB_EXPORT const PB_MODULE *cryModule( void );

PB_END_DECLS

#endif
