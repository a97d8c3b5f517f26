#include "commands/commands.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"

#include <bn/bn.h>
#include <cry/cry.h>
#include <cs/cs.h>
#include <dlfcn.h>
#include <in/in.h>
#include <openssl_module/openssl_module.h>
#include <rfc/rfc.h>
#include <tr/tr.h>

// The version marker is a variable, which no header declares; it is looked up as any other tool
// would.
static std::string markerText()
{
    auto marker = (const char *const *)dlsym( RTLD_DEFAULT, "cry___module_version_string" );
    return marker ? *marker : "";
}

void tool::printVersion( bool json )
{
    const PB_MODULE_RECORD *record  = pbModuleRecord( cryModule() );
    std::string             product = std::to_string( record->productVersionMajor ) + "." + std::to_string( record->productVersionMinor ) + "." +
        std::to_string( record->productVersionBuild );
    std::string            openssl = take( opensslVersion() ), keyDecoding = take( opensslKeyDecodingContextState() );
    nlohmann::ordered_json modules;
    std::string            moduleList;
    for( const PB_MODULE *module : { bnModule(), cryModule(), csModule(), inModule(), opensslModule(), pbModule(), rfcModule(), trModule() } )
    {
        const PB_MODULE_RECORD *each = pbModuleRecord( module );
        modules[each->moduleName]    = each->moduleVersion;
        moduleList += ( moduleList.empty() ? "" : ", " ) + std::string( each->moduleName ) + " " + each->moduleVersion;
    }
    if( json )
    {
        printJson( nlohmann::ordered_json{ { "module", record->moduleName }, { "description", record->moduleDescription },
            { "version", record->moduleVersion }, { "product", record->productDisplayName }, { "productTag", record->productTag },
            { "productVersion", product }, { "buildTime", record->buildTime }, { "vendor", record->vendorName }, { "copyright", record->copyright },
            { "dependencies", record->dependencies }, { "marker", markerText() }, { "modules", modules }, { "openssl", openssl },
            { "keyDecodingContext", keyDecoding } } );
        return;
    }
    print( std::string( record->moduleName ) + " " + record->moduleVersion + " (" + record->moduleDescription + ")\n" );
    print( "product       " + std::string( record->productDisplayName ) + " " + product + " (" + record->productTag + ")\n" );
    print( "built         " + std::string( record->buildTime ) + "\n" );
    print( "vendor        " + std::string( record->vendorName ) + "\n" );
    print( "copyright     " + std::string( record->copyright ) + "\n" );
    print( "marker        " + markerText() + "\n" );
    print( "modules       " + moduleList + "\n" );
    print( "libcrypto     " + openssl + "\n" );
    print( "key-decoding context  " + keyDecoding + "\n" );
}
