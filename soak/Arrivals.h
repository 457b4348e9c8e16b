#pragma once

#include <zentara/CollectorClient.h>

#include <cstdint>
#include <functional>
#include <string>

namespace zentara::soak {

/// One event of one envelope that the collector has stored.
struct Arrival {
    std::int64_t number = 0;  ///< of the event, as its host counts
    std::string actionUUID;
    std::string tenant;
    std::int64_t envelope = 0;
    bool isAcknowledged = false;  ///< the collector has sent an answer that says so
};

/// Hands all that a collector has stored to `take`, in order of arrival. Gives the number of
/// envelopes that it was sent, stored or not. Throws `CollectorError`, also for an event that no
/// host of ours has sent or that is not after its schema.
std::int64_t forEachArrival(const collector::CollectorClient& collector,
                            const std::function<void(const Arrival&)>& take);

}  // namespace zentara::soak
