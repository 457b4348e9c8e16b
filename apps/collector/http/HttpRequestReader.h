#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Parses the bytes of one request as they arrive.
///
/// A head has at most `headLimit` bytes and `fieldLimit` fields, a body at most `bodyLimit` bytes;
/// no more than that is held. For one thread at a time.
class HttpRequestReader {
  public:
    static constexpr std::size_t headLimit = 16UL * 1024;
    static constexpr std::size_t fieldLimit = 100;
    static constexpr std::size_t bodyLimit = 4UL * 1024 * 1024;

    /// The host names under which the server answers. On a loopback address, a foreign name means
    /// that a web page uses DNS rebinding to reach a program of this machine.
    enum class Names { any, loopback };

    enum class State { head, body, complete, refused };

    struct Refusal {
        int status = 400;
        std::string reason;
    };

    explicit HttpRequestReader(Names names);
    ~HttpRequestReader();
    HttpRequestReader(const HttpRequestReader&) = delete;
    HttpRequestReader& operator=(const HttpRequestReader&) = delete;

    /// Takes as much of `bytes` as it can use and returns how many bytes it took. The others must
    /// be passed again, with more behind them. One call does not take both head and body.
    std::size_t take(std::string_view bytes);

    [[nodiscard]] State state() const noexcept;

    /// The reason for the state `refused`.
    [[nodiscard]] const Refusal& refusal() const noexcept;

    /// The part of the request that was read. May be moved from once it is complete.
    [[nodiscard]] HttpRequest& request() noexcept;

    /// Whether the client of a complete request wants to send another request.
    [[nodiscard]] bool keepsConnection() const;

    /// Whether the head is read and the client waits for "100 Continue" before it sends the body.
    [[nodiscard]] bool awaitsContinue() const;

  private:
    class Parser;

    std::size_t takeHead(std::string_view bytes);
    std::size_t takeBody(std::string_view bytes);
    void parseHead(std::string_view head);
    void checkHead();
    void refuse(int status, std::string reason);

    std::unique_ptr<Parser> parser_;
    const Names names_;
    State state_ = State::head;
    Refusal refusal_;
    std::size_t scanned_ = 0;  // bytes of the head without its end
};

}  // namespace zentara::collector
