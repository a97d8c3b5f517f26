/* CRY_X509_TN_AUTH_LIST_ENTRY_TYPE: kinds of entry in a telephone number authorization list (RFC
   8226, 9). */
#ifndef CRY_CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_H
#define CRY_CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_TN_AUTH_LIST_ENTRY_TYPE;

#define CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE ( (CRY_X509_TN_AUTH_LIST_ENTRY_TYPE)0 )
#define CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE ( (CRY_X509_TN_AUTH_LIST_ENTRY_TYPE)1 )
#define CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER ( (CRY_X509_TN_AUTH_LIST_ENTRY_TYPE)2 )

#define CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER )

PB_BEGIN_DECLS

/* cryX509TNAuthListEntryTypeToString: the name of a value, as
   "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE", a new string; another value aborts
   ("CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )"). */
PB_EXPORT PB_STRING *cryX509TNAuthListEntryTypeToString( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE et );
/* cryX509TNAuthListEntryTypeFromString: the value of a name, which must match exactly; -1 for an
   unknown one. Null aborts ("pbs"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY_TYPE cryX509TNAuthListEntryTypeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
