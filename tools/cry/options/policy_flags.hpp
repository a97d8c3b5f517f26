// The flags of a policy by the names that people use.
#pragma once

#include <cry/cry_x509_policy_flags.h>

#include <optional>
#include <string>
#include <vector>

namespace tool
{

// The names of all flags: for shells, and with commas between them for people.
std::vector<std::string> policyFlagNames();
std::string              policyFlagList();

// The flag of a name as "disable-subject-checks" or
// "CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS", in any case; nothing for another text. Only after
// the start of the module.
std::optional<CRY_X509_POLICY_FLAGS> findPolicyFlag( const std::string &text );
// The flags of all names together. Throws InputError, which names the option, for a text that is
// none.
CRY_X509_POLICY_FLAGS policyFlagsOf( const std::vector<std::string> &names, const std::string &option );

}
