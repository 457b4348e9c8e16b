#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <zentara/URL.h>
#include "support/NoDestructor.h"
#include "support/Status.h"

namespace zentara {

/// One HTTP request, ready to go.
struct URLRequest {
    URL url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
    /// For the whole exchange, from name look-up to the last byte.
    std::chrono::milliseconds timeout{60'000};
    /// Discards the body, which may be of any size.
    bool discardsBody = false;
};

/// What came back.
struct URLResponse {
    /// The status of an HTTP response; nothing when the answer was not HTTP.
    std::optional<int> statusCode;
    /// The body; nothing when there was none at all, which is not the same as an empty one: a
    /// response without a byte of body has one when it announced it (Content-Length,
    /// Transfer-Encoding).
    std::optional<std::string> body;
};

/// The one HTTP session of the process.
///
/// A single thread of its own, started on first use and never ended, moves the bytes; completions
/// run one after the other on the worker pool, never on that thread. http and https only, TLS
/// verified, redirects reported and not followed, bodies bounded by `maximumBodySize`. Safe for
/// use from any thread.
class URLSession {
  public:
    static constexpr std::size_t maximumBodySize = std::size_t{64} * 1024 * 1024;

    /// Called exactly once per request, with a response or with an error of the network.
    using Completion = std::function<void(std::optional<URLResponse>, ErrorRef)>;

    [[nodiscard]] static URLSession& shared();

    /// Starts `request` at once and returns at once.
    void start(URLRequest request, Completion completion);

    /// Trusts the authorities of this PEM file for requests started from now on, instead of the
    /// system's; an empty path restores the system's.
    void setCertificateAuthorityFile(std::string path);

  private:
    friend class NoDestructor<URLSession>;
    URLSession() = default;
};

}  // namespace zentara
