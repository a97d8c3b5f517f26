/* Domain names, also internationalised ones (IDNA 2008, RFC 5890; UTS #46, nontransitional). */
#ifndef IN_IN_DNS_IDNA_H
#define IN_IN_DNS_IDNA_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/* inDnsIdnaDomainNameOk: whether a text is a domain name. Full stops separate its labels; if the
   name is not ASCII, so do the other full stops of UTS #46, 4.5. One full stop may follow the last
   label. A label has 1 to 63 letters, digits, "-", "_" and "*" in its ASCII form, and no hyphen at
   its ends. The name has at most 253 characters in its ASCII form and is not an IPv4 address.
   Labels that begin with "xn--" or are not ASCII must be valid by IDNA. If a label has
   right-to-left characters, every label must satisfy the Bidi rule (RFC 5893, 2), except "*" alone.
   Null aborts ("name"), here and in the next functions. */
PB_EXPORT PB_BOOL inDnsIdnaDomainNameOk( PB_STRING *name );
/* inDnsIdnaDomainNameToAscii: the ASCII form (A-labels, RFC 5890, 2.3.2.1) without a full stop at
   the end, a new string. ASCII labels keep their spelling. Null if the name is not OK. */
PB_EXPORT PB_STRING *inDnsIdnaDomainNameToAscii( PB_STRING *name );
/* inDnsIdnaDomainNameToUnicode: the form with U-labels; null if the name is not OK. */
PB_EXPORT PB_STRING *inDnsIdnaDomainNameToUnicode( PB_STRING *name );
/* inDnsIdnaDomainNameEquals: whether two names are the same: it compares their ASCII forms and
   ignores ASCII case and a full stop at the end. If one of them is not a domain name, it compares
   the texts. Null aborts ("nameA", "nameB"). */
PB_EXPORT PB_BOOL inDnsIdnaDomainNameEquals( PB_STRING *nameA, PB_STRING *nameB );

PB_END_DECLS

#endif
