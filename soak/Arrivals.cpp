#include "Arrivals.h"

#include <zentara/JSONValue.h>

#include <vector>

#include "Traffic.h"

namespace zentara::soak {

namespace {

constexpr std::int64_t pageSize = 1000;

struct Requests {
    std::int64_t count = 0;
    std::vector<bool> acknowledged;  ///< for each stored envelope, in order
};

Requests requestsWithEvents(const collector::CollectorClient& collector) {
    Requests result;
    for (std::int64_t offset = 0;; offset += pageSize) {
        const auto page = collector.get("/received/requests?offset=" + std::to_string(offset) +
                                        "&limit=" + std::to_string(pageSize));
        for (const auto& request : page.at("requests").array()) {
            if (request.at("service").string() == "event") ++result.count;
            // A request and its envelope are stored together, so both are in the same order.
            if (request.at("storedEvents").integer() == 0) continue;
            const auto* const met = request.object().find("fault");
            const std::string fault(met == nullptr ? "" : met->string());
            // With "garbage" the status is 200, which is enough for the library.
            result.acknowledged.push_back(fault.find("lost") == std::string::npos &&
                                          fault.find("truncated") == std::string::npos &&
                                          fault.find("not-http") == std::string::npos);
        }
        if (offset + pageSize >= page.at("total").integer()) return result;
    }
}

}  // namespace

std::int64_t forEachArrival(const collector::CollectorClient& collector,
                            const std::function<void(const Arrival&)>& take) {
    const auto requests = requestsWithEvents(collector);
    std::int64_t last = 0;
    for (;;) {
        const auto page = collector.get("/received/events?good=any&after=" + std::to_string(last) +
                                        "&limit=" + std::to_string(pageSize));
        const auto& events = page.at("events").array();
        if (events.empty()) return requests.count;
        for (const auto& entry : events) {
            const auto number = numberOf(entry.at("event").object());
            if (!number || !entry.at("good").boolean()) {
                throw collector::CollectorError("unexpected event " + JSONValue(entry).text());
            }
            last = entry.at("number").integer();
            const auto envelope = entry.at("envelope").integer();
            take({.number = *number,
                  .actionUUID = std::string(entry.at("actionUUID").string()),
                  .tenant = std::string(entry.at("tenant").string()),
                  .envelope = envelope,
                  .isAcknowledged =
                      requests.acknowledged.at(static_cast<std::size_t>(envelope - 1))});
        }
    }
}

}  // namespace zentara::soak
