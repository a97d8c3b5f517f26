#include <pb/pb_header_info.h>
#include <pb/pb_module.h>
#include <pb/pb_string.h>
#include <pb/pb_time.h>
#include <pb/sort.hpp>
#include <pb/stored.hpp>

struct PB_HEADER_INFO : PB_OBJ
{
    PB_TIME   *created;
    PB_STRING *product;
    PB_STRING *productVersion;
};

static constexpr auto infoFields = pb::fields<&PB_HEADER_INFO::created, &PB_HEADER_INFO::product, &PB_HEADER_INFO::productVersion>;

PB_SORT_OF_FIELDS( pb, HeaderInfo, PB_HEADER_INFO, info, infoFields, infoFields )

PB_HEADER_INFO *pbHeaderInfoGenerate()
{
    const PB_MODULE_RECORD *record = pbModuleRecord( pbModule() );
    PB_HEADER_INFO         *info   = pb::create<PB_HEADER_INFO>();
    info->created                  = pbTimeNow();
    info->product                  = pbStringCreateFromCstr( record->productTag, -1 );
    info->productVersion           = pbStringCreateFromFormatCstr(
        "%i.%i.%i", -1, record->productVersionMajor, record->productVersionMinor, record->productVersionBuild );
    return info;
}

PB_STORE *pbHeaderInfoStore( PB_HEADER_INFO *info )
{
    PB_CHECK( info );
    return pb::StoreWriter()
        .value( "created", info->created, pbTimeToString )
        .value( "product", info->product )
        .value( "productVersion", info->productVersion )
        .take();
}
