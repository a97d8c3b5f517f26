#include "common/cry_enumeration.hpp"

#include <cstdio>

void cry::addFlag( PB_FLAGSET **flagset, const char *variableName, const Named &flag, pb::Site site )
{
    if( pbFlagsetHasFlagCstr( *flagset, flag.name, -1 ) )
    {
        char expression[256];
        std::snprintf( expression, sizeof expression, "!pbFlagsetHasFlagCstr( *(&%s), \"%s\", -1 )", variableName, flag.name );
        pb___Abort( nullptr, site.file, site.line, expression );
    }
    pbFlagsetSetFlagCstr( flagset, flag.name, -1, flag.value );
}
