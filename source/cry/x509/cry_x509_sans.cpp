#include <cry/internal/cry_x509_decode.h>
#include <cry/internal/cry_x509_sans.h>
#include <in/in_dns_idna.h>
#include <pb/pb_dict.h>
#include <pb/published.hpp>
#include <pb/stored.hpp>

#include "x509/cry_x509_san.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <string_view>

struct CRY_X509_SANS : PB_OBJ
{
    PB_DICT                   *sans;   // each name, under an equal one
    pb::Published<PB_VECTOR *> vector; // the names in order, dropped with every edit
};

static constexpr auto sansFields = pb::fields<&CRY_X509_SANS::sans, &CRY_X509_SANS::vector>;
static constexpr auto sansOrder  = pb::someFields<&CRY_X509_SANS::sans>;

PB_SORT_OF_FIELDS( cry, X509Sans, CRY_X509_SANS, sans, sansFields, sansOrder )

// The dictionary of a set that may be edited.
static PB_DICT **writable( CRY_X509_SANS **sans )
{
    CRY_X509_SANS *target = pb::makeWritable( sans, cryX509SansCreateFrom );
    target->vector.clear();
    return &target->sans;
}

static PB_VECTOR *peekVector( CRY_X509_SANS *sans )
{
    return sans->vector.getOrMake( [sans] { return pbDictValuesVector( sans->sans ); } );
}

CRY_X509_SANS *cryX509SansCreate()
{
    CRY_X509_SANS *sans = pb::create<CRY_X509_SANS>();
    sans->sans          = pbDictCreate();
    return sans;
}

CRY_X509_SANS *cryX509SansCreateFrom( CRY_X509_SANS *source ) { return PB_CHECK( source ), pb::copyOf( sansFields, source ); }

PB_INT cryX509SansLength( CRY_X509_SANS *sans ) { return PB_CHECK( sans ), pbDictLength( sans->sans ); }

CRY_X509_SAN *cryX509SansAt( CRY_X509_SANS *sans, PB_INT index )
{
    return PB_CHECK( sans ), pb::shareOrNull( pb::peekAt<CRY_X509_SAN>( peekVector( sans ), index ) );
}

PB_VECTOR *cryX509SansVector( CRY_X509_SANS *sans ) { return PB_CHECK( sans ), pb::shareOrNull( peekVector( sans ) ); }

PB_BOOL cryX509SansHas( CRY_X509_SANS *sans, CRY_X509_SAN *san )
{
    PB_CHECK( sans );
    PB_CHECK( san );
    return pbDictHasObjKey( sans->sans, cryX509SanObj( san ) );
}

void cryX509SansSet( CRY_X509_SANS **sans, CRY_X509_SAN *san )
{
    PB_CHECK_HANDLE( sans );
    PB_CHECK( san );
    pbDictSetObjKey( writable( sans ), cryX509SanObj( san ), cryX509SanObj( san ) );
}

void cryX509SansDel( CRY_X509_SANS **sans, CRY_X509_SAN *san )
{
    PB_CHECK_HANDLE( sans );
    PB_CHECK( san );
    pbDictDelObjKey( writable( sans ), cryX509SanObj( san ) );
}

void cryX509SansInclude( CRY_X509_SANS **sans, CRY_X509_SANS *src )
{
    PB_CHECK_HANDLE( sans );
    PB_CHECK( src );
    // Both may be the same object.
    pb::Ref<PB_DICT> added = pb::share( src->sans );
    pbDictInclude( writable( sans ), added.get() );
}

void cryX509SansClear( CRY_X509_SANS **sans ) { PB_CHECK_HANDLE( sans ), pbDictClear( writable( sans ) ); }

static PB_DICT *dictOf( PB_VECTOR *vec )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    for( CRY_X509_SAN *san : pb::each<CRY_X509_SAN>( vec ) )
        pbDictSetObjKey( dict.handle(), cryX509SanObj( san ), cryX509SanObj( san ) );
    return dict.take();
}

void cryX509SansSetVector( CRY_X509_SANS **sans, PB_VECTOR *vec )
{
    PB_CHECK_HANDLE( sans );
    PB_CHECK( pbVectorContainsOnly( vec, cryX509SanSort() ) );
    pb::Ref<PB_DICT> dict = pb::adopt( dictOf( vec ) );
    pb::assign( *writable( sans ), dict.get() );
}

PB_BOOL cryX509SansHasMatch( CRY_X509_SANS *sansA, CRY_X509_SANS *sansB, PB_BOOL wildcard )
{
    PB_CHECK( sansA );
    PB_CHECK( sansB );
    bool       isFewer = pbDictLength( sansA->sans ) < pbDictLength( sansB->sans );
    PB_VECTOR *few     = peekVector( isFewer ? sansA : sansB );
    PB_VECTOR *many    = peekVector( isFewer ? sansB : sansA );

    // Ordered sets, since names that a certificate chooses cannot make their lookups slow.
    pb::StdSet<std::string_view> names, rests, covered;
    for( CRY_X509_SAN *san : pb::each<CRY_X509_SAN>( few ) )
    {
        const cry::x509::SanForms &forms = cry::x509::forms( san );
        names.insert( forms.name );
        if( wildcard && !forms.rest.empty() )
            rests.insert( forms.rest );
        if( wildcard && !forms.covered.empty() )
            covered.insert( forms.covered );
    }
    for( CRY_X509_SAN *san : pb::each<CRY_X509_SAN>( many ) )
    {
        // The sets hold no empty text, which stands for a form that does not exist.
        const cry::x509::SanForms &forms = cry::x509::forms( san );
        if( names.contains( forms.name ) || rests.contains( forms.covered ) || covered.contains( forms.rest ) )
            return PB_TRUE;
    }
    return PB_FALSE;
}

namespace
{

// The name under which a certificate's DNS name is kept; null if it is not a domain name. Folding
// turns some names into other domains, for example sharp s into ss; those stay as they are.
pb::Ref<PB_STRING> tryNormalize( PB_STRING *name )
{
    pb::Ref<PB_STRING> unicode = pb::adopt( inDnsIdnaDomainNameToUnicode( name ) );
    if( !unicode )
        return {};
    pb::Ref<PB_STRING> folded = pb::adopt( pbStringToCaseFold( unicode.get() ) );
    for( const pb::Ref<PB_STRING> &form : { folded, unicode } )
    {
        if( inDnsIdnaDomainNameEquals( form.get(), name ) )
            return form;
    }
    return pb::share( name );
}

pb::Ref<CRY_X509_SAN> tryReadDnsName( const ASN1_IA5STRING *text )
{
    pb::Ref<PB_STRING> name       = pb::adopt( text ? cry___X509TryDecodeAsn1String( text ) : nullptr );
    pb::Ref<PB_STRING> normalized = name ? tryNormalize( name.get() ) : name;
    return pb::adopt( normalized ? cryX509SanCreateDnsName( normalized.get() ) : nullptr );
}

pb::Ref<CRY_X509_SAN> tryReadIpAddress( const ASN1_OCTET_STRING *octets )
{
    const unsigned char *bytes  = octets ? ASN1_STRING_get0_data( octets ) : nullptr;
    int                  length = bytes ? ASN1_STRING_length( octets ) : 0;
    pb::Ref<IN_ADDRESS>  ina    = pb::adopt( length == 4 ? inAddressCreateV4( bytes ) : length == 16 ? inAddressCreateV6( bytes ) : nullptr );
    return pb::adopt( ina ? cryX509SanCreateIpAddress( ina.get() ) : nullptr );
}

pb::Ref<CRY_X509_SAN> tryRead( const GENERAL_NAME *name )
{
    switch( name ? name->type : -1 )
    {
    case GEN_DNS:
        return tryReadDnsName( name->d.dNSName );
    case GEN_IPADD:
        return tryReadIpAddress( name->d.iPAddress );
    default:
        return {};
    }
}

}

CRY_X509_SANS *cry___X509SansCreateFromOpensslSubjectAltNames( GENERAL_NAMES *gn )
{
    PB_CHECK( gn );
    openssl::ErrorMark     detour;
    pb::Ref<CRY_X509_SANS> sans = pb::adopt( cryX509SansCreate() );
    for( int index = 0; index < sk_GENERAL_NAME_num( gn ); index++ )
    {
        if( pb::Ref<CRY_X509_SAN> san = tryRead( sk_GENERAL_NAME_value( gn, index ) ) )
            cryX509SansSet( sans.handle(), san.get() );
    }
    return sans.take();
}

PB_STORE *cryX509SansStore( CRY_X509_SANS *sans ) { return PB_CHECK( sans ), pb::storeOfEach( peekVector( sans ), cryX509SanStore ); }

CRY_X509_SANS *cryX509SansRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<PB_VECTOR> vec  = pb::adopt( pb::restoreEach( store, cryX509SanTryRestore ) );
    CRY_X509_SANS     *sans = pb::create<CRY_X509_SANS>();
    sans->sans              = dictOf( vec.get() );
    return sans;
}
