#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <zentara/URL.h>

namespace zentara::test {

/// One accepted connection. Operations end early when the other side closes or the server ends.
class RawConnection {
  public:
    explicit RawConnection(int descriptor) : descriptor_(descriptor) {}

    /// One HTTP request, head and body (of the announced length), as it came; nothing when the
    /// connection ended first.
    [[nodiscard]] std::optional<std::string> readRequest();

    /// Whether all of `bytes` was taken.
    bool send(std::string_view bytes);

    void waitForClose();

  private:
    bool receive();

    int descriptor_;
    std::string received_;
};

/// A TCP server on a free port of the loopback interface that says exactly what a script tells it
/// to: for answers that no proper HTTP server gives.
class RawServer {
  public:
    /// Runs once per connection on a thread of its own; the connection is closed when it returns.
    using Script = std::function<void(RawConnection&)>;

    explicit RawServer(Script script);
    /// Ends the open connections and waits for their scripts.
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    /// Reads a request, sends `bytes`, closes.
    [[nodiscard]] static Script answer(std::string bytes);
    /// Reads a request and never says anything.
    [[nodiscard]] static Script silence();

    [[nodiscard]] URL url(std::string_view target = "") const;
    [[nodiscard]] int port() const noexcept { return port_; }

  private:
    struct Session {
        int descriptor = -1;
        std::thread thread;
        bool isOver = false;  // guarded by mutex_
    };

    void accept();
    void run(Session& session);
    /// Those that are over, or all.
    void end(bool all);

    const Script script_;
    int listener_ = -1;
    int port_ = 0;
    std::mutex mutex_;
    bool isEnding_ = false;        // guarded by mutex_
    std::list<Session> sessions_;  // guarded by mutex_
    std::thread acceptor_;
};

}  // namespace zentara::test
