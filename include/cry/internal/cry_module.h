/* The module's start-up and shut-down functions, one pair for each thing that the module keeps for the whole process, and OpenSSL's error texts. They are called by
   the module's own start-up list and nobody else. */
#ifndef CRY_INTERNAL_CRY_MODULE_H
#define CRY_INTERNAL_CRY_MODULE_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/* cry___OpensslErrorString: an OpenSSL error code (as ERR_get_error gives it; the low 32 bits count) as text, a new string: eight hexadecimal digits, the library
   that raised it, the reason: "0a000086:SSL routines::certificate verify failed". What OpenSSL has no text for stays empty. */
PB_EXPORT PB_STRING *cry___OpensslErrorString( unsigned long code );

/* cry___AesModeStartup and the others: create a module global; the Shutdown functions release it and leave the all-ones pointer in its place:
   cry___AesModeShutdown, cry___AesOperationStartup, cry___AesOperationShutdown, cry___HashAlgorithmStartup, cry___HashAlgorithmShutdown,
   cry___PkeyEcNamedCurveStartup, cry___PkeyEcNamedCurveShutdown, cry___PkeyTypeStartup, cry___PkeyTypeShutdown, cry___UuidStringFlagsStartup,
   cry___UuidStringFlagsShutdown, cry___UuidVariantStartup, cry___UuidVariantShutdown, cry___UuidVersionStartup, cry___UuidVersionShutdown,
   cry___VaultItemTypeStartup, cry___VaultItemTypeShutdown, cry___X509StackIdentityModeStartup, cry___X509StackIdentityModeShutdown,
   cry___X509StackTrustModeStartup, cry___X509StackTrustModeShutdown, cry___X509PolicyFlagsStartup, cry___X509PolicyFlagsShutdown,
   cry___X509ExtendedKeyUsageStartup, cry___X509ExtendedKeyUsageShutdown, cry___X509KeyUsageStartup, cry___X509KeyUsageShutdown,
   cry___X509NetscapeCertTypeStartup, cry___X509NetscapeCertTypeShutdown, cry___X509SanTypeStartup, cry___X509SanTypeShutdown,
   cry___X509TNAuthListEntryTypeStartup, cry___X509TNAuthListEntryTypeShutdown. */
PB_EXPORT void cry___AesModeStartup( void );
PB_EXPORT void cry___AesModeShutdown( void );
PB_EXPORT void cry___AesOperationStartup( void );
PB_EXPORT void cry___AesOperationShutdown( void );
PB_EXPORT void cry___HashAlgorithmStartup( void );
PB_EXPORT void cry___HashAlgorithmShutdown( void );
PB_EXPORT void cry___PkeyEcNamedCurveStartup( void );
PB_EXPORT void cry___PkeyEcNamedCurveShutdown( void );
PB_EXPORT void cry___PkeyTypeStartup( void );
PB_EXPORT void cry___PkeyTypeShutdown( void );
PB_EXPORT void cry___UuidStringFlagsStartup( void );
PB_EXPORT void cry___UuidStringFlagsShutdown( void );
PB_EXPORT void cry___UuidVariantStartup( void );
PB_EXPORT void cry___UuidVariantShutdown( void );
PB_EXPORT void cry___UuidVersionStartup( void );
PB_EXPORT void cry___UuidVersionShutdown( void );
PB_EXPORT void cry___VaultItemTypeStartup( void );
PB_EXPORT void cry___VaultItemTypeShutdown( void );
PB_EXPORT void cry___X509StackIdentityModeStartup( void );
PB_EXPORT void cry___X509StackIdentityModeShutdown( void );
PB_EXPORT void cry___X509StackTrustModeStartup( void );
PB_EXPORT void cry___X509StackTrustModeShutdown( void );
PB_EXPORT void cry___X509PolicyFlagsStartup( void );
PB_EXPORT void cry___X509PolicyFlagsShutdown( void );
PB_EXPORT void cry___X509ExtendedKeyUsageStartup( void );
PB_EXPORT void cry___X509ExtendedKeyUsageShutdown( void );
PB_EXPORT void cry___X509KeyUsageStartup( void );
PB_EXPORT void cry___X509KeyUsageShutdown( void );
PB_EXPORT void cry___X509NetscapeCertTypeStartup( void );
PB_EXPORT void cry___X509NetscapeCertTypeShutdown( void );
PB_EXPORT void cry___X509SanTypeStartup( void );
PB_EXPORT void cry___X509SanTypeShutdown( void );
PB_EXPORT void cry___X509TNAuthListEntryTypeStartup( void );
PB_EXPORT void cry___X509TNAuthListEntryTypeShutdown( void );

PB_END_DECLS

#endif
