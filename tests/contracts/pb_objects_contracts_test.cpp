#include <pb/pb.h>
#include <pb/pb_mem.h>
#include <pb/pb_runtime.h>
#include <pb/sort.hpp>

#include "support/environment.hpp"
#include "support/no_memory.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char objFile[]     = "source/pb/objects/pb_obj.cpp";
static constexpr char memFile[]     = "source/pb/base/pb_mem.cpp";
static constexpr char moduleFile[]  = "source/pb/runtime/pb_module.cpp";
static constexpr char runtimeFile[] = "source/pb/runtime/pb_runtime.cpp";

TEST( PbObjectsContracts, Objects )
{
    EXPECT_ABORT( objFile, "size >= sizeof( PB_OBJ )", pb___ObjCreate( sizeof( PB_OBJ ) - 1, pbBufferSort() ) );
    EXPECT_ABORT( objFile, "size >= sizeof( PB_OBJ )", pb___ObjCreate( 0, nullptr ) );
    EXPECT_ABORT( objFile, "sort", pb___ObjCreate( sizeof( PB_OBJ ), nullptr ) );
    EXPECT_ABORT( objFile, "obj", pb___ObjFree( nullptr ) );
    EXPECT_ABORT( objFile, "obj", pbObjSort( nullptr ) );
    EXPECT_ABORT( objFile, "obj", pbObjRetain( nullptr ) );
    EXPECT_ABORT( objFile, "obj", pbObjRelease( nullptr ) );
    EXPECT_ABORT( objFile, "obj", pbObjIsShared( nullptr ) );
    EXPECT_ABORT( "source/pb/values/pb_obj_text.cpp", "obj", pbObjToString( nullptr ) );
    EXPECT_ABORT( objFile, "sort", pbSortName( nullptr ) );
}

TEST( PbObjectsContracts, Memory )
{
    EXPECT_ABORT( memFile, "PB_INT_TO_SIZET_CONV_OK( count )", pbMemReallocN( nullptr, -1, 1 ) );
    EXPECT_ABORT( memFile, "PB_INT_TO_SIZET_CONV_OK( count )", pbMemReallocN( nullptr, PB_INT_MIN, 0 ) );
    EXPECT_ABORT( memFile, "!__builtin_mul_overflow( (size_t)count, size, &bytes )", pbMemReallocN( nullptr, PB_INT_MAX, 3 ) );
}

TEST( PbObjectsContracts, ExhaustedMemory )
{
    void          *memory = pbMemAlloc( 8 );
    NoMemory       none;
    support::Abort alloc   = abortOf( [] { pbMemAlloc( 1 ); } );
    support::Abort zeroed  = abortOf( [] { pbMemAllocZeroed( 1 ); } );
    support::Abort realloc = abortOf( [=] { pbMemReallocN( memory, 4, 4 ); } );
    support::Abort moved   = abortOf( [=] { pbMemReallocSensitive( memory, 8, 16 ); } );
    support::Abort object  = abortOf( [] { pbVectorCreate(); } );
    for( const support::Abort &abort : { alloc, zeroed, realloc, moved, object } )
    {
        EXPECT_TRUE( abort.happened );
        EXPECT_EQ( abort.file, memFile );
        EXPECT_EQ( abort.expression, "memory" );
        EXPECT_EQ( abort.context, "(null)" );
    }
    // The memory that could not grow is still valid.
    pbMemFree( memory );
}

TEST( PbObjectsContracts, Modules )
{
    EXPECT_ABORT( moduleFile, "module", pbModuleRecord( nullptr ) );
    EXPECT_ABORT( moduleFile, "module", pbModuleVersion( nullptr ) );
    EXPECT_ABORT( runtimeFile, "module", pbRuntimeRegisterModule( nullptr ) );
}

TEST( PbObjectsContracts, RuntimeOptions )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    PB_RUNTIME_OPTIONS         *none    = nullptr;
    EXPECT_STANDARD_CHECKS( runtimeFile, pb, RuntimeOptions, PB_RUNTIME_OPTIONS, "options", options.get() );
    EXPECT_ABORT( runtimeFile, "source", pbRuntimeOptionsCreateFrom( nullptr ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsAppendModuleCstr( nullptr, "cry", -1 ) );
    EXPECT_ABORT( runtimeFile, "*options", pbRuntimeOptionsAppendModuleCstr( &none, "cry", -1 ) );
    EXPECT_ABORT( runtimeFile, "name", pbRuntimeOptionsAppendModuleCstr( options.handle(), nullptr, 0 ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsModules( nullptr ) );
    EXPECT_EQ( pbVectorLength( pb::adopt( pbRuntimeOptionsModules( options.get() ) ).get() ), 0 );
}

// A module of the program whose hooks try calls that are not allowed in a hook.
namespace
{

struct Attempt
{
    std::string    hook;
    support::Abort start, stop, registration;
};

std::vector<Attempt> attempts;

void attempt( const char *hook )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    attempts.push_back( { hook, abortOf( [&] { pbRuntimeStart( options.get() ); } ), abortOf( [] { pbRuntimeStop(); } ),
        abortOf( [] { pbRuntimeRegisterModule( pbModule() ); } ) } );
}

PB_BOOL attemptAtStartup()
{
    attempt( "startup" );
    return PB_TRUE;
}

const PB_MODULE_RECORD attemptingRecord = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "attempting", "", "1.0", "pb",
    "" };
const PB_MODULE        attempting       = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &attemptingRecord, attemptAtStartup, [] { attempt( "halt" ); },
    [] { attempt( "fourth" ); }, [] { attempt( "shutdown" ); } };

}

TEST( PbObjectsContracts, HooksNeitherStartNorStopNorRegister )
{
    pbRuntimeStop();
    pbRuntimeRegisterModule( &attempting );
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "attempting", -1 );
    ASSERT_TRUE( pbRuntimeStart( options.get() ) );
    EXPECT_TRUE( pbRuntimeStarted() );
    pbRuntimeStop();
    EXPECT_FALSE( pbRuntimeStarted() );
    ASSERT_EQ( attempts.size(), 4u );
    for( const Attempt &each : attempts )
    {
        for( const support::Abort &abort : { each.start, each.stop, each.registration } )
        {
            EXPECT_TRUE( abort.happened ) << each.hook;
            EXPECT_EQ( abort.file, runtimeFile );
            EXPECT_EQ( abort.expression, "!startingOrStopping" );
        }
    }
    startFamily();
}

TEST( PbObjectsContracts, StartAndStop )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    ASSERT_TRUE( pbRuntimeStarted() );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeStart( nullptr ) );
    EXPECT_ABORT( runtimeFile, "!started", pbRuntimeStart( options.get() ) );
    EXPECT_TRUE( pbRuntimeStarted() );

    pbRuntimeStop();
    EXPECT_ABORT( runtimeFile, "started", pbRuntimeStop() );
    EXPECT_FALSE( pbRuntimeStarted() );
    startFamily();
    EXPECT_TRUE( pbRuntimeStarted() );
}
