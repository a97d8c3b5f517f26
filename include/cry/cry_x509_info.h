/* What is in a certificate: names, serial number, validity and the extensions about its use.

   Example:

       // Whether an info, as cryX509CertificateInfo reads it from a certificate, is that of an
       // authority. A certificate without the extension is none.
       PB_BOOL isAuthority( CRY_X509_INFO *info )
       {
           PB_BOOL                     ca = PB_FALSE;
           CRY_X509_BASIC_CONSTRAINTS *bc = cryX509InfoBasicConstraints( info );
           if( bc )
           {
               ca = cryX509BasicConstraintsCA( bc );
               cryX509BasicConstraintsRelease( bc );
           }

           return ca;
       }
*/
#ifndef CRY_CRY_X509_INFO_H
#define CRY_CRY_X509_INFO_H

#include <bn/bn_int.h>
#include <cry/cry_x509_basic_constraints.h>
#include <cry/cry_x509_extended_key_usage.h>
#include <cry/cry_x509_key_usage.h>
#include <cry/cry_x509_netscape_cert_type.h>
#include <cry/cry_x509_sans.h>
#include <pb/pb_time.h>

/* CRY_X509_INFO: ten fields, each of which may be absent. cryX509CertificateInfo reads them from a
   certificate; they can also be set one by one. Edits copy a shared object first. Many threads may
   read a CRY_X509_INFO, and each may edit it through a reference of its own. */
PB_OBJECT_TYPE( CRY_X509_INFO );

PB_BEGIN_DECLS

/* Each field has four functions: the getter gives a new reference, or null if the field is absent;
   Has says if it is present; Set puts a value into it, which must not be null; Del makes it absent.
   They abort on null objects ("info", "*info"). */

/* cryX509InfoCreate: all fields are absent. */
PB_EXPORT CRY_X509_INFO *cryX509InfoCreate( void );
/* cryX509InfoCreateFrom: a copy that shares the values; null aborts ("source"). */
PB_EXPORT CRY_X509_INFO *cryX509InfoCreateFrom( CRY_X509_INFO *source );

/* cryX509ValidateX509Name: whether a text may be the name of a subject or issuer; every text may.
   Null aborts ("name"). */
PB_EXPORT PB_BOOL cryX509ValidateX509Name( PB_STRING *name );

/* cryX509InfoSubject, cryX509InfoHasSubject, cryX509InfoSetSubject, cryX509InfoDelSubject: the
   subject's distinguished name in one line, most specific part first, for example
   "CN=host, O=Example, C=DE" (RFC 5280, 4.1.2.6). Set aborts if cryX509ValidateX509Name refuses the
   name ("cryX509ValidateX509Name( subject )"); on null that function aborts ("name"). */
PB_EXPORT PB_STRING *cryX509InfoSubject( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL    cryX509InfoHasSubject( CRY_X509_INFO *info );
PB_EXPORT void       cryX509InfoSetSubject( CRY_X509_INFO **info, PB_STRING *subject );
PB_EXPORT void       cryX509InfoDelSubject( CRY_X509_INFO **info );
/* cryX509InfoIssuer, cryX509InfoHasIssuer, cryX509InfoSetIssuer, cryX509InfoDelIssuer: the issuer's
   distinguished name in the same form and under the same rule (RFC 5280, 4.1.2.4). Set aborts with
   "cryX509ValidateX509Name( issuer )" or "name". */
PB_EXPORT PB_STRING *cryX509InfoIssuer( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL    cryX509InfoHasIssuer( CRY_X509_INFO *info );
PB_EXPORT void       cryX509InfoSetIssuer( CRY_X509_INFO **info, PB_STRING *issuer );
PB_EXPORT void       cryX509InfoDelIssuer( CRY_X509_INFO **info );
/* cryX509InfoSerialNumber, cryX509InfoHasSerialNumber, cryX509InfoSetSerialNumber,
   cryX509InfoDelSerialNumber: the serial number, of any size and with its sign (RFC 5280, 4.1.2.2).
   Null aborts ("serialNumber"). */
PB_EXPORT BN_INT *cryX509InfoSerialNumber( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL cryX509InfoHasSerialNumber( CRY_X509_INFO *info );
PB_EXPORT void    cryX509InfoSetSerialNumber( CRY_X509_INFO **info, BN_INT *serialNumber );
PB_EXPORT void    cryX509InfoDelSerialNumber( CRY_X509_INFO **info );
/* cryX509InfoValidFrom, cryX509InfoHasValidFrom, cryX509InfoSetValidFrom, cryX509InfoDelValidFrom:
   the beginning of the validity (RFC 5280, 4.1.2.5). Null aborts ("validFrom"). */
PB_EXPORT PB_TIME *cryX509InfoValidFrom( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL  cryX509InfoHasValidFrom( CRY_X509_INFO *info );
PB_EXPORT void     cryX509InfoSetValidFrom( CRY_X509_INFO **info, PB_TIME *validFrom );
PB_EXPORT void     cryX509InfoDelValidFrom( CRY_X509_INFO **info );
/* cryX509InfoValidUntil, cryX509InfoHasValidUntil, cryX509InfoSetValidUntil,
   cryX509InfoDelValidUntil: the end of the validity. Null aborts ("validUntil"). */
PB_EXPORT PB_TIME *cryX509InfoValidUntil( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL  cryX509InfoHasValidUntil( CRY_X509_INFO *info );
PB_EXPORT void     cryX509InfoSetValidUntil( CRY_X509_INFO **info, PB_TIME *validUntil );
PB_EXPORT void     cryX509InfoDelValidUntil( CRY_X509_INFO **info );
/* cryX509InfoBasicConstraints, cryX509InfoHasBasicConstraints, cryX509InfoSetBasicConstraints,
   cryX509InfoDelBasicConstraints: basic constraints (RFC 5280, 4.2.1.9). Null aborts ("bc"). */
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cryX509InfoBasicConstraints( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL                     cryX509InfoHasBasicConstraints( CRY_X509_INFO *info );
PB_EXPORT void                        cryX509InfoSetBasicConstraints( CRY_X509_INFO **info, CRY_X509_BASIC_CONSTRAINTS *bc );
PB_EXPORT void                        cryX509InfoDelBasicConstraints( CRY_X509_INFO **info );

/* cryX509InfoKeyUsage, cryX509InfoHasKeyUsage, cryX509InfoSetKeyUsage, cryX509InfoDelKeyUsage: key
   usage (RFC 5280, 4.2.1.3). The getter gives 0 if the field is absent, but a field that is present
   may be 0 too. Set drops undefined flags. */
PB_EXPORT CRY_X509_KEY_USAGE cryX509InfoKeyUsage( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL            cryX509InfoHasKeyUsage( CRY_X509_INFO *info );
PB_EXPORT void               cryX509InfoSetKeyUsage( CRY_X509_INFO **info, CRY_X509_KEY_USAGE flags );
PB_EXPORT void               cryX509InfoDelKeyUsage( CRY_X509_INFO **info );
/* cryX509InfoExtendedKeyUsage, cryX509InfoHasExtendedKeyUsage, cryX509InfoSetExtendedKeyUsage,
   cryX509InfoDelExtendedKeyUsage: the same for extended key usage (RFC 5280, 4.2.1.12). An
   extension that lists only purposes without a flag is present and 0. */
PB_EXPORT CRY_X509_EXTENDED_KEY_USAGE cryX509InfoExtendedKeyUsage( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL                     cryX509InfoHasExtendedKeyUsage( CRY_X509_INFO *info );
PB_EXPORT void                        cryX509InfoSetExtendedKeyUsage( CRY_X509_INFO **info, CRY_X509_EXTENDED_KEY_USAGE flags );
PB_EXPORT void                        cryX509InfoDelExtendedKeyUsage( CRY_X509_INFO **info );
/* cryX509InfoNetscapeCertType, cryX509InfoHasNetscapeCertType, cryX509InfoSetNetscapeCertType,
   cryX509InfoDelNetscapeCertType: the same for the Netscape certificate type. */
PB_EXPORT CRY_X509_NETSCAPE_CERT_TYPE cryX509InfoNetscapeCertType( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL                     cryX509InfoHasNetscapeCertType( CRY_X509_INFO *info );
PB_EXPORT void                        cryX509InfoSetNetscapeCertType( CRY_X509_INFO **info, CRY_X509_NETSCAPE_CERT_TYPE flags );
PB_EXPORT void                        cryX509InfoDelNetscapeCertType( CRY_X509_INFO **info );

/* cryX509InfoSans, cryX509InfoHasSans, cryX509InfoSetSans, cryX509InfoDelSans: subject alternative
   names (RFC 5280, 4.2.1.6). Null aborts ("sans"). */
PB_EXPORT CRY_X509_SANS *cryX509InfoSans( CRY_X509_INFO *info );
PB_EXPORT PB_BOOL        cryX509InfoHasSans( CRY_X509_INFO *info );
PB_EXPORT void           cryX509InfoSetSans( CRY_X509_INFO **info, CRY_X509_SANS *sans );
PB_EXPORT void           cryX509InfoDelSans( CRY_X509_INFO **info );

/* cryX509InfoStore: a new store with an entry for each field that is present, in this order:
   "subject", "issuer", "serialNumber" (in decimal), "validFrom", "validUntil" (pbTimeToString),
   "basicConstraints" (cryX509BasicConstraintsStore), "keyUsage", "extendedKeyUsage" (the names of
   their flags), "sans" (cryX509SansStore), "netscapeCertType" (the names of its flags). */
PB_EXPORT PB_STORE *cryX509InfoStore( CRY_X509_INFO *info );
/* cryX509InfoRestore: reads such a store; a field whose entry is absent or does not read is absent,
   so the result is never null. A null store aborts ("store").

   "sans" is read only if "netscapeCertType" is there, so an object without a Netscape certificate
   type comes back without its alternative names. With "netscapeCertType" and without "sans" it
   aborts (in cryX509SansRestore, "store"): look first if the store comes from outside. */
PB_EXPORT CRY_X509_INFO *cryX509InfoRestore( PB_STORE *store );

/* cryX509InfoSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by address; to compare the fields, compare the stores. */
PB_EXPORT const PB_SORT *cryX509InfoSort( void );
PB_EXPORT PB_OBJ        *cryX509InfoObj( CRY_X509_INFO *obj );
PB_EXPORT CRY_X509_INFO *cryX509InfoFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_INFO *cryX509InfoRetain( CRY_X509_INFO *obj );
PB_EXPORT void           cryX509InfoRelease( CRY_X509_INFO *obj );
PB_EXPORT PB_INT         cryX509InfoCompare( CRY_X509_INFO *objA, CRY_X509_INFO *objB );
PB_EXPORT PB_BOOL        cryX509InfoEquals( CRY_X509_INFO *objA, CRY_X509_INFO *objB );
PB_EXPORT PB_STRING     *cryX509InfoToString( CRY_X509_INFO *obj );

PB_END_DECLS

#endif
