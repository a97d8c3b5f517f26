#include "ours.hpp"
#include "peers.hpp"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <memory>

void peers::registerBoost()
{
    auto generator = std::make_shared<boost::uuids::random_generator>();
    bench::pair(
        "UUID made, with text: Boost", [] { bench::uuidText(); },
        [generator] {
            std::string text = to_string( ( *generator )() );
            benchmark::DoNotOptimize( text );
        } );
}
