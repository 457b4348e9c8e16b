#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

#include <zentara/EventError.h>
#include "support/Mutex.h"

namespace zentara {

/// Carries readiness reports to the host's ready callback, one at a time and in order, without a
/// lock held. Reports that arrive before the client is built wait until `open`. The first reports
/// of the building thread, which made the relay, are delivered there; the others on the strand of
/// the host's callbacks. Safe for use from any thread, the callback included. Owned by a
/// `shared_ptr`.
class ReadinessRelay : public std::enable_shared_from_this<ReadinessRelay> {
  public:
    using Callback = std::function<void(ZentaraClientErrorRef)>;

    /// `callback` may be null.
    explicit ReadinessRelay(Callback callback) {
        if (callback) callback_ = std::make_shared<const Callback>(std::move(callback));
    }

    ReadinessRelay(const ReadinessRelay&) = delete;
    ReadinessRelay& operator=(const ReadinessRelay&) = delete;

    void report(ZentaraClientErrorRef error);

    /// Delivers the reports of the building thread before it returns, and the others from now on.
    void open();

    /// Forgets the callback. A call that has begun goes on.
    void close();

  private:
    /// Calls back until no report is left, at most `most` times; the rest is delivered on the
    /// strand. Only for the thread that has set `isDelivering_`.
    void deliver(std::size_t most);
    void deliverLater();

    const std::thread::id builder_ = std::this_thread::get_id();

    Mutex mutex_;
    std::shared_ptr<const Callback> callback_ ZENTARA_GUARDED_BY(mutex_);  // null for none
    std::deque<ZentaraClientErrorRef> reports_ ZENTARA_GUARDED_BY(mutex_);
    std::size_t ofBuilder_ ZENTARA_GUARDED_BY(mutex_) = 0;  // the first of `reports_`
    bool isOpen_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isDelivering_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
