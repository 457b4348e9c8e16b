#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

#include "support/WaitFor.h"

namespace zentara::collector {

/// A TCP client that says exactly what it is told to and sees how the server ends.
class RawClient {
  public:
    enum class End { open, closed, reset };

    explicit RawClient(int port, std::string_view bytes = {})
        : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval patience{test::generousTimeout.count(), 0};
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
            0) {
            send(bytes);
        }
    }
    ~RawClient() { ::close(descriptor_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// Whether all was taken.
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    void endOutput() { ::shutdown(descriptor_, SHUT_WR); }

    /// All that was received until `text` has come, or until the end.
    std::string readUntil(std::string_view text) {
        while (end_ == End::open && received_.find(text) == std::string::npos)
            receive();
        return received_;
    }

    /// All that was received until the server ended the connection.
    std::string readToEnd() {
        while (end_ == End::open)
            receive();
        return received_;
    }

    [[nodiscard]] End end() const { return end_; }

  private:
    void receive() {
        std::array<char, 64UL * 1024> buffer{};
        const ssize_t count = ::recv(descriptor_, buffer.data(), buffer.size(), 0);
        if (count > 0) {
            received_.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            end_ = End::closed;
        } else {
            EXPECT_EQ(errno, ECONNRESET) << "the server kept the connection";
            end_ = End::reset;
        }
    }

    const int descriptor_;
    End end_ = End::open;
    std::string received_;
};

}  // namespace zentara::collector
