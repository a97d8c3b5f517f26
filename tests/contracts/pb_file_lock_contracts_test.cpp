#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/files.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/pb/files/pb_file_lock.cpp";

TEST( PbFileLockContracts, Locks )
{
    TemporaryFolder       folder;
    pb::Ref<PB_FILE_LOCK> lock = pb::adopt( pbFileLockTryCreate( str( ( folder.path / "lock" ).string() ).get(), 0, nullptr ) );
    EXPECT_STANDARD_CHECKS( file, pb, FileLock, PB_FILE_LOCK, "lock", lock.get() );
    PB_BOOL busy;
    EXPECT_ABORT( file, "path", pbFileLockTryCreate( nullptr, 0, &busy ) );
}
