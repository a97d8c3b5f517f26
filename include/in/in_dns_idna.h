/* Domain names, internationalised ones too (IDNA 2008, RFC 5890; UTS #46, nontransitional). */
#ifndef IN_IN_DNS_IDNA_H
#define IN_IN_DNS_IDNA_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/* inDnsIdnaDomainNameOk: whether a text is a domain name: labels between full stops (those of UTS #46, 4.5, too, where the name is not ASCII), each in its ASCII form
   of 1 to 63 letters, digits, "-", "_" and "*", without a hyphen at its ends; in all at most 253 characters in ASCII form; one full stop may follow; not an IPv4 address.
   Labels that begin with "xn--" or are not ASCII must be valid by IDNA. Null aborts ("name"), here and in the next functions. */
PB_EXPORT PB_BOOL inDnsIdnaDomainNameOk( PB_STRING *name );
/* inDnsIdnaDomainNameToAscii: the ASCII form (A-labels, RFC 5890, 2.3.2.1) without a full stop at the end, a new string; ASCII labels stay as they are written. Null when
   the name is not OK. */
PB_EXPORT PB_STRING *inDnsIdnaDomainNameToAscii( PB_STRING *name );
/* inDnsIdnaDomainNameToUnicode: the form with U-labels; null when the name is not OK. */
PB_EXPORT PB_STRING *inDnsIdnaDomainNameToUnicode( PB_STRING *name );
/* inDnsIdnaDomainNameEquals: whether two names are the same: their ASCII forms, without regard to ASCII case and a full stop at the end. Where one of them is no domain
   name, whether the texts are the same. Null aborts ("nameA", "nameB"). */
PB_EXPORT PB_BOOL inDnsIdnaDomainNameEquals( PB_STRING *nameA, PB_STRING *nameB );

PB_END_DECLS

#endif
