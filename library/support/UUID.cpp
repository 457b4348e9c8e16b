#include "support/UUID.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace zentara {

UUIDText randomUUID() {
    // Straight from the system's generator: a seeded one would repeat itself after a fork.
    boost::uuids::random_generator generate;
    UUIDText uuid;
    boost::uuids::to_chars(generate(), uuid.characters_.begin());
    return uuid;
}

}  // namespace zentara
