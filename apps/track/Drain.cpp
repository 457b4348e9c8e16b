#include "track/Drain.h"

#include <algorithm>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace zentara::track {

namespace {

using Clock = std::chrono::steady_clock;

/// The result of one fetch; nothing if there is none by `deadline`.
std::optional<BackgroundFetchResult> fetchUntil(const Drain::Fetch& fetch,
                                                Clock::time_point deadline) {
    // The callback may be called after this function has returned.
    const auto told = std::make_shared<std::promise<BackgroundFetchResult>>();
    auto result = told->get_future();
    fetch([told](BackgroundFetchResult outcome) { told->set_value(outcome); });
    if (result.wait_until(deadline) != std::future_status::ready) return std::nullopt;
    return result.get();
}

}  // namespace

Drain::Drain(Fetch fetch, Settled settled, Patience patience)
    : fetch_(std::move(fetch)), settled_(std::move(settled)), patience_(patience) {}

Drain::Result Drain::run(const Progress& progress) {
    Result result;
    auto deadline = Clock::now() + patience_.withoutDelivery;
    auto pause = patience_.firstPause;
    bool wasQuiet = false;
    for (;;) {
        const auto outcome = fetchUntil(fetch_, deadline);
        if (outcome == BackgroundFetchResult::noData && settled_()) {
            if (wasQuiet) {
                result.complete = true;
                return result;
            }
            wasQuiet = true;
            std::this_thread::sleep_for(patience_.moment);
            continue;
        }
        wasQuiet = false;
        if (outcome == BackgroundFetchResult::newData) {
            ++result.batches;
            if (progress) progress(result.batches);
            deadline = Clock::now() + patience_.withoutDelivery;
            pause = patience_.firstPause;
            continue;
        }
        if (!outcome || Clock::now() + pause >= deadline) return result;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, patience_.longestPause);
    }
}

}  // namespace zentara::track
