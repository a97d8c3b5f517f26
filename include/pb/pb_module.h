/* Modules: the libraries that the runtime starts, halts and shuts down. */
#ifndef PB_PB_MODULE_H
#define PB_PB_MODULE_H

#include <pb/pb_obj.h>

/* PB_MODULE_RECORD: identifies a module and the build of the product that it belongs to. It never
   changes, so any thread may read it. All strings are zero-terminated. */
struct PB_MODULE_RECORD
{
    PB_INT      formatVersion;       /* PB_MODULE_RECORD_FORMAT_VERSION */
    const char *productTag;          /* the product's short name */
    const char *productDisplayName;  /* the product's name for people */
    PB_INT      productVersionMajor; /* first part of the product's version */
    PB_INT      productVersionMinor; /* second part */
    PB_INT      productVersionBuild; /* third part */
    const char *buildTime;           /* as "UTC 2026-07-21 13:01:14 (Tuesday)" */
    const char *vendorName;          /* the maker of the product */
    const char *copyright;           /* the copyright line */
    const char *moduleName;          /* as "cry" */
    const char *moduleDescription;   /* one line for people */
    const char *moduleVersion;       /* as "0.2" */
    const char *dependencies;        /* module names with one blank between, in alphabetical order */
    const char *last;                /* empty */
};

/* PB_MODULE_RECORD_FORMAT_VERSION: the form of the record above. */
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
