#pragma once

#include <deque>
#include <functional>
#include <memory>

#include <zentara/EventError.h>
#include "support/Mutex.h"

namespace zentara {

/// Carries readiness reports to the host's ready callback, one at a time and in order, without a
/// lock held. Reports that come before the client is in place wait until `open`. Later ones are
/// delivered on the strand of the host's callbacks. Safe for use from any thread, the callback
/// included. Owned by a `shared_ptr`.
class ReadinessRelay : public std::enable_shared_from_this<ReadinessRelay> {
  public:
    using Callback = std::function<void(ZentaraClientErrorRef)>;

    /// `callback` may be null.
    explicit ReadinessRelay(Callback callback) : callback_(std::move(callback)) {}

    ReadinessRelay(const ReadinessRelay&) = delete;
    ReadinessRelay& operator=(const ReadinessRelay&) = delete;

    void report(ZentaraClientErrorRef error);

    /// Delivers what has come so far before it returns, and what comes from now on as it comes.
    void open();

  private:
    /// Calls back until nothing is left; for the one thread that has set `isDelivering_`.
    void deliver();

    const Callback callback_;

    Mutex mutex_;
    std::deque<ZentaraClientErrorRef> reports_ ZENTARA_GUARDED_BY(mutex_);
    bool isOpen_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isDelivering_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
