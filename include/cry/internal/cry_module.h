/* The module's start-up and shut-down functions, one pair for each thing that the module keeps for
   the whole process, and OpenSSL's error texts. Only the module's own start-up list calls the
   start-up and shut-down functions. */
#ifndef CRY_INTERNAL_CRY_MODULE_H
#define CRY_INTERNAL_CRY_MODULE_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>

#define CRY_STARTUP_FUNCTIONS( Name )             \
    PB_EXPORT void cry___##Name##Startup( void ); \
    PB_EXPORT void cry___##Name##Shutdown( void )

PB_BEGIN_DECLS

/* cry___OpensslErrorString: an OpenSSL error code (as ERR_get_error gives it; the low 32 bits
   count) as text, a new string: eight hexadecimal digits, the library that raised it and the
   reason, for example "0a000086:SSL routines::certificate verify failed". A part for which OpenSSL
   has no text is empty. */
PB_EXPORT PB_STRING *cry___OpensslErrorString( unsigned long code );

/* CRY_STARTUP_FUNCTIONS( Name ): declares cry___NameStartup, which creates a module global, and
   cry___NameShutdown, which releases it and leaves the all-ones pointer in its place. */
CRY_STARTUP_FUNCTIONS( AesMode );
CRY_STARTUP_FUNCTIONS( AesOperation );
CRY_STARTUP_FUNCTIONS( HashAlgorithm );
CRY_STARTUP_FUNCTIONS( PkeyEcNamedCurve );
CRY_STARTUP_FUNCTIONS( PkeyType );
CRY_STARTUP_FUNCTIONS( UuidStringFlags );
CRY_STARTUP_FUNCTIONS( UuidVariant );
CRY_STARTUP_FUNCTIONS( UuidVersion );
CRY_STARTUP_FUNCTIONS( VaultItemType );
CRY_STARTUP_FUNCTIONS( Vault );
CRY_STARTUP_FUNCTIONS( X509System );
CRY_STARTUP_FUNCTIONS( X509StackIdentityMode );
CRY_STARTUP_FUNCTIONS( X509StackTrustMode );
CRY_STARTUP_FUNCTIONS( X509PolicyFlags );
CRY_STARTUP_FUNCTIONS( X509ExtendedKeyUsage );
CRY_STARTUP_FUNCTIONS( X509KeyUsage );
CRY_STARTUP_FUNCTIONS( X509NetscapeCertType );
CRY_STARTUP_FUNCTIONS( X509SanType );
CRY_STARTUP_FUNCTIONS( X509TNAuthListEntryType );
CRY_STARTUP_FUNCTIONS( X509StackCs );

PB_END_DECLS

#endif
