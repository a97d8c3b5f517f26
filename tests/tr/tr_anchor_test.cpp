#include <tr/tr_anchor.h>

#include "tr/traces.hpp"

using namespace support;
using traces::Attached;
using traces::head;
using traces::with;
using Json = nlohmann::ordered_json;

static Json linkTo( const pb::Ref<TR_STREAM> &from, PB_INT kind, const pb::Ref<TR_STREAM> &to )
{
    return with( head( from, "link" ),
        { { "kind", kind }, { "otherStream", trStreamNumber( to.get() ) }, { "otherName", text( pb::adopt( trStreamName( to.get() ) ) ) } } );
}

TEST( TrAnchor, LinksItsOwnerToTheStreamThatCompletesIt )
{
    pb::Ref<TR_STREAM> stack     = traces::stream( "CRY_X509_STACK" );
    pb::Ref<TR_STREAM> session   = traces::stream( "CRY_X509_SESSION" );
    pb::Ref<TR_STREAM> validator = traces::stream( "CRY_X509_VALIDATOR" );
    pb::Ref<TR_ANCHOR> cut       = pb::adopt( trAnchorCreate( stack.get(), 10 ) );
    pb::Ref<TR_ANCHOR> validates = pb::adopt( trAnchorCreate( validator.get(), 9 ) );
    EXPECT_EQ( trAnchorKind( cut.get() ), 10 );
    Attached sink( trSinkCreateMemory() );
    trAnchorComplete( cut.get(), session.get() );
    trAnchorComplete( validates.get(), session.get() );
    EXPECT_EQ( traces::events( sink ), ( std::vector<Json>{ linkTo( stack, 10, session ), linkTo( validator, 9, session ) } ) );
}

TEST( TrAnchor, MayBeCompletedMoreThanOnce )
{
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_STREAM> first  = traces::stream( "FIRST" );
    pb::Ref<TR_STREAM> second = traces::stream( "SECOND" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 10 ) );
    Attached           sink( trSinkCreateMemory() );
    trAnchorComplete( anchor.get(), first.get() );
    trAnchorComplete( anchor.get(), second.get() );
    EXPECT_EQ( traces::events( sink ), ( std::vector<Json>{ linkTo( owner, 10, first ), linkTo( owner, 10, second ) } ) );
}

TEST( TrAnchor, KeepsNoStreamAlive )
{
    Attached           sink( trSinkCreateMemory() );
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_STREAM> other  = traces::stream( "OTHER" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 10 ) );
    EXPECT_FALSE( pbObjIsShared( owner.obj() ) );
    trAnchorComplete( anchor.get(), other.get() );
    EXPECT_FALSE( pbObjIsShared( other.obj() ) );
    Json wanted = linkTo( owner, 10, other );
    owner       = {};
    trAnchorComplete( anchor.get(), other.get() );
    EXPECT_EQ( traces::events( sink ), ( std::vector<Json>{ wanted, wanted } ) );
}
