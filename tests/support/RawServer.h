#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

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

  protected:
    /// Whether bytes came before the end.
    bool receive();

    const int descriptor_;
    std::string received_;
};

/// A TCP server on a free port of the loopback interface that sends the bytes of a script, for
/// answers that an HTTP server does not give.
class RawServer {
  public:
    /// Runs once per connection, for up to sixteen at a time; the connection is closed when it
    /// returns.
    using Script = std::function<void(RawConnection&)>;

    explicit RawServer(Script script);
    /// Ends the open connections and waits for their scripts.
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    /// Reads a request, sends `bytes`, closes.
    [[nodiscard]] static Script answer(std::string bytes);
    /// Never answers.
    [[nodiscard]] static Script silence();

    [[nodiscard]] URL url(std::string_view target = "") const;
    [[nodiscard]] int port() const noexcept { return port_; }

  private:
    void serve();

    const Script script_;
    int listener_ = -1;
    int port_ = 0;
    std::mutex mutex_;
    bool isEnding_ = false;  // guarded by mutex_
    std::set<int> open_;     // guarded by mutex_
    std::vector<std::thread> threads_;
};

}  // namespace zentara::test
