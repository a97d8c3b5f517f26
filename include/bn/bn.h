/* Everything of the library bn. */
#ifndef BN_BN_H
#define BN_BN_H

#include <bn/bn_int.h>
#include <pb/pb_module.h>

PB_BEGIN_DECLS

/* bnModule: the module object of this library. */
PB_EXPORT const PB_MODULE *bnModule( void );

PB_END_DECLS

#endif
