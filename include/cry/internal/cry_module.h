/* The module's start-up and shut-down functions, one pair for each thing that the module keeps for the whole process, and OpenSSL's error texts. They are called by
   the module's own start-up list and nobody else. */
#ifndef CRY_INTERNAL_CRY_MODULE_H
#define CRY_INTERNAL_CRY_MODULE_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>

#define CRY_MODULE_GLOBAL( Name )                 \
    PB_EXPORT void cry___##Name##Startup( void ); \
    PB_EXPORT void cry___##Name##Shutdown( void )

PB_BEGIN_DECLS

/* cry___OpensslErrorString: an OpenSSL error code (as ERR_get_error gives it; the low 32 bits count) as text, a new string: eight hexadecimal digits, the library
   that raised it, the reason: "0a000086:SSL routines::certificate verify failed". What OpenSSL has no text for stays empty. */
PB_EXPORT PB_STRING *cry___OpensslErrorString( unsigned long code );

/* CRY_MODULE_GLOBAL( Name ): declares cry___NameStartup, which creates a module global, and
   cry___NameShutdown, which releases it and leaves the all-ones pointer in its place. */
CRY_MODULE_GLOBAL( AesMode );
CRY_MODULE_GLOBAL( AesOperation );
CRY_MODULE_GLOBAL( HashAlgorithm );
CRY_MODULE_GLOBAL( PkeyEcNamedCurve );
CRY_MODULE_GLOBAL( PkeyType );
CRY_MODULE_GLOBAL( UuidStringFlags );
CRY_MODULE_GLOBAL( UuidVariant );
CRY_MODULE_GLOBAL( UuidVersion );
CRY_MODULE_GLOBAL( VaultItemType );
CRY_MODULE_GLOBAL( X509StackIdentityMode );
CRY_MODULE_GLOBAL( X509StackTrustMode );
CRY_MODULE_GLOBAL( X509PolicyFlags );
CRY_MODULE_GLOBAL( X509ExtendedKeyUsage );
CRY_MODULE_GLOBAL( X509KeyUsage );
CRY_MODULE_GLOBAL( X509NetscapeCertType );
CRY_MODULE_GLOBAL( X509SanType );
CRY_MODULE_GLOBAL( X509TNAuthListEntryType );

PB_END_DECLS

#endif
