#pragma once

#include <zentara/ZentaraClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "dispatch/EventsRepository.h"
#include "support/ControlTime.h"
#include "support/ManualTicker.h"
#include "support/Mutex.h"

namespace zentara::soak {

/// The whole library in this process, with files and network as in an application, but with a time
/// that passes when it is told to.
class DrivenClient {
  public:
    /// Begins with the queues that the documents directory holds.
    explicit DrivenClient(std::int64_t maxEvents);

    /// Puts a new client in place of the one before, on the same queues. It has begun to fetch its
    /// schemas and an identity.
    void renew();

    /// Lets one dispatch interval pass: what is due then has begun, and the work on files that was
    /// put off until then, such as the checkpoint, is done.
    void passInterval();

    [[nodiscard]] ZentaraClient& client() const { return *client_; }
    [[nodiscard]] std::chrono::seconds timePassed() const;

  private:
    /// A counter that stands still.
    struct Time final : ControlTimeProtocol {
        [[nodiscard]] std::uint64_t currentMonotonicValue() const override { return ticks; }
        std::atomic<std::uint64_t> ticks = 0;
    };

    struct PutOff {
        Mutex mutex;
        std::vector<std::function<void()>> work ZENTARA_GUARDED_BY(mutex);
    };

    // Requests under way keep what they use, also beyond this.
    Time& time_ = *new Time;
    const std::shared_ptr<PutOff> putOff_ = std::make_shared<PutOff>();
    std::shared_ptr<EventsRepository> events_;
    std::shared_ptr<EventsRepository> heldBackEvents_;
    std::shared_ptr<ZentaraClient> client_;
    std::vector<test::ManualTicker> tickers_;
};

}  // namespace zentara::soak
