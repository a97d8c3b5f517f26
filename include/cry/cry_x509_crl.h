/* Certificate revocation lists, CRLs (RFC 5280, clause 5).

   Example:

       // Whether a list names a certificate. That the list is from the certificate's issuer, is
       // signed and is not too old, the caller checks.
       PB_BOOL isRevoked( CRY_X509_CRL *crl, CRY_X509_CERTIFICATE *cert )
       {
           // Without this, no certificate counts as revoked.
           pbDictRelease( cryX509CrlRevokedSerials( crl ) );
           return cryX509CrlRevokedByCertificate( crl, cert );
       }
*/
#ifndef CRY_CRY_X509_CRL_H
#define CRY_CRY_X509_CRL_H

#include <bn/bn_int.h>
#include <cry/cry_x509_certificate.h>
#include <pb/pb_dict.h>
#include <pb/pb_time.h>

/* CRY_X509_CRL: a parsed CRL with its canonical PEM, under the label X509 CRL, as OpenSSL writes
   it. Its signature is not checked. A CRY_X509_CRL never changes; many threads may read it. The set
   of its serial numbers is made when it is first asked for. */
PB_OBJECT_TYPE( CRY_X509_CRL );

PB_BEGIN_DECLS

/* The functions abort on a null CRL ("crl"). */

/* cryX509CrlTryCreateFromPem: the CRL in a PEM object with the label X509 CRL; null if it is not
   one. Null aborts ("pem"). */
PB_EXPORT CRY_X509_CRL *cryX509CrlTryCreateFromPem( CRY_PEM *pem );
/* cryX509CrlPem: the canonical PEM, a new reference. Its data is the CRL's DER. */
PB_EXPORT CRY_PEM *cryX509CrlPem( CRY_X509_CRL *crl );
/* cryX509CrlIssuer: the name of the issuer, a new string; its form is that of RFC 2253 with a blank
   after each comma. Null if the name is not valid text. */
PB_EXPORT PB_STRING *cryX509CrlIssuer( CRY_X509_CRL *crl );
/* cryX509CrlLastUpdate: the time of the list (thisUpdate), a new object; null if it is not a valid
   time. */
PB_EXPORT PB_TIME *cryX509CrlLastUpdate( CRY_X509_CRL *crl );
/* cryX509CrlNextUpdate: the time until which the next list is made (nextUpdate), a new object; null
   if the CRL has none or if it is not a valid time. */
PB_EXPORT PB_TIME *cryX509CrlNextUpdate( CRY_X509_CRL *crl );

/* cryX509CrlRevokedSerials: the serial numbers of all entries, a new reference to a dictionary.
   Each number, a BN_INT, is the key and the value; equal numbers are in it once. A CRL without
   entries gives an empty dictionary. The dictionary is made at the first call; for many entries it
   needs several times the memory of cryX509CrlRevokedBySerial. */
PB_EXPORT PB_DICT *cryX509CrlRevokedSerials( CRY_X509_CRL *crl );
/* cryX509CrlRevokedBySerial: whether an entry has this serial number. The first call sorts the
   numbers of all entries. A null number aborts ("serial"). */
PB_EXPORT PB_BOOL cryX509CrlRevokedBySerial( CRY_X509_CRL *crl, BN_INT *serial );
/* cryX509CrlRevokedByCertificate: whether an entry has the serial number of a certificate; the
   issuers are not compared. It is false for each certificate as long as nobody called
   cryX509CrlRevokedSerials or cryX509CrlRevokedBySerial for this object. A null certificate aborts
   ("cert"). */
PB_EXPORT PB_BOOL cryX509CrlRevokedByCertificate( CRY_X509_CRL *crl, CRY_X509_CERTIFICATE *cert );

/* cryX509CrlStore: the store of the canonical PEM (cryPemStore). */
PB_EXPORT PB_STORE *cryX509CrlStore( CRY_X509_CRL *crl );
/* cryX509CrlTryRestore: the CRL in a store of a PEM (cryPemTryRestore); null if the store holds no
   CRL. A null store aborts ("store"). */
PB_EXPORT CRY_X509_CRL *cryX509CrlTryRestore( PB_STORE *store );

/* cryX509CrlSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the canonical PEM. */
PB_EXPORT const PB_SORT *cryX509CrlSort( void );
PB_EXPORT PB_OBJ        *cryX509CrlObj( CRY_X509_CRL *obj );
PB_EXPORT CRY_X509_CRL  *cryX509CrlFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_CRL  *cryX509CrlRetain( CRY_X509_CRL *obj );
PB_EXPORT void           cryX509CrlRelease( CRY_X509_CRL *obj );
PB_EXPORT PB_INT         cryX509CrlCompare( CRY_X509_CRL *objA, CRY_X509_CRL *objB );
PB_EXPORT PB_BOOL        cryX509CrlEquals( CRY_X509_CRL *objA, CRY_X509_CRL *objB );
PB_EXPORT PB_STRING     *cryX509CrlToString( CRY_X509_CRL *obj );

PB_END_DECLS

#endif
