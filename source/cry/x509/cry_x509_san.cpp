#include "x509/cry_x509_san.hpp"

#include <in/in_dns_idna.h>
#include <in/internal/in_dns_idna.h>
#include <pb/published.hpp>
#include <pb/stored.hpp>

using cry::x509::SanForms;

template<>
struct pb::Field<SanForms *>
{
    static void release( SanForms *&forms )
    {
        pb::destroy( forms );
        pb::setPoison( forms );
    }
};

struct CRY_X509_SAN : PB_OBJ
{
    CRY_X509_SAN_TYPE         type;
    PB_STRING                *dnsName;
    IN_ADDRESS               *ipAddress;
    pb::Published<SanForms *> forms;
};

static constexpr auto sanFields = pb::fields<&CRY_X509_SAN::type, &CRY_X509_SAN::dnsName, &CRY_X509_SAN::ipAddress, &CRY_X509_SAN::forms>;
static constexpr auto sanOrder  = pb::someFields<&CRY_X509_SAN::type, &CRY_X509_SAN::dnsName, &CRY_X509_SAN::ipAddress>;

PB_SORT_OF_FIELDS( cry, X509San, CRY_X509_SAN, san, sanFields, sanOrder )

CRY_X509_SAN *cryX509SanCreateDnsName( PB_STRING *idn )
{
    PB_CHECK( inDnsIdnaDomainNameOk( idn ) );
    CRY_X509_SAN *san = pb::create<CRY_X509_SAN>();
    san->type         = CRY_X509_SAN_TYPE_DNS_NAME;
    san->dnsName      = pb::shareOrNull( idn );
    return san;
}

CRY_X509_SAN *cryX509SanCreateIpAddress( IN_ADDRESS *ina )
{
    PB_CHECK( ina );
    CRY_X509_SAN *san = pb::create<CRY_X509_SAN>();
    san->type         = CRY_X509_SAN_TYPE_IP_ADDRESS;
    san->ipAddress    = pb::shareOrNull( ina );
    return san;
}

static CRY_X509_SAN *tryCreateDnsName( PB_STRING *name ) { return inDnsIdnaDomainNameOk( name ) ? cryX509SanCreateDnsName( name ) : nullptr; }

CRY_X509_SAN *cryX509SanTryCreateFromHost( PB_STRING *host )
{
    PB_CHECK( host );
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromHost( host ) );
    return ina ? cryX509SanCreateIpAddress( ina.get() ) : tryCreateDnsName( host );
}

CRY_X509_SAN_TYPE cryX509SanType( CRY_X509_SAN *san ) { return PB_CHECK( san ), san->type; }

PB_STRING *cryX509SanDnsName( CRY_X509_SAN *san ) { return PB_CHECK( san ), pb::shareOrNull( san->dnsName ); }

IN_ADDRESS *cryX509SanIpAddress( CRY_X509_SAN *san ) { return PB_CHECK( san ), pb::shareOrNull( san->ipAddress ); }

// A name without its first label; null if it has only one label.
static pb::Ref<PB_STRING> withoutFirstLabel( PB_STRING *name )
{
    pb::Ref<PB_VECTOR> labels = pb::adopt( in___DnsIdnaLabelsTrySplit( name ) );
    if( pbVectorLength( labels.get() ) < 2 )
        return {};
    pbVectorDelObjAt( labels.handle(), 0 );
    return pb::adopt( in___DnsIdnaLabelsCompose( labels.get() ) );
}

// A name without the "*." that it begins with; null if it does not begin so.
static pb::Ref<PB_STRING> withoutWildcard( PB_STRING *name )
{
    if( !pbStringBeginsWithCstr( name, "*.", -1 ) )
        return {};
    return pb::adopt( pbStringCreateFromInner( name, 2, pbStringLength( name ) - 2 ) );
}

// If the name has only one label, the roles cannot be exchanged with success either: a wildcard of
// one label covers nothing.
static bool covers( PB_STRING *wildcard, PB_STRING *name )
{
    pb::Ref<PB_STRING> covered = withoutWildcard( wildcard );
    pb::Ref<PB_STRING> rest    = covered ? withoutFirstLabel( name ) : pb::Ref<PB_STRING>();
    return rest && inDnsIdnaDomainNameEquals( covered.get(), rest.get() );
}

PB_BOOL cryX509SanEqualsWildcard( CRY_X509_SAN *sanA, CRY_X509_SAN *sanB, PB_BOOL wildcard )
{
    PB_CHECK( sanA );
    PB_CHECK( sanB );
    if( sanA->type != sanB->type )
        return PB_FALSE;
    if( sanA->type == CRY_X509_SAN_TYPE_IP_ADDRESS )
        return inAddressEquals( sanA->ipAddress, sanB->ipAddress );
    PB_CHECK( sanA->type == CRY_X509_SAN_TYPE_DNS_NAME );
    if( inDnsIdnaDomainNameEquals( sanA->dnsName, sanB->dnsName ) )
        return PB_TRUE;
    return wildcard && ( covers( sanA->dnsName, sanB->dnsName ) || covers( sanB->dnsName, sanA->dnsName ) );
}

// Equal for two texts exactly if inDnsIdnaDomainNameEquals finds them equal: it compares ASCII
// forms without regard to case, but texts that are not domain names as they are written. No ASCII
// form has an equals sign.
static pb::StdString<> formOf( PB_STRING *name )
{
    pb::Ref<PB_STRING> ascii = pb::adopt( inDnsIdnaDomainNameToAscii( name ) );
    PB_INT             length;
    const char        *text = pbStringPeekUtf8( ascii ? ascii.get() : name, &length );
    pb::StdString<>    form( text, (size_t)length );
    if( !ascii )
        return "=" + form;
    for( char &c : form )
        c = c >= 'A' && c <= 'Z' ? (char)( c + 'a' - 'A' ) : c;
    return form;
}

static SanForms *makeForms( CRY_X509_SAN *san )
{
    SanForms *forms = pb::make<SanForms>();
    if( san->ipAddress )
    {
        // No form of a DNS name begins with a colon.
        pb::Ref<PB_BUFFER> binary = pb::adopt( inAddressToBinary( san->ipAddress ) );
        forms->name.assign( ":" ).append( (const char *)pbBufferBytes( binary.get() ), (size_t)pbBufferLength( binary.get() ) );
        return forms;
    }
    forms->name = formOf( san->dnsName );
    size_t stop = forms->name.find( '.' );
    if( stop != forms->name.npos )
    {
        // The rest of a domain name is one too, with the rest of the form, unless it is an IPv4
        // address, which ends with a digit.
        bool maybeAddress = forms->name.back() >= '0' && forms->name.back() <= '9';
        forms->rest       = maybeAddress ? formOf( withoutFirstLabel( san->dnsName ).get() ) : forms->name.substr( stop + 1 );
    }
    if( pb::Ref<PB_STRING> covered = withoutWildcard( san->dnsName ) )
        forms->covered = formOf( covered.get() );
    return forms;
}

const SanForms &cry::x509::forms( CRY_X509_SAN *san )
{
    return *san->forms.getOrMake( [san] { return makeForms( san ); } );
}

PB_STORE *cryX509SanStore( CRY_X509_SAN *san )
{
    PB_CHECK( san );
    return pb::StoreWriter()
        .value( "type", pb::adopt( cryX509SanTypeToString( san->type ) ) )
        .value( "dnsName", san->dnsName )
        .value( "ipAddress", san->ipAddress, inAddressToString )
        .take();
}

CRY_X509_SAN *cryX509SanTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<PB_STRING> type = pb::adopt( pbStoreValueCstr( store, "type", -1 ) );
    if( !type )
        return nullptr;
    switch( cryX509SanTypeFromString( type.get() ) )
    {
    case CRY_X509_SAN_TYPE_DNS_NAME: {
        pb::Ref<PB_STRING> name = pb::adopt( pbStoreValueCstr( store, "dnsName", -1 ) );
        return name ? tryCreateDnsName( name.get() ) : nullptr;
    }
    case CRY_X509_SAN_TYPE_IP_ADDRESS: {
        pb::Ref<PB_STRING>  text = pb::adopt( pbStoreValueCstr( store, "ipAddress", -1 ) );
        pb::Ref<IN_ADDRESS> ina  = pb::adopt( text ? inAddressTryCreateFromString( text.get() ) : nullptr );
        return ina ? cryX509SanCreateIpAddress( ina.get() ) : nullptr;
    }
    }
    return nullptr;
}
