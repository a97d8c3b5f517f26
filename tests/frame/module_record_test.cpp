#include <bn/bn.h>
#include <cry/cry.h>
#include <cs/cs.h>
#include <in/in.h>
#include <openssl_module/openssl_module.h>
#include <pb/pb.h>
#include <rfc/rfc.h>
#include <tr/tr.h>

#include "support/text.hpp"

#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

using namespace support;

extern "C"
{
    extern const PB_MODULE        bn___module, cry___module, cs___module, in___module, openssl___module, pb___module, rfc___module, tr___module;
    extern const PB_MODULE_RECORD bn___module_record, cry___module_record, cs___module_record, in___module_record, openssl___module_record,
        pb___module_record, rfc___module_record, tr___module_record;
    extern const char *const bn___module_version_string, *const cry___module_version_string, *const cs___module_version_string,
                                                                                                 *const             in___module_version_string,
                                                                                                     *const         openssl___module_version_string,
                                                                                                         *const     pb___module_version_string,
                                                                                                             *const rfc___module_version_string,
                                                                                                                 *const tr___module_version_string;
}

#if defined( __x86_64__ )
static constexpr char processor[] = "x86 (64 bit)";
#elif defined( __aarch64__ )
static constexpr char processor[] = "arm (64 bit)";
#elif defined( __i386__ )
static constexpr char processor[] = "x86 (32 bit)";
#else
static constexpr char processor[] = "unknown";
#endif

namespace
{

struct Case
{
    const PB_MODULE        *module;
    const PB_MODULE        *exported;
    const PB_MODULE_RECORD *record;
    const char             *marker;
    const char             *name;
    const char             *description;
    const char             *version;
    const char             *dependencies;
};

#define MODULE( name, description, version, dependencies )                                                                                   \
    {                                                                                                                                        \
        name##Module(), &name##___module, &name##___module_record, name##___module_version_string, #name, description, version, dependencies \
    }

const std::vector<Case> &cases()
{
    static const std::vector<Case> all = {
        MODULE( pb, "Base", "0.2", "" ),
        MODULE( rfc, "Base encodings", "0.2", "pb" ),
        MODULE( bn, "Big integers", "0.2", "pb" ),
        MODULE( in, "Internet addresses and names", "0.2", "pb" ),
        MODULE( tr, "Trace", "0.2", "pb" ),
        MODULE( cs, "Configuration", "0.2", "pb tr" ),
        MODULE( openssl, "OpenSSL", "0.2", "pb" ),
        MODULE( cry, "Cryptography", "0.2", "bn cs in openssl pb rfc tr" ),
    };
    return all;
}

std::string markerOf( const Case &each )
{
    return std::string( "###QM_VERSION### orvelletr-" FRAME_VERSION " (Linux, " ) + processor + ", " +
        ( std::string( each.name ) == "cry" ? FRAME_CRY_BUILD_KIND : FRAME_BUILD_KIND ) + "), " + each.name + " " + each.version;
}

class ModuleRecord : public testing::TestWithParam<size_t>
{
protected:
    const Case &each = cases()[GetParam()];
};

}

TEST_P( ModuleRecord, BelongsToTheModuleObject )
{
    EXPECT_EQ( each.module, each.exported );
    EXPECT_EQ( each.module->record, each.record );
    EXPECT_EQ( pbModuleRecord( each.module ), each.record );
    EXPECT_LT( each.module->header.refCount, 0 );
    EXPECT_STREQ( pbSortName( each.module->header.sort ), "PB_MODULE" );
}

TEST_P( ModuleRecord, NamesTheProduct )
{
    EXPECT_EQ( each.record->formatVersion, 2 );
    EXPECT_STREQ( each.record->productTag, "orvelletr" );
    EXPECT_STREQ( each.record->productDisplayName, FRAME_DISPLAY_NAME );
    EXPECT_STREQ( each.record->vendorName, FRAME_VENDOR );
    EXPECT_STREQ( each.record->copyright, FRAME_COPYRIGHT );
    std::string version = std::to_string( each.record->productVersionMajor ) + "." + std::to_string( each.record->productVersionMinor ) + "." +
        std::to_string( each.record->productVersionBuild );
    EXPECT_EQ( version, FRAME_VERSION );
}

TEST_P( ModuleRecord, NamesTheModule )
{
    EXPECT_STREQ( each.record->moduleName, each.name );
    EXPECT_STREQ( each.record->moduleDescription, each.description );
    EXPECT_STREQ( each.record->moduleVersion, each.version );
    EXPECT_STREQ( each.record->dependencies, each.dependencies );
    EXPECT_STREQ( each.record->last, "" );
    EXPECT_EQ( text( pb::adopt( pbModuleVersion( each.module ) ) ), each.version );
}

TEST_P( ModuleRecord, GivesTheBuildTimeWithItsWeekday )
{
    std::tm     parts{};
    const char *rest = strptime( each.record->buildTime, "UTC %Y-%m-%d %H:%M:%S", &parts );
    ASSERT_NE( rest, nullptr ) << each.record->buildTime;
    std::time_t moment = timegm( &parts );
    std::tm     again{};
    char        wanted[64];
    ASSERT_NE( std::strftime( wanted, sizeof wanted, "UTC %Y-%m-%d %H:%M:%S (%A)", gmtime_r( &moment, &again ) ), 0U );
    EXPECT_STREQ( each.record->buildTime, wanted );
}

TEST_P( ModuleRecord, HasAVersionMarker ) { EXPECT_EQ( each.marker, markerOf( each ) ); }

INSTANTIATE_TEST_SUITE_P(
    All, ModuleRecord, testing::Range( size_t( 0 ), cases().size() ), []( const auto &info ) { return cases()[info.param].name; } );

TEST( VersionMarker, IsFoundByScanningTheFileForItsPrefix )
{
    std::ifstream in( FRAME_LIBCRY, std::ios::binary );
    std::string   content{ std::istreambuf_iterator<char>( in ), {} };
    ASSERT_FALSE( content.empty() ) << FRAME_LIBCRY;
    size_t at = content.find( "###QM_VERSION### " );
    ASSERT_NE( at, std::string::npos );
    EXPECT_STREQ( content.c_str() + at, markerOf( cases().back() ).c_str() );
    EXPECT_EQ( content.find( "###QM_VERSION### ", at + 1 ), std::string::npos );
}
