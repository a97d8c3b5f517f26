/* Everything of the cryptography module. */
#ifndef CRY_CRY_H
#define CRY_CRY_H

#include <cry/cry_aes.h>
#include <cry/cry_aes_mode.h>
#include <cry/cry_aes_operation.h>
#include <cry/cry_generate_certificate.h>
#include <cry/cry_generate_csr.h>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/cry_hash.h>
#include <cry/cry_hash_algorithm.h>
#include <cry/cry_mac.h>
#include <cry/cry_module.h>
#include <cry/cry_pem.h>
#include <cry/cry_pkcs12.h>
#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/cry_pkey_info.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>
#include <cry/cry_pkey_type.h>
#include <cry/cry_random.h>
#include <cry/cry_sign.h>
#include <cry/cry_sign_convert.h>
#include <cry/cry_sign_signer.h>
#include <cry/cry_sign_verifier.h>
#include <cry/cry_uuid.h>
#include <cry/cry_uuid_string_flags.h>
#include <cry/cry_uuid_variant.h>
#include <cry/cry_uuid_version.h>
#include <cry/cry_vault_item_type.h>
#include <cry/cry_x509_basic_constraints.h>
#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_certificates.h>
#include <cry/cry_x509_csr.h>
#include <cry/cry_x509_extended_key_usage.h>
#include <cry/cry_x509_key_usage.h>
#include <cry/cry_x509_netscape_cert_type.h>
#include <cry/cry_x509_policy_flags.h>
#include <cry/cry_x509_san.h>
#include <cry/cry_x509_san_type.h>
#include <cry/cry_x509_sans.h>
#include <cry/cry_x509_stack_identity_mode.h>
#include <cry/cry_x509_stack_trust_mode.h>
#include <cry/cry_x509_tn_auth_list_entry_type.h>

#endif
