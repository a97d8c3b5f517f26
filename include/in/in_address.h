/* IP addresses. */
#ifndef IN_IN_ADDRESS_H
#define IN_IN_ADDRESS_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

/* IN_ADDRESS: an address of IP version 4 or 6. It is immutable; any thread may use it. An
   IPv4-mapped IPv6 address is an IPv6 address and is not equal to the IPv4 address. */
PB_OBJECT_TYPE( IN_ADDRESS );

PB_BEGIN_DECLS

/* inAddressCreateV4: the IPv4 address of four bytes in network order. Null aborts ("bytes"). */
PB_EXPORT IN_ADDRESS *inAddressCreateV4( const PB_BYTE *bytes );
/* inAddressCreateV6: the IPv6 address of sixteen bytes in network order. Null aborts ("bytes"). */
PB_EXPORT IN_ADDRESS *inAddressCreateV6( const PB_BYTE *bytes );
/* inAddressTryCreateFromString: reads four decimal numbers with full stops between them and without
   leading zeros, or IPv6 text (RFC 4291, 2.2) without a zone index. Null if the text is neither.
   Null aborts ("str"). */
PB_EXPORT IN_ADDRESS *inAddressTryCreateFromString( PB_STRING *str );
/* inAddressTryCreateFromHost: the same for the host of a URI (RFC 3986, 3.2.2): square brackets may
   enclose an IPv6 address. Null aborts ("host"). */
PB_EXPORT IN_ADDRESS *inAddressTryCreateFromHost( PB_STRING *host );
/* inAddressIsV4: whether it is an IPv4 address; null aborts ("ina"). */
PB_EXPORT PB_BOOL inAddressIsV4( IN_ADDRESS *ina );
/* inAddressIsV6: whether it is an IPv6 address. */
PB_EXPORT PB_BOOL inAddressIsV6( IN_ADDRESS *ina );
/* inAddressToBinary: its four or sixteen bytes in network order, a new buffer. */
PB_EXPORT PB_BUFFER *inAddressToBinary( IN_ADDRESS *ina );

/* inAddressSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare puts IPv4 first, then orders by bytes. ToString gives dotted
   decimal numbers or the text of RFC 5952, and writes IPv4-mapped addresses as ::ffff:192.0.2.1. */
PB_EXPORT const PB_SORT *inAddressSort( void );
PB_EXPORT PB_OBJ        *inAddressObj( IN_ADDRESS *obj );
PB_EXPORT IN_ADDRESS    *inAddressFrom( PB_OBJ *obj );
PB_EXPORT IN_ADDRESS    *inAddressRetain( IN_ADDRESS *obj );
PB_EXPORT void           inAddressRelease( IN_ADDRESS *obj );
PB_EXPORT PB_INT         inAddressCompare( IN_ADDRESS *objA, IN_ADDRESS *objB );
PB_EXPORT PB_BOOL        inAddressEquals( IN_ADDRESS *objA, IN_ADDRESS *objB );
PB_EXPORT PB_STRING     *inAddressToString( IN_ADDRESS *obj );

PB_END_DECLS

#endif
