#include <pb/module.hpp>
#include <pb/pb_module.h>
#include <pb/pb_string.h>

PB_MODULE_DEFINE( pb, "Base", "0.2", "", pb::startNothing, pb::doNothing, pb::doNothing )

extern "C" const PB_SORT pb___sort_PB_SORT   = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), &pb___module, "PB_SORT", PB_SORT_SLOTS{} };
extern "C" const PB_SORT pb___sort_PB_MODULE = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), &pb___module, "PB_MODULE", PB_SORT_SLOTS{} };

const PB_MODULE_RECORD *pbModuleRecord( const PB_MODULE *module ) { return PB_CHECK( module ), module->record; }

PB_STRING *pbModuleVersion( const PB_MODULE *module ) { return PB_CHECK( module ), pbStringCreateFromCstr( module->record->moduleVersion, -1 ); }
