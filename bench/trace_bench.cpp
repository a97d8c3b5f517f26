#include "pairs.hpp"

#include <memory>
#include <tr/tr.h>

namespace
{

constexpr char line[] = "[cry___X509StackImpStateCommit()] identityChanged: true";

using Stream = std::shared_ptr<pb::Ref<TR_STREAM>>;

// The other side of these pairs is a loop that does nothing.
template<class Ours>
void againstNothing( const std::string &name, Ours ours )
{
    bench::pair( "trace, nobody listens: " + name, ours, [] { benchmark::ClobberMemory(); } );
}

}

void bench::registerTraces()
{
    Stream stream = std::make_shared<pb::Ref<TR_STREAM>>( pb::adopt( trStreamCreateCstr( "BENCH", -1 ) ) );
    Stream other  = std::make_shared<pb::Ref<TR_STREAM>>( pb::adopt( trStreamCreateCstr( "BENCH", -1 ) ) );
    auto   anchor = std::make_shared<pb::Ref<TR_ANCHOR>>( pb::adopt( trAnchorCreate( other->get(), 10 ) ) );
    againstNothing( "trStreamActive", [stream] { benchmark::DoNotOptimize( trStreamActive( stream->get() ) ); } );
    againstNothing( "a text", [stream] { trStreamTextCstr( stream->get(), line, -1 ); } );
    againstNothing(
        "a formatted text", [stream] { trStreamTextFormatCstr( stream->get(), "error %i at depth %i", -1, PB_INT{ 20 }, PB_INT{ 1 } ); } );
    againstNothing( "a property", [stream] { trStreamSetPropertyCstrBool( stream->get(), "crySuccess", -1, PB_TRUE ); } );
    againstNothing( "a link", [stream, anchor] { trAnchorComplete( anchor->get(), stream->get() ); } );
}
