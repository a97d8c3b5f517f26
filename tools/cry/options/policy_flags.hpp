// The flags of a policy by the names that people use.
#pragma once

#include <CLI/CLI.hpp>
#include <cry/cry_x509_policy_flags.h>

#include <string>
#include <vector>

namespace tool
{

// Adds an option for flags that may be given several times. The footer of the help should list the
// names.
void addPolicyFlags( CLI::App &command, const std::string &option, std::vector<std::string> &names, const std::string &what );

// The names of all flags, with commas between them.
std::string policyFlagList();

// The flags of names as "disable-subject-checks" or "CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS",
// in any case, together. Throws InputError, which names the option, for any other name. Only after
// the start of the module.
CRY_X509_POLICY_FLAGS policyFlagsOf( const std::vector<std::string> &names, const std::string &option );

// The names of the flags that are set, as that list has them.
std::vector<std::string> policyFlagNames( CRY_X509_POLICY_FLAGS flags );

}
