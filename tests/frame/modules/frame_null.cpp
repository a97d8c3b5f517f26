// A library whose module function gives null.
#include <pb/pb_module.h>

extern "C" PB_EXPORT const PB_MODULE *frame_nullModule( void );

const PB_MODULE *frame_nullModule() { return nullptr; }
