#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_x509_tn_auth_list.h>

#include "cry/pkcs12/files.hpp"
#include "support/certificates.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char entryFile[] = "source/cry/x509/cry_x509_tn_auth_list_entry.cpp";
static constexpr char listFile[]  = "source/cry/x509/cry_x509_tn_auth_list.cpp";

TEST( CryX509TNAuthListEntryContracts, StandardFunctions )
{
    auto entry = pb::adopt( cry___X509TNAuthListEntryCreate( 0 ) );
    EXPECT_STANDARD_CHECKS( entryFile, cry, X509TNAuthListEntry, CRY_X509_TN_AUTH_LIST_ENTRY, "entry", entry.get() );
}

TEST( CryX509TNAuthListEntryContracts, Creation )
{
    static constexpr char type[] = "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )";
    pb::Ref<PB_STRING>    tn     = str( "1" );
    for( PB_INT et : { (PB_INT)-1, (PB_INT)3, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( entryFile, type, cry___X509TNAuthListEntryCreate( et ) );
    EXPECT_ABORT( entryFile, "spc", cryX509TNAuthListEntryCreateServiceProviderCode( nullptr ) );
    EXPECT_ABORT( entryFile, "tn", cryX509TNAuthListEntryCreateTelephoneNumber( nullptr ) );
    EXPECT_ABORT( entryFile, "tn", cryX509TNAuthListEntryCreateTelephoneNumberRange( nullptr, -1 ) );
    EXPECT_ABORT( entryFile, "count >= 0", cryX509TNAuthListEntryCreateTelephoneNumberRange( tn.get(), -1 ) );
    EXPECT_ABORT( entryFile, "count >= 0", cryX509TNAuthListEntryCreateTelephoneNumberRange( tn.get(), PB_INT_MIN ) );
    EXPECT_ABORT( entryFile, "source", cryX509TNAuthListEntryCreateFrom( nullptr ) );
    EXPECT_ABORT( entryFile, "store", cryX509TNAuthListEntryTryRestore( nullptr ) );
}

TEST( CryX509TNAuthListEntryContracts, Getters )
{
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryType( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryServiceProviderCode( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryHasServiceProviderCode( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryTelephoneNumber( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryHasTelephoneNumber( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryCount( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryHasCount( nullptr ) );
    EXPECT_ABORT( entryFile, "entry", cryX509TNAuthListEntryStore( nullptr ) );
}

TEST( CryX509TNAuthListEntryContracts, Edits )
{
    pb::Ref<CRY_X509_TN_AUTH_LIST_ENTRY> entry = pb::adopt( cry___X509TNAuthListEntryCreate( 0 ) );
    CRY_X509_TN_AUTH_LIST_ENTRY         *null  = nullptr;
    pb::Ref<PB_STRING>                   text  = str( "1" );
    for( CRY_X509_TN_AUTH_LIST_ENTRY **handle : { (CRY_X509_TN_AUTH_LIST_ENTRY **)nullptr, &null } )
    {
        const char *check = handle ? "*entry" : "entry";
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntrySetEntryType( handle, 7 ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntrySetServiceProviderCode( handle, nullptr ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntryDelServiceProviderCode( handle ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntrySetTelephoneNumber( handle, nullptr ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntryDelTelephoneNumber( handle ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntrySetCount( handle, -1 ) );
        EXPECT_ABORT( entryFile, check, cryX509TNAuthListEntryDelCount( handle ) );
    }
    EXPECT_ABORT( entryFile, "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )", cryX509TNAuthListEntrySetEntryType( entry.handle(), 3 ) );
    EXPECT_ABORT( entryFile, "spc", cryX509TNAuthListEntrySetServiceProviderCode( entry.handle(), nullptr ) );
    EXPECT_ABORT( entryFile, "tn", cryX509TNAuthListEntrySetTelephoneNumber( entry.handle(), nullptr ) );
    EXPECT_ABORT( entryFile, "count >= 0", cryX509TNAuthListEntrySetCount( entry.handle(), -1 ) );
}

TEST( CryX509TNAuthListContracts, StandardFunctions )
{
    auto list = pb::adopt( cryX509TNAuthListCreate() );
    EXPECT_STANDARD_CHECKS( listFile, cry, X509TNAuthList, CRY_X509_TN_AUTH_LIST, "list", list.get() );
    EXPECT_ABORT( listFile, "source", cryX509TNAuthListCreateFrom( nullptr ) );
    EXPECT_ABORT( listFile, "store", cryX509TNAuthListRestore( nullptr ) );
    EXPECT_ABORT( listFile, "x509", cry___X509TNAuthListCreateFromOpensslX509( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_certificate.cpp", "cert", cryX509CertificateTNAuthList( nullptr ) );
}

TEST( CryX509TNAuthListContracts, Entries )
{
    pb::Ref<CRY_X509_TN_AUTH_LIST>       list  = pb::adopt( cryX509TNAuthListCreate() );
    pb::Ref<CRY_X509_TN_AUTH_LIST_ENTRY> entry = pb::adopt( cry___X509TNAuthListEntryCreate( 0 ) );
    CRY_X509_TN_AUTH_LIST               *null  = nullptr;
    pb::Ref<PB_VECTOR>                   vec   = pb::adopt( pbVectorCreate() );
    EXPECT_ABORT( listFile, "list", cryX509TNAuthListEntriesLength( nullptr ) );
    EXPECT_ABORT( listFile, "list", cryX509TNAuthListEntryAt( nullptr, 0 ) );
    EXPECT_ABORT( listFile, "list", cryX509TNAuthListEntriesVector( nullptr ) );
    EXPECT_ABORT( listFile, "list", cryX509TNAuthListStore( nullptr ) );
    for( CRY_X509_TN_AUTH_LIST **handle : { (CRY_X509_TN_AUTH_LIST **)nullptr, &null } )
    {
        const char *check = handle ? "*list" : "list";
        EXPECT_ABORT( listFile, check, cryX509TNAuthListSetEntriesVector( handle, nullptr ) );
        EXPECT_ABORT( listFile, check, cryX509TNAuthListAppendEntry( handle, nullptr ) );
        EXPECT_ABORT( listFile, check, cryX509TNAuthListSetEntryAt( handle, 0, nullptr ) );
        EXPECT_ABORT( listFile, check, cryX509TNAuthListDelEntryAt( handle, 0 ) );
        EXPECT_ABORT( listFile, check, cryX509TNAuthListClearEntries( handle ) );
    }
    EXPECT_ABORT( listFile, "entry", cryX509TNAuthListAppendEntry( list.handle(), nullptr ) );
    EXPECT_ABORT( listFile, "entry", cryX509TNAuthListSetEntryAt( list.handle(), 0, nullptr ) );
    // Only an empty vector passes.
    pbVectorAppendObj( vec.handle(), entry.obj() );
    EXPECT_ABORT( listFile, "pbVectorContainsOnly( vec, cryX509TNAuthListSort() )", cryX509TNAuthListSetEntriesVector( list.handle(), vec.get() ) );
}

TEST( CryX509TNAuthListContracts, RangeCountsOfCertificates )
{
    for( const char *count : { "-1", "2147483648", "4294967296", "99999999999999999999" } )
    {
        std::string value = sequence( tlv( 0xA1, sequence( tlv( 0x16, "1" ) + integerDer( count ) ) ) );
        auto        cert  = certificate( makeCertificate(
            { .subject = "CN=telephone", .subjectKey = key( KeyKind::p256 ), .extensions = { { "1.3.6.1.5.5.7.1.26", "DER:" + hex( value ) } } } ) );
        EXPECT_ABORT( entryFile, "count >= 0", cryX509CertificateTNAuthList( cert.get() ) );
    }
}
