/* Everything of the library tr. */
#ifndef TR_TR_H
#define TR_TR_H

#include <pb/pb_module.h>
#include <tr/tr_anchor.h>
#include <tr/tr_sink.h>
#include <tr/tr_stream.h>

PB_BEGIN_DECLS

/* trModule: the module object of this library. */
PB_EXPORT const PB_MODULE *trModule( void );

PB_END_DECLS

#endif
