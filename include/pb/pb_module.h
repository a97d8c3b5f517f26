/* Modules: the libraries that the runtime starts, halts and shuts down. */
#ifndef PB_PB_MODULE_H
#define PB_PB_MODULE_H

#include <pb/pb_obj.h>

/* PB_MODULE_RECORD: identifies a module and the build of the product that it belongs to. Nobody
   changes it, so any thread may read it. All strings are zero-terminated. */
struct PB_MODULE_RECORD
{
    PB_INT      formatVersion; /* PB_MODULE_RECORD_FORMAT_VERSION */
    const char *productTag;
    const char *productDisplayName;
    PB_INT      productVersionMajor;
    PB_INT      productVersionMinor;
    PB_INT      productVersionBuild;
    const char *buildTime; /* as "UTC 2026-07-21 13:01:14 (Tuesday)" */
    const char *vendorName;
    const char *copyright;
    const char *moduleName;
    const char *moduleDescription;
    const char *moduleVersion;
    const char *dependencies; /* module names with one blank between, in alphabetical order */
    const char *last;         /* empty */
};

#define PB_MODULE_RECORD_FORMAT_VERSION ( (PB_INT)2 )

PB_BEGIN_DECLS

/* pbModule: the base library's own module object. */
PB_EXPORT const PB_MODULE *pbModule( void );
/* pbModuleRecord: the record of a module; null aborts ("module"). */
PB_EXPORT const PB_MODULE_RECORD *pbModuleRecord( const PB_MODULE *module );
/* pbModuleVersion: the version text of a module, as "0.2", a new string. */
PB_EXPORT PB_STRING *pbModuleVersion( const PB_MODULE *module );

PB_END_DECLS

#endif
