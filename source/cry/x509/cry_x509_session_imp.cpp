#include <cry/internal/cry_x509_session_imp.h>
#include <pb/sort.hpp>

#include "common/cry_ossl.hpp"
#include "x509/cry_x509_certificate_lookup.hpp"
#include "x509/cry_x509_session_imp.hpp"

struct CRY___X509_SESSION_IMP : PB_OBJ
{
    TR_STREAM              *trStream;
    CRY_X509_STACK_OPTIONS *options;
    CRY_X509_IDENTITY      *identity;
    CRY_X509_CERTIFICATES  *trustedCertificates;
    CRY_X509_SANS          *trustedSans;
    PB_SIGNAL              *stackIdentityChangedSignal;
    PB_SIGNAL              *stackTrustChangedSignal;
    PB_SIGNAL              *identityChangedSignal;
    PB_SIGNAL              *trustChangedSignal;
    X509_STORE             *intX509Store;
};

using Imp = CRY___X509_SESSION_IMP;

static constexpr auto impFields = pb::fields<&Imp::trStream, &Imp::options, &Imp::identity, &Imp::trustedCertificates, &Imp::trustedSans,
    &Imp::stackIdentityChangedSignal, &Imp::stackTrustChangedSignal, &Imp::identityChangedSignal, &Imp::trustChangedSignal, &Imp::intX509Store>;

static void freeImp( CRY___X509_SESSION_IMP *imp )
{
    PB_CHECK( imp );
    pbSignalDelSignal( imp->stackIdentityChangedSignal, imp->identityChangedSignal );
    pbSignalDelSignal( imp->stackTrustChangedSignal, imp->trustChangedSignal );
    impFields.release( imp );
}

PB_SORT_DEFINE( cry, ___X509SessionImp, CRY___X509_SESSION_IMP, .free = pb::slot<freeImp> )

CRY___X509_SESSION_IMP *cry___X509SessionImpCreate( CRY_X509_STACK_OPTIONS *options, CRY_X509_IDENTITY *ident,
    CRY_X509_CERTIFICATES *trustedCertificates, CRY_X509_SANS *trustedSans, X509_STORE *x509Store, PB_SIGNAL *identityChangedSignal,
    PB_SIGNAL *trustChangedSignal, TR_ANCHOR *anchor )
{
    PB_CHECK( options );
    PB_CHECK( trustedCertificates );
    PB_CHECK( x509Store );
    PB_CHECK( identityChangedSignal );
    PB_CHECK( trustChangedSignal );
    CRY___X509_SESSION_IMP *imp     = pb::create<CRY___X509_SESSION_IMP>();
    imp->trStream                   = trStreamCreateCstr( "CRY_X509_SESSION", -1 );
    imp->options                    = pb::shareOrNull( options );
    imp->identity                   = pb::shareOrNull( ident );
    imp->trustedCertificates        = pb::shareOrNull( trustedCertificates );
    imp->trustedSans                = pb::shareOrNull( trustedSans );
    imp->stackIdentityChangedSignal = pb::shareOrNull( identityChangedSignal );
    imp->stackTrustChangedSignal    = pb::shareOrNull( trustChangedSignal );
    imp->identityChangedSignal      = pbSignalCreate();
    imp->trustChangedSignal         = pbSignalCreate();
    imp->intX509Store               = x509Store;
    PB_CHECK( X509_STORE_up_ref( imp->intX509Store ) );
    pbSignalAddSignal( imp->stackIdentityChangedSignal, imp->identityChangedSignal );
    pbSignalAddSignal( imp->stackTrustChangedSignal, imp->trustChangedSignal );
    if( anchor )
        trAnchorComplete( anchor, imp->trStream );
    return imp;
}

void cry___X509SessionImpHalt( CRY___X509_SESSION_IMP *imp )
{
    PB_CHECK( imp );
    trStreamTextCstr( imp->trStream, "[cry___X509SessionImpHalt()]", -1 );
}

CRY_X509_STACK_OPTIONS *cry___X509SessionImpOptions( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), pb::shareOrNull( imp->options ); }
PB_BOOL                 cry___X509SessionImpHasIdentity( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), imp->identity != nullptr; }
CRY_X509_IDENTITY      *cry___X509SessionImpIdentity( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), pb::shareOrNull( imp->identity ); }

CRY_X509_CERTIFICATES *cry___X509SessionImpTrustedCertificates( CRY___X509_SESSION_IMP *imp )
{
    return PB_CHECK( imp ), pb::shareOrNull( imp->trustedCertificates );
}

CRY_X509_SANS *cry___X509SessionImpTrustedSans( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), pb::shareOrNull( imp->trustedSans ); }

X509_STORE *cry___X509SessionImpPeekOpensslX509Store( CRY___X509_SESSION_IMP *imp )
{
    PB_CHECK( imp );
    cry::x509::fillLookupStore( imp->intX509Store );
    return imp->intX509Store;
}

X509_STORE *cry::x509::verificationStore( CRY___X509_SESSION_IMP *imp ) { return imp->intX509Store; }

PB_BOOL cry___X509SessionImpIdentityChanged( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), pbSignalAsserted( imp->identityChangedSignal ); }

PB_BOOL cry___X509SessionImpTrustChanged( CRY___X509_SESSION_IMP *imp ) { return PB_CHECK( imp ), pbSignalAsserted( imp->trustChangedSignal ); }

void cry___X509SessionImpIdentityChangedAddSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp ), PB_CHECK( sigb ), pbSignalAddSignalable( imp->identityChangedSignal, sigb );
}

void cry___X509SessionImpIdentityChangedDelSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp ), PB_CHECK( sigb ), pbSignalDelSignalable( imp->identityChangedSignal, sigb );
}

void cry___X509SessionImpTrustChangedAddSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp ), PB_CHECK( sigb ), pbSignalAddSignalable( imp->trustChangedSignal, sigb );
}

void cry___X509SessionImpTrustChangedDelSignalable( CRY___X509_SESSION_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp ), PB_CHECK( sigb ), pbSignalDelSignalable( imp->trustChangedSignal, sigb );
}

void cry___X509SessionImpTraceCompleteAnchor( CRY___X509_SESSION_IMP *imp, TR_ANCHOR *anchor )
{
    PB_CHECK( imp ), PB_CHECK( anchor ), trAnchorComplete( anchor, imp->trStream );
}
