#include <rfc/rfc.h>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

std::vector<PB_INT> valuesOf( const pb::Ref<RFC_BASE_OPTIONS> &options )
{
    return { rfcBaseOptionsFlags( options.get() ), rfcBaseOptionsOutputLineLength( options.get() ), rfcBaseOptionsOutputNlf( options.get() ) };
}

using Values = std::vector<PB_INT>;

}

TEST( RfcBaseOptions, BeginWithOnePaddedLineWithoutAnEnd )
{
    EXPECT_EQ( valuesOf( pb::adopt( rfcBaseOptionsCreate() ) ), ( Values{ 0, 0, RFC_BASE_NLF_NONE } ) );
}

TEST( RfcBaseOptions, HoldWhatIsSet )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetFlags( options.handle(), RFC_BASE_FLAG_END_LAST_LINE );
    EXPECT_EQ( valuesOf( options ), ( Values{ 2, 0, 0 } ) );
    rfcBaseOptionsSetOutputLineLength( options.handle(), 64 );
    EXPECT_EQ( valuesOf( options ), ( Values{ 2, 64, 0 } ) );
    for( PB_INT nlf = RFC_BASE_NLF_NONE; nlf <= RFC_BASE_NLF_CRLF; nlf++ )
    {
        rfcBaseOptionsSetOutputNlf( options.handle(), nlf );
        EXPECT_EQ( valuesOf( options ), ( Values{ 2, 64, nlf } ) );
    }
    rfcBaseOptionsSetFlags( options.handle(), 0 );
    rfcBaseOptionsSetOutputLineLength( options.handle(), PB_INT_MAX );
    EXPECT_EQ( valuesOf( options ), ( Values{ 0, PB_INT_MAX, 4 } ) );
}

TEST( RfcBaseOptions, DropUndefinedFlags )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    for( PB_INT flags : { (PB_INT)4, (PB_INT)-4, PB_INT_MIN } )
    {
        rfcBaseOptionsSetFlags( options.handle(), flags );
        EXPECT_EQ( rfcBaseOptionsFlags( options.get() ), 0 );
        rfcBaseOptionsSetFlags( options.handle(), flags | RFC_BASE_FLAG_NO_PADDING );
        EXPECT_EQ( rfcBaseOptionsFlags( options.get() ), RFC_BASE_FLAG_NO_PADDING );
    }
    rfcBaseOptionsSetFlags( options.handle(), -1 );
    EXPECT_EQ( rfcBaseOptionsFlags( options.get() ), 3 );
}

TEST( RfcBaseOptions, ChangeForTheirHolderOnly )
{
    pb::Ref<RFC_BASE_OPTIONS> mine   = pb::adopt( rfcBaseOptionsCreate() );
    pb::Ref<RFC_BASE_OPTIONS> theirs = mine;
    rfcBaseOptionsSetFlags( mine.handle(), 1 );
    EXPECT_NE( mine.get(), theirs.get() );
    RFC_BASE_OPTIONS *own = mine.get();
    rfcBaseOptionsSetOutputLineLength( mine.handle(), 76 );
    rfcBaseOptionsSetOutputNlf( mine.handle(), RFC_BASE_NLF_LF );
    EXPECT_EQ( mine.get(), own );
    EXPECT_EQ( valuesOf( mine ), ( Values{ 1, 76, 1 } ) );
    EXPECT_EQ( valuesOf( theirs ), ( Values{ 0, 0, 0 } ) );
}

TEST( RfcBaseOptions, AreCopiedWhole )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetFlags( options.handle(), 3 );
    rfcBaseOptionsSetOutputLineLength( options.handle(), 5 );
    rfcBaseOptionsSetOutputNlf( options.handle(), RFC_BASE_NLF_NEL );
    pb::Ref<RFC_BASE_OPTIONS> copy = pb::adopt( rfcBaseOptionsCreateFrom( options.get() ) );
    EXPECT_NE( copy.get(), options.get() );
    EXPECT_EQ( valuesOf( copy ), ( Values{ 3, 5, 3 } ) );
    EXPECT_TRUE( rfcBaseOptionsEquals( copy.get(), options.get() ) );
    rfcBaseOptionsSetFlags( copy.handle(), 0 );
    EXPECT_EQ( valuesOf( options ), ( Values{ 3, 5, 3 } ) );
}

TEST( RfcBaseOptions, AreOrderedByFlagsThenLengthThenLineEnd )
{
    auto make = []( PB_INT flags, PB_INT lineLength, PB_INT nlf ) {
        pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
        rfcBaseOptionsSetFlags( options.handle(), flags );
        rfcBaseOptionsSetOutputLineLength( options.handle(), lineLength );
        rfcBaseOptionsSetOutputNlf( options.handle(), nlf );
        return options;
    };
    std::vector<pb::Ref<RFC_BASE_OPTIONS>> order;
    for( PB_INT flags : { 0, 3 } )
    {
        for( PB_INT lineLength : { 0, 64 } )
        {
            for( PB_INT nlf : { 0, 4 } )
                order.push_back( make( flags, lineLength, nlf ) );
        }
    }
    for( size_t a = 0; a < order.size(); a++ )
    {
        for( size_t b = 0; b < order.size(); b++ )
        {
            EXPECT_EQ( rfcBaseOptionsCompare( order[a].get(), order[b].get() ), a < b ? -1 : a > b ) << a << " " << b;
            EXPECT_EQ( rfcBaseOptionsEquals( order[a].get(), order[b].get() ), a == b );
        }
    }
}

TEST( RfcBaseOptions, HaveTheirNameAndAddressAsText )
{
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    pb::Ref<PB_STRING>        wanted  = pb::adopt( pbStringCreateFromFormatCstr( "RFC_BASE_OPTIONS(0x%!16i)", -1, (PB_INT)(intptr_t)options.get() ) );
    EXPECT_EQ( text( pb::adopt( rfcBaseOptionsToString( options.get() ) ) ), text( wanted ) );
}

TEST( RfcModule, NamesItself )
{
    const PB_MODULE_RECORD *record = pbModuleRecord( rfcModule() );
    EXPECT_STREQ( record->moduleName, "rfc" );
    EXPECT_STREQ( record->moduleVersion, "0.2" );
    EXPECT_STREQ( record->dependencies, "pb" );
}
