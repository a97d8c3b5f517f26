#include "options/policy_flags.hpp"

#include "options/command.hpp"
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

CRY_X509_POLICY_FLAGS flagOf( const std::string &name, const std::string &option )
{
    for( auto &each : flagNames )
    {
        if( tool::isSameName( name, each.name ) || tool::isSameName( name, tool::take( cryX509PolicyFlagsToString( each.flag ) ) ) )
            return each.flag;
    }
    throw tool::InputError( option + ": " + tool::shown( name ) + " is unknown; known are " + tool::policyFlagList() );
}

}

CRY_X509_POLICY_FLAGS tool::policyFlagsOf( const std::vector<std::string> &names, const std::string &option )
{
    CRY_X509_POLICY_FLAGS flags = 0;
    for( const std::string &name : names )
        flags |= flagOf( name, option );
    return flags;
}

std::string tool::policyFlagList()
{
    std::string text;
    for( auto &each : flagNames )
        text += ( text.empty() ? "" : ", " ) + std::string( each.name );
    return text;
}

std::vector<std::string> tool::policyFlagNames( CRY_X509_POLICY_FLAGS flags )
{
    std::vector<std::string> names;
    for( auto &each : flagNames )
    {
        if( flags & each.flag )
            names.emplace_back( each.name );
    }
    return names;
}

void tool::addPolicyFlags( CLI::App &command, const std::string &option, std::vector<std::string> &names, const std::string &what )
{
    addRepeated( command, option, names, "FLAG", what + "; may be given several times" );
    addKnown( command, option, policyFlagNames( -1 ) );
}
