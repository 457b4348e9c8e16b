#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// How a response goes onto the wire. All but `whole` are the ways of a broken server.
enum class Manner {
    whole,
    truncated,  ///< the headers announce the whole body; after half of it the connection closes
    garbage,    ///< bytes that are not HTTP, then the connection closes
    dropped,    ///< the connection is reset without an answer
    none,       ///< nothing, until the client gives up or the server stops
};

struct Delivery {
    HttpResponse response;
    Manner manner = Manner::whole;
    std::chrono::milliseconds delay{0};  ///< before the first byte
};

/// Text pushed to a client for as long as it listens. Any thread.
class EventStream {
  public:
    virtual ~EventStream() = default;

    /// Queues `text`. Nothing happens when the client has gone; one that does not read loses the
    /// connection once more than `mostUnread` bytes wait for it.
    virtual void write(std::string text) = 0;
    [[nodiscard]] virtual bool isOpen() const = 0;

    static constexpr std::size_t mostUnread = 1024UL * 1024;
};

/// One request that waits for its answer. Any thread. An exchange that is let go of without an
/// answer drops its connection.
class Exchange {
  public:
    virtual ~Exchange() = default;

    [[nodiscard]] virtual const HttpRequest& request() const = 0;

    /// False once the client has gone or was answered. A client that has ended its sending counts
    /// as gone, though an answer would still be sent to it: nothing tells the two apart.
    [[nodiscard]] virtual bool isOpen() const = 0;

    /// Answers. To be called once, unless `openStream` is.
    virtual void deliver(Delivery delivery) = 0;

    /// Answers with status 200 and a body of type "text/event-stream" that goes on until the client
    /// leaves or the server stops.
    [[nodiscard]] virtual std::shared_ptr<EventStream> openStream() = 0;
};

/// What a server serves. Called on the server's threads, several at a time.
class HttpHandler {
  public:
    virtual ~HttpHandler() = default;

    /// How fast the body of a request is to be read, in bytes a second; nothing means at once.
    /// Asked once for each request with a sound head, before anything else and also without a
    /// body. `head` has no body yet; of it the tag may be set. When the client gives up or is too
    /// slow, `handle` is never called and the tag is let go of, on any thread.
    [[nodiscard]] virtual std::optional<std::size_t> readingPace(HttpRequest& head) = 0;

    virtual void handle(std::shared_ptr<Exchange> exchange) = 0;

    /// The answer to what is not a request that can be handled (malformed, too large); `request`
    /// holds what was understood of it. The connection closes afterwards.
    [[nodiscard]] virtual HttpResponse refuse(const HttpRequest& request, int status,
                                              const std::string& reason) = 0;
};

}  // namespace zentara::collector
