#include "collector/http/ByteStream.h"

#include <openssl/ssl.h>

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <stdexcept>
#include <utility>

namespace zentara::collector {

namespace {

class PlainStream : public ByteStream {
  public:
    explicit PlainStream(asio::ip::tcp::socket socket) : socket_(std::move(socket)) {}

    void handshake(std::function<void(ErrorCode)> completion) override { completion({}); }
    void readSome(asio::mutable_buffer buffer, Completion completion) override {
        socket_.async_read_some(buffer, std::move(completion));
    }
    void writeSome(asio::const_buffer buffer, Completion completion) override {
        socket_.async_write_some(buffer, std::move(completion));
    }
    void endOutput(std::shared_ptr<const void> /*owner*/) override {
        ErrorCode ignored;
        socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    }
    asio::ip::tcp::socket& socket() noexcept override { return socket_; }

  private:
    asio::ip::tcp::socket socket_;
};

class EncryptedStream : public ByteStream {
  public:
    EncryptedStream(asio::ip::tcp::socket socket, std::shared_ptr<asio::ssl::context> context)
        : context_(std::move(context)), stream_(std::move(socket), *context_) {}

    void handshake(std::function<void(ErrorCode)> completion) override {
        stream_.async_handshake(asio::ssl::stream_base::server, std::move(completion));
    }
    void readSome(asio::mutable_buffer buffer, Completion completion) override {
        stream_.async_read_some(buffer, std::move(completion));
    }
    void writeSome(asio::const_buffer buffer, Completion completion) override {
        stream_.async_write_some(buffer, std::move(completion));
    }
    void endOutput(std::shared_ptr<const void> owner) override {
        // Completes when the client has ended its side too. The notice itself is written at once,
        // ahead of the end below, unless the client has stopped reading.
        stream_.async_shutdown([owner = std::move(owner)](ErrorCode) {});
        ErrorCode ignored;
        socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    }
    asio::ip::tcp::socket& socket() noexcept override { return stream_.next_layer(); }

  private:
    std::shared_ptr<asio::ssl::context> context_;
    asio::ssl::stream<asio::ip::tcp::socket> stream_;
};

}  // namespace

std::unique_ptr<ByteStream> plainStream(asio::ip::tcp::socket socket) {
    return std::make_unique<PlainStream>(std::move(socket));
}

std::unique_ptr<ByteStream> encryptedStream(asio::ip::tcp::socket socket,
                                            std::shared_ptr<asio::ssl::context> context) {
    return std::make_unique<EncryptedStream>(std::move(socket), std::move(context));
}

std::shared_ptr<asio::ssl::context> serverContext(const TLSCredentials& credentials) {
    auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
    SSL_CTX* const native = context->native_handle();
    ::SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
    ::SSL_CTX_set_options(native, SSL_OP_NO_RENEGOTIATION);
    ::SSL_CTX_set_mode(native, SSL_MODE_RELEASE_BUFFERS);
    // Without it OpenSSL would ask for the passphrase of an encrypted key at the terminal.
    context->set_password_callback([](auto, auto) { return std::string(); });
    try {
        context->use_certificate_chain(asio::buffer(credentials.certificateChain));
        context->use_private_key(asio::buffer(credentials.privateKey), asio::ssl::context::pem);
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("the certificate or its key cannot be used: " +
                                 error.code().message());
    }
    return context;
}

}  // namespace zentara::collector
