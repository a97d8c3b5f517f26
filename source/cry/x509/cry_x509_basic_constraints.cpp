#include <cry/cry_x509_basic_constraints.h>
#include <cry/internal/cry_x509_basic_constraints.h>
#include <pb/stored.hpp>

#include <openssl_module/internal/openssl_errors.hpp>

struct CRY_X509_BASIC_CONSTRAINTS : PB_OBJ
{
    PB_BOOL ca;
    PB_INT  pathlen; // noPathlen if it is absent
};

static constexpr PB_INT noPathlen = -1;

static constexpr auto constraintsFields = pb::fields<&CRY_X509_BASIC_CONSTRAINTS::ca, &CRY_X509_BASIC_CONSTRAINTS::pathlen>;

PB_SORT_DEFINE( cry, X509BasicConstraints, CRY_X509_BASIC_CONSTRAINTS, PB_FREE_FIELDS( CRY_X509_BASIC_CONSTRAINTS, bc, constraintsFields ) )

static CRY_X509_BASIC_CONSTRAINTS *writable( CRY_X509_BASIC_CONSTRAINTS **bc ) { return pb::makeWritable( bc, cryX509BasicConstraintsCreateFrom ); }

CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsCreate()
{
    CRY_X509_BASIC_CONSTRAINTS *bc = pb::create<CRY_X509_BASIC_CONSTRAINTS>();
    bc->pathlen                    = noPathlen;
    return bc;
}

CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsCreateFrom( CRY_X509_BASIC_CONSTRAINTS *source )
{
    return PB_CHECK( source ), pb::copyOf( constraintsFields, source );
}

CRY_X509_BASIC_CONSTRAINTS *cry___X509BasicConstraintsCreateFromOpensslBasicConstraints( const BASIC_CONSTRAINTS *bcons )
{
    PB_CHECK( bcons );
    openssl::ErrorMark          detour;
    CRY_X509_BASIC_CONSTRAINTS *bc = cryX509BasicConstraintsCreate();
    bc->ca                         = bcons->ca != 0;
    int64_t pathlen;
    if( bcons->pathlen && ASN1_INTEGER_get_int64( &pathlen, bcons->pathlen ) && pathlen >= 0 )
        bc->pathlen = pathlen;
    return bc;
}

PB_BOOL cryX509BasicConstraintsCA( CRY_X509_BASIC_CONSTRAINTS *bc ) { return PB_CHECK( bc ), bc->ca; }

void cryX509BasicConstraintsSetCA( CRY_X509_BASIC_CONSTRAINTS **bc, PB_BOOL ca ) { PB_CHECK_HANDLE( bc ), writable( bc )->ca = ca != 0; }

PB_INT  cryX509BasicConstraintsPathlen( CRY_X509_BASIC_CONSTRAINTS *bc ) { return PB_CHECK( bc ), bc->pathlen; }
PB_BOOL cryX509BasicConstraintsHasPathlen( CRY_X509_BASIC_CONSTRAINTS *bc ) { return PB_CHECK( bc ), bc->pathlen != noPathlen; }

void cryX509BasicConstraintsSetPathlen( CRY_X509_BASIC_CONSTRAINTS **bc, PB_INT pathlen )
{
    PB_CHECK_HANDLE( bc ), PB_CHECK( pathlen >= 0 ), writable( bc )->pathlen = pathlen;
}

void cryX509BasicConstraintsDelPathlen( CRY_X509_BASIC_CONSTRAINTS **bc ) { PB_CHECK_HANDLE( bc ), writable( bc )->pathlen = noPathlen; }

PB_STORE *cryX509BasicConstraintsStore( CRY_X509_BASIC_CONSTRAINTS *bc )
{
    PB_CHECK( bc );
    pb::StoreWriter writer;
    writer.boolean( "ca", bc->ca );
    if( bc->pathlen != noPathlen )
        writer.integer( "pathlen", bc->pathlen );
    return writer.take();
}

CRY_X509_BASIC_CONSTRAINTS *cryX509BasicConstraintsRestore( PB_STORE *store )
{
    PB_CHECK( store );
    CRY_X509_BASIC_CONSTRAINTS *bc      = cryX509BasicConstraintsCreate();
    PB_INT                      pathlen = noPathlen;
    pb::StoreReader( store ).boolean( "ca", bc->ca ).integer( "pathlen", pathlen );
    if( pathlen >= 0 )
        bc->pathlen = pathlen;
    return bc;
}
