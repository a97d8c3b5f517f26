/* Everything of the library cs. */
#ifndef CS_CS_H
#define CS_CS_H

#include <cs/cs_object.h>
#include <cs/cs_sort_backend.h>
#include <pb/pb_module.h>

PB_BEGIN_DECLS

/* csModule: the module object of this library. */
PB_EXPORT const PB_MODULE *csModule( void );

PB_END_DECLS

#endif
