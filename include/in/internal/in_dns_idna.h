/* The labels of domain names, and the reason why a text is not a domain name. */
#ifndef IN_INTERNAL_IN_DNS_IDNA_H
#define IN_INTERNAL_IN_DNS_IDNA_H

#include <in/in_dns_idna.h>
#include <pb/pb_vector.h>

PB_BEGIN_DECLS

/* in___DnsIdnaLabelsTrySplit: the labels of a domain name as they are written, a new vector of
   strings. Null if the name is not OK. Null aborts ("name"). */
PB_EXPORT PB_VECTOR *in___DnsIdnaLabelsTrySplit( PB_STRING *name );
/* in___DnsIdnaLabelsCompose: the labels with full stops between them, a new string. A vector that
   holds other objects than strings aborts ("pbVectorContainsOnly( labels, pbStringSort() )"). */
PB_EXPORT PB_STRING *in___DnsIdnaLabelsCompose( PB_VECTOR *labels );
/* in___DnsIdnaDomainNameProblem: the reason why a text is not a domain name, for people, a new
   string. Null if it is one. */
PB_EXPORT PB_STRING *in___DnsIdnaDomainNameProblem( PB_STRING *name );

PB_END_DECLS

#endif
