#pragma once

#include <cstdlib>
#include <mutex>
#include <set>
#include <stop_token>
#include <string>
#include <utility>

#include "apps/collector/Samples.h"
#include "apps/collector/forward/Poster.h"

namespace zentara::test {

inline std::string envelopeOf(const std::string& uuid) {
    // The schema is unknown, so the event is bad.
    return collector::samples::envelope(collector::samples::action("unknown", uuid));
}

/// How often a test kills what it kills: ZENTARA_KILLS in its long form.
inline int killsAskedFor(int otherwise) {
    const char* const kills = std::getenv("ZENTARA_KILLS");
    return kills == nullptr ? otherwise : std::atoi(kills);
}

/// Posts an event again until it is acknowledged, then the next.
class PersistentClient {
  public:
    explicit PersistentClient(std::string name) : name_(std::move(name)) {}

    void moveTo(const std::string& collector) {
        const std::lock_guard lock(mutex_);
        collector_ = collector;
    }

    void run(const std::stop_token& end) {
        for (int number = 0; !end.stop_requested(); ++number) {
            const std::string uuid = name_ + "-" + std::to_string(number);
            while (!end.stop_requested()) {
                if (post(collector(), envelopeOf(uuid)).status != 200) continue;
                const std::lock_guard lock(mutex_);
                acknowledged_.insert(uuid);
                break;
            }
        }
    }

    std::set<std::string> acknowledged() {
        const std::lock_guard lock(mutex_);
        return acknowledged_;
    }

  private:
    std::string collector() {
        const std::lock_guard lock(mutex_);
        return collector_;
    }

    const std::string name_;
    std::mutex mutex_;
    std::string collector_;               // guarded by mutex_
    std::set<std::string> acknowledged_;  // guarded by mutex_
};

}  // namespace zentara::test
