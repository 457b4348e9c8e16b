#include "track/Drain.h"

#include <algorithm>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace zentara::track {

Drain::Drain(Flush flush, Patience patience) : flush_(std::move(flush)), patience_(patience) {}

bool Drain::run(const Progress& progress) {
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + patience_.withoutDelivery;
    auto pause = patience_.firstPause;
    std::int64_t delivered = 0;
    for (;;) {
        const auto told = std::make_shared<std::promise<FlushResult>>();
        flush_(patience_.flush, [told](const FlushResult& result) { told->set_value(result); });
        const auto result = told->get_future().get();
        if (result.delivered > 0) {
            delivered += result.delivered;
            if (progress) progress(delivered);
            deadline = Clock::now() + patience_.withoutDelivery;
            pause = patience_.firstPause;
        }
        if (result.outcome == FlushResult::Outcome::empty) return true;
        const bool isFailed = result.outcome != FlushResult::Outcome::deadline;
        const auto wait = isFailed ? pause : std::chrono::milliseconds(0);
        if (Clock::now() + wait >= deadline) return false;
        std::this_thread::sleep_for(wait);
        if (isFailed) pause = std::min(pause * 2, patience_.longestPause);
    }
}

}  // namespace zentara::track
