#include "input/tn_list.hpp"

#include "output/openssl_reason.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_tn_auth_list.h>
#include <memory>
#include <openssl/err.h>

namespace
{

// The extension's value; null if there is none. If it is there several times, the first one counts,
// as for the library.
const ASN1_OCTET_STRING *valueIn( const X509 *x509 )
{
    std::unique_ptr<ASN1_OBJECT, decltype( &ASN1_OBJECT_free )> oid( OBJ_txt2obj( tool::tnListOid, 1 ), ASN1_OBJECT_free );
    int                                                         index = oid ? X509_get_ext_by_OBJ( x509, oid.get(), -1 ) : -1;
    return index < 0 ? nullptr : X509_EXTENSION_get_data( X509_get_ext( x509, index ) );
}

// The library aborts on counts outside of 31 bits, so they are looked at before.
std::string problemIn( const ASN1_OCTET_STRING *value )
{
    const unsigned char *at = ASN1_STRING_get0_data( value );
    ERR_clear_error();
    auto freeList = []( TNAuthorizationList *list ) { TNAuthorizationList_free( list ); };
    auto decoded  = (TNAuthorizationList *)ASN1_item_d2i( nullptr, &at, ASN1_STRING_length( value ), TNAuthorizationList_it() );
    std::unique_ptr<TNAuthorizationList, decltype( freeList )> list( decoded, freeList );
    if( !list )
        return "the telephone number authorization list cannot be read" + tool::opensslReasonInBrackets();
    for( int index = 0; index < sk_TNEntry_num( list.get() ); index++ )
    {
        const TNEntry *entry = sk_TNEntry_value( list.get(), index );
        int64_t        count = 0;
        if( entry->type != CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE )
            continue;
        if( !ASN1_INTEGER_get_int64( &count, entry->d.range->count ) || count < 0 || count > INT32_MAX )
        {
            ERR_clear_error();
            return "entry " + std::to_string( index + 1 ) +
                " of the telephone number authorization list: the count of the range is not a number from 0 to 2147483647";
        }
    }
    return "";
}

std::string entryText( CRY_X509_TN_AUTH_LIST_ENTRY *entry )
{
    auto escaped = []( PB_STRING *text ) { return text ? tool::escapedName( tool::take( text ) ) : ""; };
    switch( cryX509TNAuthListEntryType( entry ) )
    {
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE:
        return "service provider code " + escaped( cryX509TNAuthListEntryServiceProviderCode( entry ) );
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE:
        return "range " + escaped( cryX509TNAuthListEntryTelephoneNumber( entry ) ) + ", " +
            tool::counted( (size_t)cryX509TNAuthListEntryCount( entry ), "number" );
    default:
        return "number " + escaped( cryX509TNAuthListEntryTelephoneNumber( entry ) );
    }
}

}

tool::TnList::TnList( CRY_X509_CERTIFICATE *certificate )
{
    const ASN1_OCTET_STRING *value = valueIn( cry___X509CertificatePeekOpensslX509( certificate ) );
    if( !value )
        return;
    problem = problemIn( value );
    if( problem.empty() )
        list = pb::adopt( cryX509CertificateTNAuthList( certificate ) );
    if( problem.empty() && !list )
        problem = "the telephone number authorization list cannot be read";
}

std::vector<std::string> tool::TnList::lines() const
{
    std::vector<std::string> lines;
    for( PB_INT index = 0; list && index < cryX509TNAuthListEntriesLength( list.get() ); index++ )
        lines.push_back( entryText( pb::adopt( cryX509TNAuthListEntryAt( list.get(), index ) ).get() ) );
    return lines;
}
