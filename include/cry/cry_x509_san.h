/* Subject alternative names (RFC 5280, 4.2.1.6): DNS names and IP addresses. */
#ifndef CRY_CRY_X509_SAN_H
#define CRY_CRY_X509_SAN_H

#include <cry/cry_x509_san_type.h>
#include <in/in_address.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>

/* CRY_X509_SAN: one DNS name or one IP address. It never changes; many threads may use it. */
PB_OBJECT_TYPE( CRY_X509_SAN );

PB_BEGIN_DECLS

/* cryX509SanCreateDnsName: a DNS name, which is kept as it is written. A text that is not a domain
   name aborts ("inDnsIdnaDomainNameOk( idn )"); so does null. */
PB_EXPORT CRY_X509_SAN *cryX509SanCreateDnsName( PB_STRING *idn );
/* cryX509SanCreateIpAddress: an IP address; null aborts ("ina"). */
PB_EXPORT CRY_X509_SAN *cryX509SanCreateIpAddress( IN_ADDRESS *ina );
/* cryX509SanTryCreateFromHost: the IP address that inAddressTryCreateFromHost reads, otherwise the
   text as a DNS name. Null if it is not a domain name either. A null text aborts ("host"). */
PB_EXPORT CRY_X509_SAN *cryX509SanTryCreateFromHost( PB_STRING *host );

/* cryX509SanType: which of the two it is; null aborts ("san"), here and in the next functions. */
PB_EXPORT CRY_X509_SAN_TYPE cryX509SanType( CRY_X509_SAN *san );
/* cryX509SanDnsName: the DNS name, a new reference; null for an IP address. */
PB_EXPORT PB_STRING *cryX509SanDnsName( CRY_X509_SAN *san );
/* cryX509SanIpAddress: the IP address, a new reference; null for a DNS name. */
PB_EXPORT IN_ADDRESS *cryX509SanIpAddress( CRY_X509_SAN *san );

/* cryX509SanEqualsWildcard: whether two names name the same host. A DNS name never matches an IP
   address. IP addresses match if they are equal. DNS names match if inDnsIdnaDomainNameEquals finds
   them equal. If `wildcard` is true, a name that begins with "*." also matches each name that has
   exactly one label in the place of the asterisk (RFC 6125, 6.4.3); each of the two names may be
   the one with the wildcard. An asterisk in another place has no special meaning. Null aborts
   ("sanA", "sanB"). */
PB_EXPORT PB_BOOL cryX509SanEqualsWildcard( CRY_X509_SAN *sanA, CRY_X509_SAN *sanB, PB_BOOL wildcard );

/* cryX509SanStore: a new store with the keys "type" (the name of the type) and "dnsName" or
   "ipAddress". Null aborts ("san"). */
PB_EXPORT PB_STORE *cryX509SanStore( CRY_X509_SAN *san );
/* cryX509SanTryRestore: the name in such a store; null if the type is missing or unknown, or if the
   value is missing or not of this type. A null store aborts ("store"). */
PB_EXPORT CRY_X509_SAN *cryX509SanTryRestore( PB_STORE *store );

/* cryX509SanSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare puts DNS names before IP addresses and compares names as strings.
   So Example.com and example.com are different here; cryX509SanEqualsWildcard finds them equal. */
PB_EXPORT const PB_SORT *cryX509SanSort( void );
PB_EXPORT PB_OBJ        *cryX509SanObj( CRY_X509_SAN *obj );
PB_EXPORT CRY_X509_SAN  *cryX509SanFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_SAN  *cryX509SanRetain( CRY_X509_SAN *obj );
PB_EXPORT void           cryX509SanRelease( CRY_X509_SAN *obj );
PB_EXPORT PB_INT         cryX509SanCompare( CRY_X509_SAN *objA, CRY_X509_SAN *objB );
PB_EXPORT PB_BOOL        cryX509SanEquals( CRY_X509_SAN *objA, CRY_X509_SAN *objB );
PB_EXPORT PB_STRING     *cryX509SanToString( CRY_X509_SAN *obj );

PB_END_DECLS

#endif
