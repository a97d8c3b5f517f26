// A module with a record of a format that the runtime does not know.
#include <pb/pb_module.h>
#include <pb/sort.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_formatModule( void );

static PB_BOOL startup() { return PB_TRUE; }

static void nothing() {}

static const PB_MODULE_RECORD record = { PB_MODULE_RECORD_FORMAT_VERSION + 1, "orvelletr", "", 4, 14, 19, "", "", "", "frame_format", "", "1.5", "pb",
    "" };
static const PB_MODULE        module = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &record, startup, nothing, nothing, nothing };

const PB_MODULE *frame_formatModule() { return &module; }
