#include <cry/internal/cry_x509_basic_constraints.h>
#include <cry/internal/cry_x509_decode.h>
#include <cry/internal/cry_x509_extended_key_usage.h>
#include <cry/internal/cry_x509_info.h>
#include <cry/internal/cry_x509_key_usage.h>
#include <cry/internal/cry_x509_netscape_cert_type.h>
#include <cry/internal/cry_x509_sans.h>
#include <pb/stored.hpp>

#include "common/cry_ossl.hpp"

#include <openssl_module/internal/openssl_errors.hpp>

namespace
{

// The flags of an extension that is present may be 0.
struct Flags
{
    PB_BOOL present;
    PB_INT  value;
};

}

template<>
struct pb::Field<Flags> : pb::PlainField<Flags>
{
};

struct CRY_X509_INFO : PB_OBJ
{
    PB_STRING                  *subject;
    PB_STRING                  *issuer;
    BN_INT                     *serialNumber;
    PB_TIME                    *validFrom;
    PB_TIME                    *validUntil;
    CRY_X509_BASIC_CONSTRAINTS *basicConstraints;
    Flags                       keyUsage;
    Flags                       extendedKeyUsage;
    Flags                       netscapeCertType;
    CRY_X509_SANS              *sans;
};

static constexpr auto infoFields = pb::fields<&CRY_X509_INFO::subject, &CRY_X509_INFO::issuer, &CRY_X509_INFO::serialNumber,
    &CRY_X509_INFO::validFrom, &CRY_X509_INFO::validUntil, &CRY_X509_INFO::basicConstraints, &CRY_X509_INFO::keyUsage,
    &CRY_X509_INFO::extendedKeyUsage, &CRY_X509_INFO::netscapeCertType, &CRY_X509_INFO::sans>;

PB_SORT_DEFINE( cry, X509Info, CRY_X509_INFO, PB_FREE_FIELDS( CRY_X509_INFO, info, infoFields ) )

static CRY_X509_INFO *writable( CRY_X509_INFO **info ) { return pb::makeWritable( info, cryX509InfoCreateFrom ); }

// An extension that is missing, broken or there more than once is null.
template<class T>
static cry::ossl::Ptr<T> extensionOf( const X509 *x509, int nid )
{
    return cry::ossl::Ptr<T>( static_cast<T *>( X509_get_ext_d2i( x509, nid, nullptr, nullptr ) ) );
}

CRY_X509_INFO *cryX509InfoCreate() { return pb::create<CRY_X509_INFO>(); }

CRY_X509_INFO *cryX509InfoCreateFrom( CRY_X509_INFO *source ) { return PB_CHECK( source ), pb::copyOf( infoFields, source ); }

CRY_X509_INFO *cry___X509InfoCreateFromOpensslX509( const X509 *x509 )
{
    PB_CHECK( x509 );
    openssl::ErrorMark detour;
    CRY_X509_INFO     *info = cryX509InfoCreate();
    info->subject           = cry___X509TryDecodeX509Name( X509_get_subject_name( x509 ) );
    info->issuer            = cry___X509TryDecodeX509Name( X509_get_issuer_name( x509 ) );
    info->serialNumber      = cry___X509TryDecodeAsn1Integer( X509_get0_serialNumber( x509 ) );
    info->validFrom         = cry___X509TryDecodeAsn1Time( X509_get0_notBefore( x509 ) );
    info->validUntil        = cry___X509TryDecodeAsn1Time( X509_get0_notAfter( x509 ) );
    if( auto bcons = extensionOf<BASIC_CONSTRAINTS>( x509, NID_basic_constraints ) )
        info->basicConstraints = cry___X509BasicConstraintsCreateFromOpensslBasicConstraints( bcons.get() );
    if( auto usage = extensionOf<ASN1_BIT_STRING>( x509, NID_key_usage ) )
        info->keyUsage = { PB_TRUE, cry___X509KeyUsageFromOpensslKeyUsage( usage.get() ) };
    if( auto extusage = extensionOf<EXTENDED_KEY_USAGE>( x509, NID_ext_key_usage ) )
        info->extendedKeyUsage = { PB_TRUE, cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage( extusage.get() ) };
    if( auto nscert = extensionOf<ASN1_BIT_STRING>( x509, NID_netscape_cert_type ) )
        info->netscapeCertType = { PB_TRUE, cry___X509NetscapeCertTypeFromOpensslNetscapeCertType( nscert.get() ) };
    if( auto names = extensionOf<GENERAL_NAMES>( x509, NID_subject_alt_name ) )
        info->sans = cry___X509SansCreateFromOpensslSubjectAltNames( names.get() );
    return info;
}

PB_BOOL cryX509ValidateX509Name( PB_STRING *name ) { return PB_CHECK( name ), PB_TRUE; }

PB_STRING *cryX509InfoSubject( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->subject ); }
PB_BOOL    cryX509InfoHasSubject( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->subject != nullptr; }
void       cryX509InfoSetSubject( CRY_X509_INFO **info, PB_STRING *subject )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( cryX509ValidateX509Name( subject ) ), pb::assign( writable( info )->subject, subject );
}
void cryX509InfoDelSubject( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->subject ); }

PB_STRING *cryX509InfoIssuer( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->issuer ); }
PB_BOOL    cryX509InfoHasIssuer( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->issuer != nullptr; }
void       cryX509InfoSetIssuer( CRY_X509_INFO **info, PB_STRING *issuer )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( cryX509ValidateX509Name( issuer ) ), pb::assign( writable( info )->issuer, issuer );
}
void cryX509InfoDelIssuer( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->issuer ); }

BN_INT *cryX509InfoSerialNumber( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->serialNumber ); }
PB_BOOL cryX509InfoHasSerialNumber( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->serialNumber != nullptr; }
void    cryX509InfoSetSerialNumber( CRY_X509_INFO **info, BN_INT *serialNumber )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( serialNumber ), pb::assign( writable( info )->serialNumber, serialNumber );
}
void cryX509InfoDelSerialNumber( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->serialNumber ); }

PB_TIME *cryX509InfoValidFrom( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->validFrom ); }
PB_BOOL  cryX509InfoHasValidFrom( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->validFrom != nullptr; }
void     cryX509InfoSetValidFrom( CRY_X509_INFO **info, PB_TIME *validFrom )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( validFrom ), pb::assign( writable( info )->validFrom, validFrom );
}
void cryX509InfoDelValidFrom( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->validFrom ); }

PB_TIME *cryX509InfoValidUntil( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->validUntil ); }
PB_BOOL  cryX509InfoHasValidUntil( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->validUntil != nullptr; }
void     cryX509InfoSetValidUntil( CRY_X509_INFO **info, PB_TIME *validUntil )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( validUntil ), pb::assign( writable( info )->validUntil, validUntil );
}
void cryX509InfoDelValidUntil( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->validUntil ); }

CRY_X509_BASIC_CONSTRAINTS *cryX509InfoBasicConstraints( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->basicConstraints ); }
PB_BOOL                     cryX509InfoHasBasicConstraints( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->basicConstraints != nullptr; }
void                        cryX509InfoSetBasicConstraints( CRY_X509_INFO **info, CRY_X509_BASIC_CONSTRAINTS *bc )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( bc ), pb::assign( writable( info )->basicConstraints, bc );
}
void cryX509InfoDelBasicConstraints( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->basicConstraints ); }

CRY_X509_KEY_USAGE cryX509InfoKeyUsage( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->keyUsage.value; }
PB_BOOL            cryX509InfoHasKeyUsage( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->keyUsage.present; }
void               cryX509InfoSetKeyUsage( CRY_X509_INFO **info, CRY_X509_KEY_USAGE flags )
{
    PB_CHECK_HANDLE( info ), writable( info )->keyUsage = { PB_TRUE, cryX509KeyUsageNormalize( flags ) };
}
void cryX509InfoDelKeyUsage( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), writable( info )->keyUsage = {}; }

CRY_X509_EXTENDED_KEY_USAGE cryX509InfoExtendedKeyUsage( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->extendedKeyUsage.value; }
PB_BOOL                     cryX509InfoHasExtendedKeyUsage( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->extendedKeyUsage.present; }
void                        cryX509InfoSetExtendedKeyUsage( CRY_X509_INFO **info, CRY_X509_EXTENDED_KEY_USAGE flags )
{
    PB_CHECK_HANDLE( info ), writable( info )->extendedKeyUsage = { PB_TRUE, cryX509ExtendedKeyUsageNormalize( flags ) };
}
void cryX509InfoDelExtendedKeyUsage( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), writable( info )->extendedKeyUsage = {}; }

CRY_X509_NETSCAPE_CERT_TYPE cryX509InfoNetscapeCertType( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->netscapeCertType.value; }
PB_BOOL                     cryX509InfoHasNetscapeCertType( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->netscapeCertType.present; }
void                        cryX509InfoSetNetscapeCertType( CRY_X509_INFO **info, CRY_X509_NETSCAPE_CERT_TYPE flags )
{
    PB_CHECK_HANDLE( info ), writable( info )->netscapeCertType = { PB_TRUE, cryX509NetscapeCertTypeNormalize( flags ) };
}
void cryX509InfoDelNetscapeCertType( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), writable( info )->netscapeCertType = {}; }

CRY_X509_SANS *cryX509InfoSans( CRY_X509_INFO *info ) { return PB_CHECK( info ), pb::shareOrNull( info->sans ); }
PB_BOOL        cryX509InfoHasSans( CRY_X509_INFO *info ) { return PB_CHECK( info ), info->sans != nullptr; }
void           cryX509InfoSetSans( CRY_X509_INFO **info, CRY_X509_SANS *sans )
{
    PB_CHECK_HANDLE( info ), PB_CHECK( sans ), pb::assign( writable( info )->sans, sans );
}
void cryX509InfoDelSans( CRY_X509_INFO **info ) { PB_CHECK_HANDLE( info ), pb::clear( writable( info )->sans ); }

static pb::Ref<PB_STRING> textOf( const Flags &flags, PB_STRING *( *toString )( PB_INT ) )
{
    return pb::adopt( flags.present ? toString( flags.value ) : nullptr );
}

PB_STORE *cryX509InfoStore( CRY_X509_INFO *info )
{
    PB_CHECK( info );
    return pb::StoreWriter()
        .value( "subject", info->subject )
        .value( "issuer", info->issuer )
        .value( "serialNumber", info->serialNumber, bnIntConvertToDecimalString )
        .value( "validFrom", info->validFrom, pbTimeToString )
        .value( "validUntil", info->validUntil, pbTimeToString )
        .sub( "basicConstraints", info->basicConstraints, cryX509BasicConstraintsStore )
        .value( "keyUsage", textOf( info->keyUsage, cryX509KeyUsageToString ) )
        .value( "extendedKeyUsage", textOf( info->extendedKeyUsage, cryX509ExtendedKeyUsageToString ) )
        .sub( "sans", info->sans, cryX509SansStore )
        .value( "netscapeCertType", textOf( info->netscapeCertType, cryX509NetscapeCertTypeToString ) )
        .take();
}

static PB_STRING *validName( PB_STRING *name ) { return cryX509ValidateX509Name( name ) ? pb::shareOrNull( name ) : nullptr; }

static void readFlags( PB_STORE *store, const char *key, Flags &flags, PB_INT ( *fromString )( PB_STRING * ) )
{
    if( pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) ) )
        flags = { PB_TRUE, fromString( text.get() ) };
}

CRY_X509_INFO *cryX509InfoRestore( PB_STORE *store )
{
    PB_CHECK( store );
    CRY_X509_INFO *info = cryX509InfoCreate();
    pb::StoreReader( store )
        .value( "subject", info->subject, validName )
        .value( "issuer", info->issuer, validName )
        .value( "serialNumber", info->serialNumber, bnIntTryCreateFromDecimalString )
        .value( "validFrom", info->validFrom, pbTimeTryCreateFromString )
        .value( "validUntil", info->validUntil, pbTimeTryCreateFromString )
        .sub( "basicConstraints", info->basicConstraints, cryX509BasicConstraintsRestore );
    readFlags( store, "keyUsage", info->keyUsage, cryX509KeyUsageFromString );
    readFlags( store, "extendedKeyUsage", info->extendedKeyUsage, cryX509ExtendedKeyUsageFromString );
    readFlags( store, "netscapeCertType", info->netscapeCertType, cryX509NetscapeCertTypeFromString );
    // It is intended that the names are read with the Netscape certificate type only, and that a
    // store without them aborts then.
    if( info->netscapeCertType.present )
        info->sans = cryX509SansRestore( pb::adopt( pbStoreStoreCstr( store, "sans", -1 ) ).get() );
    return info;
}
