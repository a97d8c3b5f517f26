// Every enumeration and flag set of the module, for the tests that are the same for all of them.
#pragma once

#include <pb/pb_enum.h>
#include <pb/pb_flagset.h>

#include <ostream>
#include <vector>

namespace support
{

struct Enumeration
{
    const char *name;  // as in cryNameToString
    const char *file;  // the file with its checks
    const char *check; // the text of the check for a value
    PB_STRING *( *toString )( PB_INT );
    PB_INT ( *fromString )( PB_STRING * );
    PB_ENUM **variable; // the module's global
    void ( *startup )();
    void ( *shutdown )();
    PB_INT                    count; // values count from 0
    std::vector<const char *> names; // by value; empty if they have a test of their own
};

struct FlagSet
{
    const char *name;
    const char *file;
    PB_INT ( *normalize )( PB_INT );
    PB_STRING *( *toString )( PB_INT );
    PB_INT ( *fromString )( PB_STRING * );
    PB_FLAGSET **variable;
    void ( *startup )();
    void ( *shutdown )();
    std::vector<const char *> names; // by bit

    PB_INT mask() const { return ( (PB_INT)1 << names.size() ) - 1; }
};

const std::vector<Enumeration> &enumerations();
const std::vector<FlagSet>     &flagSets();

// GoogleTest uses these to print them.
void PrintTo( const Enumeration &each, std::ostream *out );
void PrintTo( const FlagSet &each, std::ostream *out );

}
