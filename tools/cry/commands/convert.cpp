#include "text/convert.hpp"
#include "commands/commands.hpp"
#include "input/item.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/out_file.hpp"
#include "output/print.hpp"
#include "text/printable.hpp"

#include <unistd.h>

namespace
{

struct Options
{
    std::string  to, file;
    tool::Output output;
    bool         json = false;

    bool toDer() const { return to == "der"; }
};

// What OpenSSL writes for an object, as other commands do; null if the bytes of the file stay.
pb::Ref<CRY_PEM> canonicalOf( const tool::Item &item )
{
    if( item.certificate )
        return pb::adopt( cryX509CertificatePem( item.certificate.get() ) );
    if( item.request )
        return pb::adopt( cryX509CsrPem( item.request.get() ) );
    return pb::adopt( item.crl ? cryX509CrlPem( item.crl.get() ) : nullptr );
}

pb::Ref<PB_BUFFER> derOf( const tool::Item &item )
{
    if( pb::Ref<CRY_PEM> pem = canonicalOf( item ) )
        return pb::adopt( cryPemData( pem.get() ) );
    if( !item.der )
        throw tool::InputError( item.file, "the key is encrypted as only PEM can say it; 'openssl pkcs8 -topk8' makes PKCS#8 of it", item.line );
    return item.der;
}

pb::Ref<PB_BUFFER> pemOf( const tool::Item &item )
{
    pb::Ref<CRY_PEM> pem = canonicalOf( item );
    if( !pem && item.text )
        return item.text;
    return tool::pemText( pem ? pem.get() : tool::pemOf( item.label, item.der.get() ).get() );
}

// The items of the file; all of them can be converted.
std::vector<tool::Item> readItems( const std::string &path )
{
    std::vector<tool::Item> items;
    tool::forEachItem( path, [&items]( tool::Item &item ) {
        if( !item.problem.empty() )
            throw item.error();
        if( item.kind == tool::Kind::other )
            throw tool::InputError( item.file,
                item.label.empty() ? "a block without label is not converted" : "a block of " + tool::printable( item.label ) + " is not converted",
                item.line );
        items.push_back( item );
    } );
    return items;
}

int convert( Options &options )
{
    if( options.to != "pem" && !options.toDer() )
        throw tool::InputError( "--to: " + tool::shown( options.to ) + " is unknown; known are pem and der" );
    options.output.check();
    if( options.json && !options.output.toFile() )
        throw tool::InputError( "--json and a result cannot both go to standard output; use --out" );
    if( options.toDer() && !options.output.toFile() && isatty( STDOUT_FILENO ) )
        throw tool::InputError( "DER is not written to a terminal; use --out" );
    std::vector<tool::Item> items = readItems( options.file );
    if( options.toDer() && items.size() > 1 )
        throw tool::InputError( options.file, "has " + tool::counted( items.size(), "block" ) + ", and DER is only one", items[1].line );
    pb::Ref<PB_BUFFER>     result  = pb::adopt( pbBufferCreate() );
    tool::Secrecy          secrecy = tool::Secrecy::open;
    nlohmann::ordered_json kinds   = nlohmann::ordered_json::array();
    for( const tool::Item &item : items )
    {
        if( item.isSecret() )
        {
            secrecy = tool::Secrecy::secret;
            pbBufferSetSensitive( result.handle() );
        }
        pbBufferAppend( result.handle(), ( options.toDer() ? derOf( item ) : pemOf( item ) ).get() );
        kinds.push_back( tool::nameOf( item.kind ) );
    }
    options.output.write( result.get(), secrecy );
    if( options.json )
    {
        nlohmann::ordered_json json{ { "file", options.file }, { "to", options.to }, { "kinds", kinds },
            { "length", pbBufferLength( result.get() ) } };
        options.output.addTo( json );
        tool::printJson( json );
    }
    return tool::exitGood;
}

}

void tool::addConvert( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, convert,
        "Changes the form only: a key keeps its own (PKCS#8, SEC 1 or traditional), and an encrypted key stays encrypted. Text\n"
        "around the blocks of PEM is left out. PEM of a PKCS#12 file has the label PKCS12. A private key or PKCS#12 file is made\n"
        "readable by its owner only.\n"
        "Exit: 0 done; 2 wrong use, a file that cannot be read or written, or several blocks for DER, which is only one." );
    addOption( command, "--to", options.to, "FORM", "the form that is wanted: pem or der" )->required();
    addKnown( command, "--to", { "pem", "der" } );
    addArgument( command, "FILE", options.file, "certificates, requests, CRLs, keys or PKCS#12, in PEM or DER; - is standard input" )->required();
    options.output.addTo( command, "the result" );
}
