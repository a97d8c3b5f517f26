#include "options/policy_flags.hpp"

#include "output/error.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"
#include "text/spelling.hpp"

namespace
{

// The module has the full names, but only after its start, and the help is made without that.
constexpr struct
{
    const char           *name;
    CRY_X509_POLICY_FLAGS flag;
} flagNames[] = {
    { "disable-validation", CRY_X509_POLICY_FLAG_DISABLE_VALIDATION },
    { "disable-subject-checks", CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS },
    { "disable-wildcard-processing", CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING },
    { "lenient-ip-address-subject-checks", CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS },
};

}

std::vector<std::string> tool::policyFlagNames()
{
    std::vector<std::string> names;
    for( auto &each : flagNames )
        names.emplace_back( each.name );
    return names;
}

std::string tool::policyFlagList()
{
    std::string text;
    for( auto &each : flagNames )
        text += ( text.empty() ? "" : ", " ) + std::string( each.name );
    return text;
}

std::optional<CRY_X509_POLICY_FLAGS> tool::findPolicyFlag( const std::string &text )
{
    for( auto &each : flagNames )
    {
        if( isSameName( text, each.name ) || isSameName( text, take( cryX509PolicyFlagsToString( each.flag ) ) ) )
            return each.flag;
    }
    return {};
}

CRY_X509_POLICY_FLAGS tool::policyFlagsOf( const std::vector<std::string> &names, const std::string &option )
{
    CRY_X509_POLICY_FLAGS flags = 0;
    for( const std::string &name : names )
    {
        std::optional<CRY_X509_POLICY_FLAGS> flag = findPolicyFlag( name );
        if( !flag )
            throw InputError( option + ": " + shown( name ) + " is unknown; known are " + policyFlagList() );
        flags |= *flag;
    }
    return flags;
}
