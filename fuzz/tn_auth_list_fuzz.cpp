// Telephone number authorization lists: the list has the entries that the ASN.1 has, and comes back
// from its store.
#include "openssl.hpp"

#include <cry/internal/cry_x509_tn_auth_list.h>
#include <memory>
#include <pb/ref.hpp>

using namespace fuzz;

namespace
{

template<auto free>
struct Freer
{
    void operator()( auto *object ) const { free( object ); }
};
using Asn1 = std::unique_ptr<TNAuthorizationList, Freer<TNAuthorizationList_free>>;

// At these counts the library aborts on purpose.
bool hasLargeCount( TNAuthorizationList *list )
{
    for( int index = 0; index < sk_TNEntry_num( list ); index++ )
    {
        const TNEntry *entry = sk_TNEntry_value( list, index );
        int64_t        count;
        if( entry->type == 1 && ( !ASN1_INTEGER_get_int64( &count, entry->d.range->count ) || count < 0 || count > INT32_MAX ) )
            return true;
    }
    return false;
}

// A certificate with nothing but this extension.
std::unique_ptr<X509, Freer<X509_free>> withExtension( std::string_view value )
{
    std::unique_ptr<X509, Freer<X509_free>>                           x509( X509_new() );
    std::unique_ptr<ASN1_OBJECT, Freer<ASN1_OBJECT_free>>             oid( OBJ_txt2obj( "1.3.6.1.5.5.7.1.26", 1 ) );
    std::unique_ptr<ASN1_OCTET_STRING, Freer<ASN1_OCTET_STRING_free>> octets( ASN1_OCTET_STRING_new() );
    ASN1_OCTET_STRING_set( octets.get(), (const unsigned char *)value.data(), (int)value.size() );
    std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION_free>> extension( X509_EXTENSION_create_by_OBJ( nullptr, oid.get(), 0, octets.get() ) );
    FUZZ_CHECK( X509_add_ext( x509.get(), extension.get(), -1 ) == 1 );
    return x509;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors          clean;
    std::string_view     value = size ? std::string_view( (const char *)bytes, size ) : "";
    const unsigned char *at    = bytes;
    Asn1                 asn1( size ? d2i_TNAuthorizationList( nullptr, &at, (long)size ) : nullptr );
    ERR_clear_error();
    if( asn1 && hasLargeCount( asn1.get() ) )
        return 0;
    auto x509 = withExtension( value );
    auto list = pb::adopt( cry___X509TNAuthListCreateFromOpensslX509( x509.get() ) );
    FUZZ_CHECK( !ERR_peek_error() );
    FUZZ_CHECK( (bool)list == (bool)asn1 );
    if( !list )
        return 0;
    FUZZ_CHECK( cryX509TNAuthListEntriesLength( list.get() ) == sk_TNEntry_num( asn1.get() ) );
    for( int index = 0; index < sk_TNEntry_num( asn1.get() ); index++ )
    {
        auto entry = pb::adopt( cryX509TNAuthListEntryAt( list.get(), index ) );
        FUZZ_CHECK( cryX509TNAuthListEntryType( entry.get() ) == sk_TNEntry_value( asn1.get(), index )->type );
        FUZZ_CHECK( cryX509TNAuthListEntryHasCount( entry.get() ) == ( cryX509TNAuthListEntryType( entry.get() ) == 1 ) );
    }
    auto store = pb::adopt( cryX509TNAuthListStore( list.get() ) );
    FUZZ_CHECK( cryX509TNAuthListEquals( pb::adopt( cryX509TNAuthListRestore( store.get() ) ).get(), list.get() ) );
    return 0;
}
