#pragma once

#include <deque>
#include <functional>

#include <zentara/EventError.h>
#include "support/Mutex.h"

namespace zentara {

/// Carries readiness reports to the host's ready callback, one at a time and in order, without a
/// lock held. Reports that come before the client is in place wait until `open`. Safe for use from
/// any thread, the callback included.
class ReadinessRelay {
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
