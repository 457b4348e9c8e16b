#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>

#include "collector/http/HttpSettings.h"

namespace boost::asio::ssl {
class context;
}

namespace zentara::collector {

namespace asio = boost::asio;
using ErrorCode = boost::system::error_code;

/// The bytes to and from one client, in the clear or over TLS. For one thread at a time; calls back
/// on the executor of the socket. At most one operation of a kind may be pending.
class ByteStream {
  public:
    using Completion = std::function<void(ErrorCode, std::size_t)>;

    virtual ~ByteStream() = default;

    /// Must complete before any other operation.
    virtual void handshake(std::function<void(ErrorCode)> completion) = 0;
    virtual void readSome(asio::mutable_buffer buffer, Completion completion) = 0;
    virtual void writeSome(asio::const_buffer buffer, Completion completion) = 0;

    /// Tells the client that nothing more follows. `owner` is kept until the client has answered.
    virtual void endOutput(std::shared_ptr<const void> owner) = 0;

    /// The socket below the encryption.
    [[nodiscard]] virtual asio::ip::tcp::socket& socket() noexcept = 0;
};

[[nodiscard]] std::unique_ptr<ByteStream> plainStream(asio::ip::tcp::socket socket);
[[nodiscard]] std::unique_ptr<ByteStream> encryptedStream(
    asio::ip::tcp::socket socket, std::shared_ptr<asio::ssl::context> context);

/// TLS 1.2 and later for the server's side. Throws `std::runtime_error` if the credentials cannot
/// be used.
[[nodiscard]] std::shared_ptr<asio::ssl::context> serverContext(const TLSCredentials& credentials);

}  // namespace zentara::collector
