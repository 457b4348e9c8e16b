#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// How a response is sent. All but `whole` imitate a broken server.
enum class Transmission {
    whole,
    truncated,  ///< half of the announced body, then the connection closes
    garbage,    ///< bytes that are not HTTP, then the connection closes
    dropped,    ///< the connection is reset without an answer
    none,       ///< nothing, until the client gives up or the server stops
};

struct Delivery {
    HttpResponse response;
    Transmission transmission = Transmission::whole;
    std::chrono::milliseconds delay{0};  ///< before the first byte
};

/// Text pushed to a client until it leaves. Any thread.
class EventStream {
  public:
    virtual ~EventStream() = default;

    /// Queues `text`; does nothing after the client has gone. A client that does not read is
    /// disconnected once more than `mostUnread` bytes are queued.
    virtual void write(std::string text) = 0;
    [[nodiscard]] virtual bool isOpen() const = 0;

    static constexpr std::size_t mostUnread = 1024UL * 1024;
};

/// One request and its answer. Any thread. Destroying an unanswered exchange drops its connection.
class Exchange {
  public:
    virtual ~Exchange() = default;

    [[nodiscard]] virtual const HttpRequest& request() const = 0;

    /// False once the client has gone or was answered. A client that has ended its sending counts
    /// as gone, since the two cannot be told apart; an answer is still sent to it.
    [[nodiscard]] virtual bool isOpen() const = 0;

    /// Answers. Called once, unless `openStream` is.
    virtual void deliver(Delivery delivery) = 0;

    /// Answers with status 200 and a body of type "text/event-stream", which ends when the client
    /// leaves or the server stops.
    [[nodiscard]] virtual std::shared_ptr<EventStream> openStream() = 0;
};

/// What a server serves. Called on the server's threads, several at a time.
class HttpHandler {
  public:
    virtual ~HttpHandler() = default;

    /// An answer to a request that is not served, which is sent instead of reading the body; the
    /// connection closes afterwards. Called with each valid head, before `readingPace`; may change
    /// it.
    [[nodiscard]] virtual std::optional<HttpResponse> turnAway(HttpRequest& /*head*/) {
        return std::nullopt;
    }

    /// How fast to read the body of a request, in bytes a second; nothing means at once. Called
    /// once for each request with a valid head, before `handle`, even if there is no body. `head`
    /// has no body yet; its tag may be set. If the client gives up or is too slow, `handle` is not
    /// called and the tag is released, on any thread.
    [[nodiscard]] virtual std::optional<std::size_t> readingPace(HttpRequest& head) = 0;

    virtual void handle(std::shared_ptr<Exchange> exchange) = 0;

    /// The answer to a malformed or too large request; `request` holds the part that was read.
    /// The connection closes afterwards.
    [[nodiscard]] virtual HttpResponse refuse(const HttpRequest& request, int status,
                                              const std::string& reason) = 0;
};

}  // namespace zentara::collector
