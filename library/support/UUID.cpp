#include "support/UUID.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace zentara {

std::string lowerCaseUUID() {
    // Straight from the system's generator: a seeded one would repeat itself after a fork.
    boost::uuids::random_generator generate;
    return boost::uuids::to_string(generate());
}

}  // namespace zentara
