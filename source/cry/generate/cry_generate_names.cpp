#include "generate/cry_generate_names.hpp"

#include <cry/cry_uuid.h>
#include <in/in_dns_idna.h>
#include <pb/ref.hpp>

bool cry::generate::tryAddSubject( X509_NAME *subject, PB_STRING *domainName, PB_STRING *commonName )
{
    pb::Ref<PB_STRING> text = pb::share( commonName ? commonName : domainName );
    if( !text )
        text = pb::adopt( cryUuidToString( pb::adopt( cryUuidCreate() ).get() ) );
    const char *utf8 = pbStringPeekUtf8( text.get(), nullptr );
    return X509_NAME_add_entry_by_txt( subject, "CN", MBSTRING_UTF8, (const unsigned char *)utf8, -1, -1, 0 ) == 1;
}

cry::ossl::Ptr<X509_EXTENSION> cry::generate::tryMakeAlternativeName( X509V3_CTX *context, PB_STRING *domainName )
{
    pb::Ref<PB_STRING> ascii = pb::adopt( inDnsIdnaDomainNameToAscii( domainName ) );
    if( !ascii )
        return nullptr;
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromFormatCstr( "DNS:%s", -1, ascii.get() ) );
    return ossl::Ptr<X509_EXTENSION>( X509V3_EXT_conf_nid( nullptr, context, NID_subject_alt_name, pbStringPeekUtf8( text.get(), nullptr ) ) );
}
