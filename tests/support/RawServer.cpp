#include "support/RawServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace zentara::test {

bool RawConnection::receive() {
    char buffer[16 * 1024];
    const ssize_t count = ::recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0) return false;
    received_.append(buffer, static_cast<std::size_t>(count));
    return true;
}

std::optional<std::string> RawConnection::readRequest() {
    std::size_t headEnd = 0;
    while ((headEnd = received_.find("\r\n\r\n")) == std::string::npos) {
        if (!receive()) return std::nullopt;
    }
    headEnd += 4;
    std::size_t size = headEnd;
    constexpr std::string_view field = "\r\nContent-Length:";
    if (const auto at = received_.find(field); at < headEnd) {
        size += std::strtoul(&received_[at + field.size()], nullptr, 10);
    }
    while (received_.size() < size) {
        if (!receive()) return std::nullopt;
    }
    std::string request = received_.substr(0, size);
    received_.erase(0, size);
    return request;
}

bool RawConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void RawConnection::waitForClose() {
    while (receive())
        received_.clear();
}

RawServer::RawServer(Script script) : script_(std::move(script)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const anyAddress = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_, anyAddress, length) != 0 || ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, anyAddress, &length) != 0) {
        throw std::runtime_error("no port for the raw server");
    }
    port_ = ntohs(address.sin_port);
    for (int i = 0; i < 16; ++i)
        threads_.emplace_back([this] { serve(); });
}

RawServer::~RawServer() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
        for (const int descriptor : open_)
            ::shutdown(descriptor, SHUT_RDWR);
    }
    ::shutdown(listener_, SHUT_RDWR);
    for (auto& thread : threads_)
        thread.join();
    ::close(listener_);
}

void RawServer::serve() {
    for (;;) {
        const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) return;
        std::unique_lock lock(mutex_);
        if (!isEnding_) {
            open_.insert(descriptor);
            lock.unlock();
            RawConnection connection(descriptor);
            script_(connection);
            lock.lock();
            open_.erase(descriptor);
        }
        ::close(descriptor);
    }
}

RawServer::Script RawServer::answer(std::string bytes) {
    return [bytes = std::move(bytes)](RawConnection& connection) {
        if (connection.readRequest()) connection.send(bytes);
    };
}

RawServer::Script RawServer::silence() {
    return [](RawConnection& connection) {
        connection.waitForClose();
    };
}

URL RawServer::url(std::string_view target) const {
    std::string text = "http://127.0.0.1:" + std::to_string(port_);
    return URL::parse(text.append(target)).value();
}

}  // namespace zentara::test
