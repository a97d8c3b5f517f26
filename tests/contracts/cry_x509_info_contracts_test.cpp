#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_info.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

#include <cry/cry.h>

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_info.cpp";

namespace
{

// The checks of a field's getter, Has and Del.
template<class T>
void expectFieldChecks( T ( *get )( CRY_X509_INFO * ), PB_BOOL ( *has )( CRY_X509_INFO * ), void ( *del )( CRY_X509_INFO ** ) )
{
    CRY_X509_INFO *none = nullptr;
    EXPECT_ABORT( file, "info", get( nullptr ) );
    EXPECT_ABORT( file, "info", has( nullptr ) );
    EXPECT_ABORT( file, "info", del( nullptr ) );
    EXPECT_ABORT( file, "*info", del( &none ) );
}

// The checks of a setter; null is the last thing that it looks at.
template<class T>
void expectSetterChecks( void ( *set )( CRY_X509_INFO **, T * ), const char *value )
{
    CRY_X509_INFO         *none = nullptr;
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509InfoCreate() );
    EXPECT_ABORT( file, "info", set( nullptr, nullptr ) );
    EXPECT_ABORT( file, "*info", set( &none, nullptr ) );
    EXPECT_ABORT( file, value, set( info.handle(), nullptr ) );
}

void expectFlagsChecks( void ( *set )( CRY_X509_INFO **, PB_INT ) )
{
    CRY_X509_INFO *none = nullptr;
    EXPECT_ABORT( file, "info", set( nullptr, -1 ) );
    EXPECT_ABORT( file, "*info", set( &none, -1 ) );
}

}

#define EXPECT_FIELD_CHECKS( Name ) expectFieldChecks( cryX509Info##Name, cryX509InfoHas##Name, cryX509InfoDel##Name )

TEST( CryX509InfoContracts, Objects )
{
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509InfoCreate() );
    EXPECT_STANDARD_CHECKS( file, cry, X509Info, CRY_X509_INFO, "info", info.get() );
    EXPECT_ABORT( file, "source", cryX509InfoCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "x509", cry___X509InfoCreateFromOpensslX509( nullptr ) );
    EXPECT_ABORT( file, "info", cryX509InfoStore( nullptr ) );
    EXPECT_ABORT( file, "store", cryX509InfoRestore( nullptr ) );
    EXPECT_ABORT( file, "name", cryX509ValidateX509Name( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_certificate.cpp", "cert", cryX509CertificateInfo( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_certificates.cpp", "certs", cry___X509CertificatesStoreSubjects( nullptr ) );
}

TEST( CryX509InfoContracts, Fields )
{
    EXPECT_FIELD_CHECKS( Subject );
    EXPECT_FIELD_CHECKS( Issuer );
    EXPECT_FIELD_CHECKS( SerialNumber );
    EXPECT_FIELD_CHECKS( ValidFrom );
    EXPECT_FIELD_CHECKS( ValidUntil );
    EXPECT_FIELD_CHECKS( BasicConstraints );
    EXPECT_FIELD_CHECKS( KeyUsage );
    EXPECT_FIELD_CHECKS( ExtendedKeyUsage );
    EXPECT_FIELD_CHECKS( NetscapeCertType );
    EXPECT_FIELD_CHECKS( Sans );
}

TEST( CryX509InfoContracts, Setters )
{
    expectSetterChecks( cryX509InfoSetSubject, "name" );
    expectSetterChecks( cryX509InfoSetIssuer, "name" );
    expectSetterChecks( cryX509InfoSetSerialNumber, "serialNumber" );
    expectSetterChecks( cryX509InfoSetValidFrom, "validFrom" );
    expectSetterChecks( cryX509InfoSetValidUntil, "validUntil" );
    expectSetterChecks( cryX509InfoSetBasicConstraints, "bc" );
    expectSetterChecks( cryX509InfoSetSans, "sans" );
    expectFlagsChecks( cryX509InfoSetKeyUsage );
    expectFlagsChecks( cryX509InfoSetExtendedKeyUsage );
    expectFlagsChecks( cryX509InfoSetNetscapeCertType );
}

TEST( CryX509InfoContracts, ANetscapeCertificateTypeNeedsAlternativeNames )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( store.handle(), "netscapeCertType", -1, str( "" ).get() );
    EXPECT_ABORT( "source/cry/x509/cry_x509_sans.cpp", "store", cryX509InfoRestore( store.get() ) );
    pbStoreSetValueCstr( store.handle(), "sans", -1, str( "text" ).get() );
    EXPECT_ABORT( "source/cry/x509/cry_x509_sans.cpp", "store", cryX509InfoRestore( store.get() ) );
    pb::Ref<PB_STORE> names = pb::adopt( pbStoreCreateArray() );
    pbStoreSetStoreCstr( store.handle(), "sans", -1, names.get() );
    EXPECT_FALSE( abortOf( [&] { pb::adopt( cryX509InfoRestore( store.get() ) ); } ).happened );
}
