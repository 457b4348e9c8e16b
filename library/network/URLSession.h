#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <zentara/URL.h>
#include "support/Status.h"

namespace zentara {

/// An HTTP request, ready to be sent.
struct URLRequest {
    URL url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
    /// For the whole exchange, from name look-up to the last byte.
    std::chrono::milliseconds timeout{60'000};
    /// Discards the body, which may be of any size.
    bool discardsBody = false;
    /// May use a connection of an earlier request, and leave its own for a later one. The body is
    /// never sent twice: if the server closes the connection, the request fails.
    bool reusesConnection = false;
    /// If it is there, and `URLSession::closings` is another number at the start, the request
    /// fails: what it was made from may be forgotten.
    std::optional<std::uint64_t> closings = std::nullopt;
};

/// The answer to a request.
struct URLResponse {
    /// The status of an HTTP response; nothing when the answer was not HTTP.
    std::optional<int> statusCode;
    /// The body; nothing when there was none at all, which is not the same as an empty one: a
    /// response without a byte of body has one when it announced it (Content-Length,
    /// Transfer-Encoding).
    std::optional<std::string> body;
    /// How long the server asks to wait ("Retry-After").
    std::optional<std::chrono::seconds> retryAfter = std::nullopt;
};

/// Carries out HTTP exchanges. Safe for use from any thread.
class URLSession {
  public:
    static constexpr std::size_t maximumBodySize = std::size_t{64} * 1024 * 1024;

    /// Called exactly once per request. Failures are those of the network.
    using Completion = std::function<void(Result<URLResponse>)>;

    virtual ~URLSession() = default;

    /// Starts `request` at once and returns without waiting for it.
    virtual void start(URLRequest request, Completion completion) = 0;

    /// Fails the requests in flight, and every request until `open`, with `cause` in the text. When
    /// this returns, no byte of them is sent any more. Their completions run as always.
    virtual void close(std::string cause) = 0;
    virtual void open() = 0;
    [[nodiscard]] virtual bool isOpen() const = 0;
    /// How often the session was closed.
    [[nodiscard]] virtual std::uint64_t closings() const = 0;
};

}  // namespace zentara
