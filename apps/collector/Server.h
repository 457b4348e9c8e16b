#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <thread>

#include "collector/Services.h"

namespace httplib {
class Server;
}

namespace zentara::collector {

/// Serves the services over HTTP/1.1 on 127.0.0.1.
///
/// Each connection holds one of `workerCount` threads while it is open; one that is idle for a
/// second is closed, so that a stop never waits longer for it and more clients than threads get
/// their turn.
class Server {
  public:
    static constexpr std::size_t workerCount = 32;
    static constexpr std::size_t bodyLimit = 16UL * 1024 * 1024;

    /// `services` outlives the server.
    explicit Server(Services& services);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Listens on `port`, 0 for a free one, and returns the port once connections are accepted.
    /// `onEnd` is called, on a thread of the server, should listening end without `stop`. Throws
    /// `std::runtime_error` when the port cannot be had. To be called once.
    int start(int port, std::function<void()> onEnd = {});

    /// Answers the requests under way, then ends. Called again, it does nothing.
    void stop();

  private:
    Services& services_;
    std::unique_ptr<httplib::Server> http_;
    std::thread listener_;
};

}  // namespace zentara::collector
