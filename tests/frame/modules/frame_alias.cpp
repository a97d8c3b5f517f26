// A library that holds a module of another name.
#include <pb/pb_module.h>
#include <pb/sort.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_aliasModule( void );

static PB_BOOL startup() { return PB_TRUE; }

static void nothing() {}

static const PB_MODULE_RECORD record = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "frame_other", "", "1.5", "pb",
    "" };
static const PB_MODULE        module = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &record, startup, nothing, nothing, nothing };

const PB_MODULE *frame_aliasModule() { return &module; }
