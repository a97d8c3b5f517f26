/* Everything of the library in. */
#ifndef IN_IN_H
#define IN_IN_H

#include <in/in_address.h>
#include <in/in_dns_idna.h>
#include <pb/pb_module.h>

PB_BEGIN_DECLS

/* inModule: the module object of this library. */
PB_EXPORT const PB_MODULE *inModule( void );

PB_END_DECLS

#endif
