/* An identity: a certificate, its private key, and the certificates that are sent with it. A
   sketch: it shows the parts of a type with three fields. */
#ifndef SKETCH_X509_IDENTITY_H
#define SKETCH_X509_IDENTITY_H

#include <cry/cry_pkey_private.h>
#include <cry/cry_x509_certificates.h>

PB_OBJECT_TYPE( SKETCH_X509_IDENTITY );

PB_BEGIN_DECLS

SKETCH_X509_IDENTITY *sketchX509IdentityCreate( void );
SKETCH_X509_IDENTITY *sketchX509IdentityCreateFrom( SKETCH_X509_IDENTITY *source );
SKETCH_X509_IDENTITY *sketchX509IdentityRestore( PB_STORE *store );
PB_STORE             *sketchX509IdentityStore( SKETCH_X509_IDENTITY *ident, PB_BOOL includePrivateKey );

CRY_PKEY_PRIVATE      *sketchX509IdentityPrivateKey( SKETCH_X509_IDENTITY *ident );
PB_BOOL                sketchX509IdentityHasPrivateKey( SKETCH_X509_IDENTITY *ident );
void                   sketchX509IdentitySetPrivateKey( SKETCH_X509_IDENTITY **ident, CRY_PKEY_PRIVATE *priv );
void                   sketchX509IdentityDelPrivateKey( SKETCH_X509_IDENTITY **ident );
CRY_X509_CERTIFICATE  *sketchX509IdentityCertificate( SKETCH_X509_IDENTITY *ident );
PB_BOOL                sketchX509IdentityHasCertificate( SKETCH_X509_IDENTITY *ident );
void                   sketchX509IdentitySetCertificate( SKETCH_X509_IDENTITY **ident, CRY_X509_CERTIFICATE *cert );
void                   sketchX509IdentityDelCertificate( SKETCH_X509_IDENTITY **ident );
CRY_X509_CERTIFICATES *sketchX509IdentityExtraCertificates( SKETCH_X509_IDENTITY *ident );
void                   sketchX509IdentitySetExtraCertificates( SKETCH_X509_IDENTITY **ident, CRY_X509_CERTIFICATES *extraCertificates );

const PB_SORT        *sketchX509IdentitySort( void );
PB_OBJ               *sketchX509IdentityObj( SKETCH_X509_IDENTITY *obj );
SKETCH_X509_IDENTITY *sketchX509IdentityFrom( PB_OBJ *obj );
SKETCH_X509_IDENTITY *sketchX509IdentityRetain( SKETCH_X509_IDENTITY *obj );
void                  sketchX509IdentityRelease( SKETCH_X509_IDENTITY *obj );
PB_INT                sketchX509IdentityCompare( SKETCH_X509_IDENTITY *objA, SKETCH_X509_IDENTITY *objB );
PB_BOOL               sketchX509IdentityEquals( SKETCH_X509_IDENTITY *objA, SKETCH_X509_IDENTITY *objB );
PB_STRING            *sketchX509IdentityToString( SKETCH_X509_IDENTITY *obj );

PB_END_DECLS

#endif
