#include <algorithm>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <utility>

#include "c/Boundary.h"
#include "support/threads/CallbackScope.h"

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
    kept = std::move(result);
    writeRecord(record, recordOf(kept));
}

/// Waits a second longer than the deadline: callbacks of the host may delay the completion.
FlushResult flushAndWait(milliseconds deadline) {
    using Outcome = FlushResult::Outcome;
    if (CallbackScope::isInside()) {
        return {.outcome = Outcome::refused, .lastFailure = "a callback cannot wait for a flush"};
    }
    const auto done = std::make_shared<std::promise<FlushResult>>();
    ZentaraClient::flush(deadline, [done](const FlushResult& result) { done->set_value(result); });
    auto result = done->get_future();
    if (result.wait_for(deadline + std::chrono::seconds(1)) != std::future_status::ready) {
        return {.outcome = Outcome::deadline, .lastFailure = "callbacks have not returned"};
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
                const auto record = recordOf(result);
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
