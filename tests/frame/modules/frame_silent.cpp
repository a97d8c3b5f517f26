// A library without a module object.
#include <pb/pb_base.h>

extern "C" PB_EXPORT PB_INT frame_silentNothing( void );

PB_INT frame_silentNothing() { return 0; }
