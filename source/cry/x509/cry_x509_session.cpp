#include <cry/internal/cry_x509_session.h>
#include <cry/internal/cry_x509_session_imp.h>
#include <cry/internal/cry_x509_stack.h>
#include <pb/sort.hpp>

#include "x509/cry_x509_session.hpp"
#include "x509/cry_x509_session_imp.hpp"

struct CRY_X509_SESSION : PB_OBJ
{
    CRY_X509_STACK         *stack;
    CRY___X509_SESSION_IMP *imp;
};

static constexpr auto sessionFields = pb::fields<&CRY_X509_SESSION::stack, &CRY_X509_SESSION::imp>;

static void freeSession( CRY_X509_SESSION *sess )
{
    PB_CHECK( sess );
    cry___X509SessionImpHalt( sess->imp );
    sessionFields.release( sess );
}

PB_SORT_DEFINE( cry, X509Session, CRY_X509_SESSION, .free = pb::slot<freeSession> )

CRY_X509_SESSION *cryX509SessionCreate( CRY_X509_STACK *stack, TR_ANCHOR *anchor )
{
    PB_CHECK( stack );
    CRY_X509_SESSION *sess = pb::create<CRY_X509_SESSION>();
    sess->stack            = pb::shareOrNull( stack );
    sess->imp              = cry___X509StackCreateSessionImp( stack, anchor );
    return sess;
}

CRY_X509_STACK         *cryX509SessionStack( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), pb::shareOrNull( sess->stack ); }
CRY_X509_STACK_OPTIONS *cryX509SessionOptions( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpOptions( sess->imp ); }
PB_BOOL                 cryX509SessionHasIdentity( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpHasIdentity( sess->imp ); }
CRY_X509_IDENTITY      *cryX509SessionIdentity( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpIdentity( sess->imp ); }

CRY_X509_CERTIFICATES *cryX509SessionTrustedCertificates( CRY_X509_SESSION *sess )
{
    return PB_CHECK( sess ), cry___X509SessionImpTrustedCertificates( sess->imp );
}

CRY_X509_SANS *cryX509SessionTrustedSans( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpTrustedSans( sess->imp ); }

X509_STORE *cry___X509SessionPeekOpensslX509Store( CRY_X509_SESSION *sess )
{
    return PB_CHECK( sess ), cry___X509SessionImpPeekOpensslX509Store( sess->imp );
}

X509_STORE *cry::x509::verificationStore( CRY_X509_SESSION *sess ) { return verificationStore( sess->imp ); }

PB_BOOL cryX509SessionIdentityChanged( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpIdentityChanged( sess->imp ); }
PB_BOOL cryX509SessionTrustChanged( CRY_X509_SESSION *sess ) { return PB_CHECK( sess ), cry___X509SessionImpTrustChanged( sess->imp ); }

void cryX509SessionIdentityChangedAddSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb )
{
    PB_CHECK( sess ), cry___X509SessionImpIdentityChangedAddSignalable( sess->imp, sigb );
}

void cryX509SessionIdentityChangedDelSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb )
{
    PB_CHECK( sess ), cry___X509SessionImpIdentityChangedDelSignalable( sess->imp, sigb );
}

void cryX509SessionTrustChangedAddSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb )
{
    PB_CHECK( sess ), cry___X509SessionImpTrustChangedAddSignalable( sess->imp, sigb );
}

void cryX509SessionTrustChangedDelSignalable( CRY_X509_SESSION *sess, PB_SIGNALABLE *sigb )
{
    PB_CHECK( sess ), cry___X509SessionImpTrustChangedDelSignalable( sess->imp, sigb );
}

void cryX509SessionTraceCompleteAnchor( CRY_X509_SESSION *sess, TR_ANCHOR *anchor )
{
    PB_CHECK( sess ), cry___X509SessionImpTraceCompleteAnchor( sess->imp, anchor );
}
