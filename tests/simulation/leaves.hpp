// The slow leaves of stacks and validators, in forms that take no time: keys and certificates that
// were made once, platform roots that scenarios set, and verdicts that the seed decides. The linker
// puts them in place of the real functions (--wrap).
#pragma once

#include <cry/cry_vault_item.h>
#include <cry/cry_x509_certificates.h>
#include <cry/cry_x509_sans.h>
#include <pb/pb_store.h>
#include <pb/ref.hpp>

namespace leaves
{

// What all scenarios of a process use.
struct Material
{
    static constexpr unsigned keys = 4; // the last one is for the end of a scenario
    static constexpr unsigned sets = 3;

    // Identity n has key n and certificate n; after them comes one without a certificate.
    pb::Ref<CRY_X509_CERTIFICATE> certificates[keys];
    pb::Ref<CRY_X509_IDENTITY>    identities[keys + 1];
    pb::Ref<CRY_PKEY_PRIVATE>     privateKeys[keys];
    // Collections that differ. Of the platform's, the last is empty.
    pb::Ref<CRY_X509_CERTIFICATES> trusted[sets], synchronized[sets], platform[sets], lastTrusted;
    // Only certificate 0 has the name in `sans[1]`, only certificate 2 the name in `acceptable`.
    pb::Ref<CRY_X509_SANS> sans[2], acceptable;
    pb::Ref<PB_IDENTIFIER> identifiers[2];
    pb::Ref<PB_STORE>      vaults[3]; // stores of whole vaults
};

// Made at the first call; starts what the module cry needs besides the vault and the roots.
const Material &material();

// Of the running scenario.
struct Scenario
{
    unsigned platform                = 0;     // the place of the platform's roots in the material
    bool     reloaded                = true;  // whoever set them last loads them
    bool     generates               = true;  // keys can be generated
    bool     verifies                = false; // certificates are really verified
    bool     accepts[Material::keys] = {};    // otherwise, these certificates are accepted
    unsigned verifications           = 0;     // in progress
};
inline Scenario scenario;

}
