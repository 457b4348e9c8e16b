#include "dispatch/BackOff.h"

#include <algorithm>

namespace zentara {

namespace {

using std::chrono::milliseconds;

/// The longest wait after the first failure.
constexpr milliseconds firstBackOff = std::chrono::seconds(10);
/// The doubling ends here, far above the longest wait.
constexpr std::int64_t mostDoublings = 20;

}  // namespace

milliseconds backOffUntil(std::int64_t failuresInARow,
                          std::optional<std::chrono::seconds> retryAfter, double random,
                          milliseconds now) {
    if (retryAfter) {
        const auto most = std::chrono::duration_cast<std::chrono::seconds>(longestBackOff);
        return now + std::clamp(*retryAfter, std::chrono::seconds(0), most);
    }
    const auto doublings = std::clamp(failuresInARow - 1, std::int64_t(0), mostDoublings);
    const auto longest = std::min(firstBackOff * (std::int64_t(1) << doublings), longestBackOff);
    const std::chrono::duration<double, std::milli> randomPart = longest / 2 * random;
    return now + longest / 2 + std::chrono::duration_cast<milliseconds>(randomPart);
}

}  // namespace zentara
