#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "collector/http/ChunkedBody.h"
#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Makes a request of the bytes of one, as they come.
///
/// A head has at most `headLimit` bytes and `fieldLimit` fields, a body at most `bodyLimit` bytes;
/// not more than that is ever held. For one thread at a time.
class HttpRequestReader {
  public:
    static constexpr std::size_t headLimit = 16UL * 1024;
    static constexpr std::size_t fieldLimit = 100;
    static constexpr std::size_t bodyLimit = 4UL * 1024 * 1024;

    /// The names under which clients may ask for the server. Where only programs of this machine
    /// can connect, a foreign name is that of a web page whose author points it at this machine to
    /// get at what runs there.
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

    /// Takes what can be used of `bytes`, the body not in the same call as the head, and returns
    /// how many bytes that was. The others are to be given again, with more after them.
    std::size_t take(std::string_view bytes);

    [[nodiscard]] State state() const noexcept;

    /// Why nothing more is taken in the state `refused`.
    [[nodiscard]] const Refusal& refusal() const noexcept;

    /// What is known of the request so far. May be moved from once it is complete.
    [[nodiscard]] HttpRequest& request() noexcept;

    /// Of a complete request: whether the client wants to send another one.
    [[nodiscard]] bool keepsConnection() const;

    /// Once the head is read: whether the client waits to hear that it is to send the body.
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
    ChunkedBody chunks_{bodyLimit};
    std::size_t scanned_ = 0;  // bytes of the head that are known not to end it
};

}  // namespace zentara::collector
