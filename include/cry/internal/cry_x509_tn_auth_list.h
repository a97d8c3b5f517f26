/* Telephone number authorization lists for libraries that use OpenSSL types: the list of a
   certificate, and the ASN.1 of the extension (RFC 8226, 9), which has explicit tags. */
#ifndef CRY_INTERNAL_CRY_X509_TN_AUTH_LIST_H
#define CRY_INTERNAL_CRY_X509_TN_AUTH_LIST_H

#include <cry/cry_x509_tn_auth_list.h>

#include <openssl/asn1t.h>
#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509TNAuthListCreateFromOpensslX509: the list of a certificate, which may be empty; null if
   there is no such extension or it does not decode. It is intended that a range count outside of 0
   to 2147483647 aborts ("count >= 0"): look at the ASN.1 before, if the certificate comes from
   outside. Null aborts ("x509"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST *cry___X509TNAuthListCreateFromOpensslX509( const X509 *x509 );
/* cry___X509TNAuthListEntryCreate: an entry of a type without any field; a value that is not a type
   aborts ("CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cry___X509TNAuthListEntryCreate( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE et );

/* TelephoneNumberRange: SEQUENCE { start IA5String, count INTEGER }. */
typedef struct TelephoneNumberRange_st
{
    ASN1_IA5STRING *start;
    ASN1_INTEGER   *count;
} TelephoneNumberRange;

/* TNEntry: CHOICE { spc [0], range [1], one [2] }; `type` is 0, 1 or 2. */
typedef struct TNEntry_st
{
    int type;
    union
    {
        ASN1_IA5STRING       *spc;
        TelephoneNumberRange *range;
        ASN1_IA5STRING       *one;
    } d;
} TNEntry;

/* TNAuthorizationList: SEQUENCE OF TNEntry. */
DEFINE_STACK_OF( TNEntry )
typedef STACK_OF( TNEntry ) TNAuthorizationList;

/* The functions that OpenSSL has for an ASN.1 type, for each of the three: new and free, d2i and
   i2d as d2i_X509 and i2d_X509, and the item for ASN1_item_d2i and the like. */

/* TelephoneNumberRange_it, TelephoneNumberRange_new, TelephoneNumberRange_free,
   d2i_TelephoneNumberRange, i2d_TelephoneNumberRange. */
PB_EXPORT const ASN1_ITEM      *TelephoneNumberRange_it( void );
PB_EXPORT TelephoneNumberRange *TelephoneNumberRange_new( void );
PB_EXPORT void                  TelephoneNumberRange_free( TelephoneNumberRange *a );
PB_EXPORT TelephoneNumberRange *d2i_TelephoneNumberRange( TelephoneNumberRange **a, const unsigned char **in, long len );
PB_EXPORT int                   i2d_TelephoneNumberRange( const TelephoneNumberRange *a, unsigned char **out );
/* TNEntry_it, TNEntry_new, TNEntry_free, d2i_TNEntry, i2d_TNEntry. */
PB_EXPORT const ASN1_ITEM *TNEntry_it( void );
PB_EXPORT TNEntry         *TNEntry_new( void );
PB_EXPORT void             TNEntry_free( TNEntry *a );
PB_EXPORT TNEntry         *d2i_TNEntry( TNEntry **a, const unsigned char **in, long len );
PB_EXPORT int              i2d_TNEntry( const TNEntry *a, unsigned char **out );
/* TNAuthorizationList_it, TNAuthorizationList_new, TNAuthorizationList_free,
   d2i_TNAuthorizationList, i2d_TNAuthorizationList. */
PB_EXPORT const ASN1_ITEM     *TNAuthorizationList_it( void );
PB_EXPORT TNAuthorizationList *TNAuthorizationList_new( void );
PB_EXPORT void                 TNAuthorizationList_free( TNAuthorizationList *a );
PB_EXPORT TNAuthorizationList *d2i_TNAuthorizationList( TNAuthorizationList **a, const unsigned char **in, long len );
PB_EXPORT int                  i2d_TNAuthorizationList( const TNAuthorizationList *a, unsigned char **out );

PB_END_DECLS

#endif
