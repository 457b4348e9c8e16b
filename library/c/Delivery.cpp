#include <algorithm>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <utility>

#include "c/Boundary.h"
#include "support/threads/CallbackScope.h"
#include "support/threads/WorkerPool.h"
#include "text/Unicode.h"

using namespace zentara;
using namespace zentara::c;

static_assert(static_cast<int>(FlushResult::Outcome::empty) == ZENTARA_FLUSH_EMPTY &&
                  static_cast<int>(FlushResult::Outcome::failed) == ZENTARA_FLUSH_FAILED &&
                  static_cast<int>(FlushResult::Outcome::deadline) == ZENTARA_FLUSH_DEADLINE &&
                  static_cast<int>(FlushResult::Outcome::refused) == ZENTARA_FLUSH_REFUSED,
              "the outcomes are those of FlushResult");

namespace {

using std::chrono::milliseconds;

/// A hundred years at most: a moment of the clocks must be able to hold it.
milliseconds deadlineOf(std::int64_t count) noexcept {
    return milliseconds(std::clamp<std::int64_t>(count, 0, 3'153'600'000'000));
}

FlushResult withValidTexts(FlushResult result) {
    result.lastFailure = withValidUTF8(std::move(result.lastFailure));
    return result;
}

/// The texts live as long as `result`.
zentara_flush_result recordOf(const FlushResult& result) noexcept {
    return {.size = sizeof(zentara_flush_result),
            .outcome = static_cast<zentara_flush_outcome>(result.outcome),
            .delivered = result.delivered,
            .waiting = result.waiting,
            .held_back = result.heldBack,
            .last_failure = borrowed(result.lastFailure)};
}

/// Refuses a record before anything is done.
void check(const zentara_flush_result* record) {
    if (record != nullptr) checkRecord(record, record->size);
}

void report(FlushResult result, zentara_flush_result* record) {
    if (record == nullptr) return;
    auto& kept = ThreadTexts::own().flushResult;
    kept = withValidTexts(std::move(result));
    writeRecord(record, recordOf(kept));
}

/// Whether the result arrives before `latest`. Gives up when the process ends, because the workers
/// begin nothing then.
bool arrives(std::future<FlushResult>& result, std::chrono::steady_clock::time_point latest) {
    constexpr milliseconds step{50};
    for (;;) {
        const auto until = std::min(latest, std::chrono::steady_clock::now() + step);
        if (result.wait_until(until) == std::future_status::ready) return true;
        if (until == latest || WorkerPool::shared().isEnding()) return false;
    }
}

/// Waits a second longer than the deadline: callbacks of the host may delay the completion.
FlushResult flushAndWait(milliseconds deadline) {
    using Outcome = FlushResult::Outcome;
    if (CallbackScope::isInside()) {
        return {.outcome = Outcome::refused, .lastFailure = "a callback cannot wait for a flush"};
    }
    const auto latest = std::chrono::steady_clock::now() + deadline + std::chrono::seconds(1);
    const auto done = std::make_shared<std::promise<FlushResult>>();
    ZentaraClient::flush(deadline, [done](const FlushResult& result) { done->set_value(result); });
    auto result = done->get_future();
    if (!arrives(result, latest)) {
        const auto left = ZentaraClient::statistics();
        return {.outcome = Outcome::deadline,
                .waiting = left.waiting + left.inFlight,
                .heldBack = left.heldBackWaiting,
                .lastFailure = "callbacks have not returned, or the process ends"};
    }
    return result.get();
}

}  // namespace

zentara_status zentara_flush(int64_t deadline, zentara_flush_callback completion, void* context,
                             void (*release)(void*)) noexcept {
    return guarded([&] {
        auto report = calling<FlushCallback>(
            completion, context, release,
            [](zentara_flush_callback function, void* owner, const FlushResult& result) {
                const auto valid = withValidTexts(result);
                const auto record = recordOf(valid);
                function(owner, &record);
            });
        ZentaraClient::flush(deadlineOf(deadline), std::move(report));
    });
}

zentara_status zentara_flush_and_wait(int64_t deadline, zentara_flush_result* result) noexcept {
    return guarded([&] {
        check(result);
        report(flushAndWait(deadlineOf(deadline)), result);
    });
}

zentara_status zentara_shutdown(int64_t deadline, zentara_flush_result* result) noexcept {
    return guarded([&] {
        check(result);
        report(ZentaraClient::shutdown(deadlineOf(deadline)), result);
    });
}

void zentara_pause_delivery() noexcept {
    ZentaraClient::pauseDelivery();
}

void zentara_resume_delivery() noexcept {
    ZentaraClient::resumeDelivery();
}

void zentara_retry_refused() noexcept {
    static_cast<void>(guarded([] { ZentaraClient::retryRefused(); }));
}
