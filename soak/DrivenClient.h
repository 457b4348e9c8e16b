#pragma once

#include <zentara/ZentaraClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "facade/ZentaraClientBuilder.h"
#include "platform/FileSystem.h"
#include "support/Clocks.h"
#include "support/ManualTicker.h"
#include "support/Mutex.h"

namespace zentara::soak {

/// The whole library in this process, with files and network as in an application, but with a
/// simulated time.
class DrivenClient {
  public:
    /// Opens the queues of the documents directory. `files` must not be destroyed.
    explicit DrivenClient(FileSystem& files);

    /// Replaces the client by a new client on the same queues, which starts to fetch its schemas
    /// and an identity.
    void renew();

    /// Lets one dispatch interval pass: fires the timers and runs deferred work on files, such as
    /// the checkpoint.
    void passInterval();

    [[nodiscard]] ZentaraClient& client() const { return *client_; }
    [[nodiscard]] std::chrono::seconds timePassed() const;

  private:
    /// A counter that changes only in `passInterval`.
    struct Time final : ControlTimeProtocol {
        [[nodiscard]] std::uint64_t currentMonotonicValue() const override { return ticks; }
        std::atomic<std::uint64_t> ticks = 0;
    };

    struct Deferred {
        Mutex mutex;
        std::vector<std::function<void()>> work ZENTARA_GUARDED_BY(mutex);
    };

    FileSystem& files_;
    // Leaked, since requests in flight use it.
    Time& time_ = *new Time;
    const std::shared_ptr<Deferred> deferred_ = std::make_shared<Deferred>();
    ClientQueues queues_;
    std::shared_ptr<ZentaraClient> client_;
    std::vector<test::ManualTicker> tickers_;
};

}  // namespace zentara::soak
