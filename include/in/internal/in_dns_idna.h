/* The labels of domain names, and what is wrong with a name. */
#ifndef IN_INTERNAL_IN_DNS_IDNA_H
#define IN_INTERNAL_IN_DNS_IDNA_H

#include <in/in_dns_idna.h>
#include <pb/pb_vector.h>

PB_BEGIN_DECLS

/* in___DnsIdnaLabelsTrySplit: the labels of a domain name as they are written, a new vector of strings; null when the name is not OK. Null aborts ("name"). */
PB_EXPORT PB_VECTOR *in___DnsIdnaLabelsTrySplit( PB_STRING *name );
/* in___DnsIdnaLabelsCompose: the labels with full stops between them, a new string; a vector of anything but strings aborts
   ("pbVectorContainsOnly( labels, pbStringSort() )"). */
PB_EXPORT PB_STRING *in___DnsIdnaLabelsCompose( PB_VECTOR *labels );
/* in___DnsIdnaDomainNameProblem: why a text is no domain name, for people, a new string; null when it is one. */
PB_EXPORT PB_STRING *in___DnsIdnaDomainNameProblem( PB_STRING *name );

PB_END_DECLS

#endif
