#include "collector/http/HttpListener.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "network/InternetAddress.h"

namespace zentara::collector {

namespace {

using asio::ip::tcp;

constexpr int backlog = 1024;

// Before the next try when a client cannot be accepted for lack of descriptors.
constexpr std::chrono::milliseconds acceptPause{100};

std::string reasonOf(ErrorCode error) {
    if (error == asio::error::address_in_use) return "the port is in use";
    if (error == asio::error::access_denied) return "the port is for the system's services";
    if (error == boost::system::errc::address_not_available) {
        return "the address is none of this machine";
    }
    return error.message();
}

void listen(tcp::acceptor& acceptor, const tcp::endpoint& endpoint, ErrorCode& error) {
    acceptor.open(endpoint.protocol(), error);
    if (error) return;
    // Lets a collector start on the port of a collector that has just ended. Unlike SO_REUSEPORT,
    // it fails while another collector listens.
    acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (error) return;
    if (endpoint.address().is_v6()) acceptor.set_option(asio::ip::v6_only(true), error);
    if (error) return;
    acceptor.bind(endpoint, error);
    if (error) return;
    acceptor.listen(backlog, error);
}

}  // namespace

HttpListener::HttpListener(const std::shared_ptr<asio::io_context>& context,
                           const std::string& address, int port,
                           const std::optional<TLSCredentials>& credentials, HostNames names,
                           HttpConnection::Common common)
    : context_(*context), acceptor_(asio::make_strand(*context)), pause_(acceptor_.get_executor()) {
    const std::string where =
        "cannot listen on " + address + " port " + std::to_string(port) + ": ";
    ErrorCode error;
    const auto numeric =
        asio::ip::make_address(address == "localhost" ? "127.0.0.1" : address.c_str(), error);
    if (error) throw std::runtime_error(where + "this is no IP address");
    if (port < 0 || port > 65535) throw std::runtime_error(where + "there is no such port");
    if (credentials) tls_ = serverContext(*credentials);

    listen(acceptor_, {numeric, static_cast<asio::ip::port_type>(port)}, error);
    if (error) throw std::runtime_error(where + reasonOf(error));
    port_ = acceptor_.local_endpoint().port();

    common.names = names == HostNames::byAddress && isLoopbackHost(address)
                       ? HttpRequestReader::Names::loopback
                       : HttpRequestReader::Names::any;
    common.isSecure = credentials.has_value();
    common_ = std::make_shared<HttpConnection::Common>(std::move(common));
}

void HttpListener::start() {
    asio::post(acceptor_.get_executor(), [self = shared_from_this()] { self->accept(); });
}

void HttpListener::stop() {
    asio::post(acceptor_.get_executor(), [self = shared_from_this()] {
        ErrorCode ignored;
        self->acceptor_.close(ignored);
        self->pause_.cancel();
    });
}

void HttpListener::replaceTLS(std::shared_ptr<asio::ssl::context> tls) {
    asio::post(acceptor_.get_executor(), [self = shared_from_this(), tls = std::move(tls)] {
        if (self->tls_) self->tls_ = tls;
    });
}

void HttpListener::accept() {
    if (!acceptor_.is_open()) return;
    acceptor_.async_accept(asio::make_strand(context_),
                           [self = shared_from_this()](ErrorCode error, tcp::socket socket) {
                               if (!error) {
                                   self->welcome(std::move(socket));
                                   return self->accept();
                               }
                               if (error == asio::error::connection_aborted) return self->accept();
                               self->pause_.expires_after(acceptPause);
                               self->pause_.async_wait([self](ErrorCode) { self->accept(); });
                           });
}

void HttpListener::welcome(tcp::socket socket) {
    ErrorCode ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    const auto peer = socket.remote_endpoint(ignored).address().to_string();
    auto stream = tls_ ? encryptedStream(std::move(socket), tls_) : plainStream(std::move(socket));
    const auto connection = std::make_shared<HttpConnection>(std::move(stream), common_, peer);
    if (common_->connections->add(connection, peer)) connection->start();
}

}  // namespace zentara::collector
