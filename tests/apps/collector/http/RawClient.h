#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "support/RawServer.h"
#include "support/WaitFor.h"

namespace zentara::collector {

/// A TCP client that sends given bytes and sees how the server closes.
class RawClient : public test::RawConnection {
  public:
    explicit RawClient(int port, std::string_view bytes = {})
        : RawConnection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
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

    void endOutput() { ::shutdown(descriptor_, SHUT_WR); }

    /// All that was received until `text` has come, or until the end.
    std::string readUntil(std::string_view text) {
        while (received_.find(text) == std::string::npos && receive()) {
        }
        return received_;
    }

    /// All that was received until the server ended the connection.
    std::string readToEnd() {
        errno = 0;
        while (receive()) {
        }
        wasReset = errno == ECONNRESET;
        EXPECT_TRUE(errno == 0 || wasReset) << "the server kept the connection";
        return received_;
    }

    bool wasReset = false;  ///< how the server ended what `readToEnd` has read
};

}  // namespace zentara::collector
