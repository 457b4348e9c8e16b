#include "collector/expect/Expectation.h"

#include <utility>

#include "collector/expect/Arrivals.h"

namespace zentara::collector {

namespace {

std::string amountIn(const Expectation& expectation) {
    if (expectation.exactly && expectation.count == 0) return "no event";
    return (expectation.exactly ? "exactly " : "at least ") + std::to_string(expectation.count) +
           (expectation.count == 1 ? " event" : " events");
}

}  // namespace

std::string describe(const Expectation& expectation) {
    return amountIn(expectation) + " with " + queryFor(expectation.selection) + " within " +
           std::to_string(expectation.within.count()) + " ms";
}

ExpectationResult await(const CollectorClient& collector, const Expectation& expectation) {
    const auto& [selection, count, exactly, within] = expectation;
    const auto found = collector.waitFor(selection, count + (exactly ? 1 : 0), within);
    const bool isMet = exactly ? found.total == count : found.satisfied;
    std::string message = (isMet ? "met: " : "not met: ") + describe(expectation) + "; " +
                          std::to_string(found.total) + " arrived\n";
    if (!isMet) {
        message += found.total > count ? eventLines(found.events)
                                       : whatArrivedInstead(collector, selection);
    }
    return {.isMet = isMet, .message = std::move(message)};
}

}  // namespace zentara::collector
