#include "input/configuration.hpp"

#include "input/file.hpp"
#include "input/store_file.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cry/cry_x509_policy_flags.h>
#include <cry/cry_x509_san.h>
#include <cry/cry_x509_stack.h>
#include <cs/cs_object.h>
#include <cs/cs_sort_backend.h>
#include <vector>

namespace
{

constexpr char typeOfStacks[] = "CRY_X509_STACK";

// ---- what a stack does not use

struct Unused
{
    std::vector<std::string> entries;

    void add( const std::string &entry ) { entries.push_back( entry ); }

    void addCount( const std::string &list, size_t count )
    {
        if( count )
            add( std::to_string( count ) + " of the list " + list );
    }
};

// How many entries of a list are no names.
size_t countNoNames( PB_STORE *list )
{
    size_t count = 0;
    for( PB_INT index = 0; index < pbStoreLength( list ); index++ )
    {
        pb::Ref<PB_STORE> entry = pb::adopt( pbStoreStoreAt( list, index ) );
        count += !entry || !pb::adopt( cryX509SanTryRestore( entry.get() ) );
    }
    return count;
}

// The names in a text that are no flags.
void addUnknownFlags( const std::string &text, Unused &unused )
{
    for( size_t from = 0; from < text.size(); )
    {
        size_t      to   = std::min( text.find( '|', from ), text.size() );
        std::string name = text.substr( from, to - from );
        if( name.find_first_not_of( " \t\r\n" ) != name.npos &&
            !cryX509PolicyFlagsFromString( pb::adopt( pbStringCreateFromCstr( name.data(), (PB_INT)name.size() ) ).get() ) )
            unused.add( "the flag " + tool::shown( name ) );
        from = to + 1;
    }
}

// Adds the entries of a keyed store that are not kept. A set keeps equal names once, and an empty
// list is not kept, but nothing is lost by that.
void addUnused( PB_STORE *kept, PB_STORE *all, const std::string &above, Unused &unused )
{
    for( PB_INT index = 0; index < pbStoreLength( all ); index++ )
    {
        std::string       key       = tool::take( pbStoreKeyAt( all, index ) );
        std::string       path      = tool::shown( above + key );
        pb::Ref<PB_STORE> inner     = pb::adopt( pbStoreStoreAt( all, index ) );
        PB_INT            at        = pbStoreIndexCstr( kept, key.data(), (PB_INT)key.size() );
        pb::Ref<PB_STORE> keptInner = at < 0 ? pb::Ref<PB_STORE>() : pb::adopt( pbStoreStoreAt( kept, at ) );
        bool isList = key == "trustedCertificates" || key == "synchronizedTrustedCertificates" || key == "trustedSans" || key == "extraCertificates";
        if( isList && inner )
        {
            PB_INT lost = pbStoreLength( inner.get() ) - ( keptInner ? pbStoreLength( keptInner.get() ) : 0 );
            unused.addCount( path, key == "trustedSans" ? countNoNames( inner.get() ) : (size_t)lost );
        }
        else if( at < 0 )
            unused.add( path );
        else if( key == "identity" && inner && pbStoreIsArray( inner.get() ) )
            unused.add( path );
        else if( key == "identity" && inner && keptInner )
            addUnused( keptInner.get(), inner.get(), "identity.", unused );
        else if( key == "policyFlags" )
            addUnknownFlags( tool::take( pbStoreValueAt( all, index ) ), unused );
    }
}

}

tool::Configuration tool::readConfiguration( const std::string &path )
{
    StoreFile file = readStore( path, Content::secret );
    if( file.type && *file.type != typeOfStacks )
        throw InputError( path, "is a store of the type " + shown( *file.type ) + ", not " + typeOfStacks );
    return { file.content, file.store };
}

bool tool::hasValue( PB_STORE *configuration, const char *key, const std::string &value )
{
    PB_STRING *text = pbStoreValueCstr( configuration, key, -1 );
    return text && take( text ) == value;
}

void tool::warnOfEntries( const std::string &path, PB_STORE *configuration )
{
    constexpr size_t  most = 5;
    Unused            unused;
    pb::Ref<PB_STORE> kept = pb::adopt( csConfigurationTryNormalize( cryX509StackSort(), configuration, PB_FALSE, CS_STORE_PRIVATE ) );
    addUnused( kept.get(), configuration, "", unused );
    std::string list;
    for( size_t index = 0; index < unused.entries.size() && index < most; index++ )
        list += ( index ? ", " : "" ) + unused.entries[index];
    if( unused.entries.size() > most )
        list += " and others";
    if( !list.empty() )
        warn( { nameOf( path ) + ": not used, since it is unknown or cannot be read: " + list, path, {} } );
    pb::Ref<PB_STORE> identity = pb::adopt( pbStoreStoreCstr( configuration, "identity", -1 ) );
    if( identity && pbStoreIndexCstr( identity.get(), "privateKey", -1 ) >= 0 )
        warnIfOthersCanRead( path, "the private key" );
}
