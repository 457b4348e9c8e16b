#pragma once

#include <zentara/CollectorClient.h>

#include <cstdint>
#include <functional>
#include <string>

namespace zentara::soak {

/// One event of one envelope that the collector has stored.
struct Arrival {
    std::int64_t number = 0;  ///< that the host gave the event
    std::string actionUUID;
    std::string tenant;
    std::int64_t envelope = 0;
    bool isAcknowledged = false;  ///< the collector has sent a successful answer
};

/// Passes all stored events of a collector to `take`, in order of arrival. Returns the number of
/// envelopes that were posted, stored or not. Throws `CollectorError`, also if an event is not one
/// of the numbered events or does not fit its schema.
std::int64_t forEachArrival(const collector::CollectorClient& collector,
                            const std::function<void(const Arrival&)>& take);

}  // namespace zentara::soak
