#include "network/InternetAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>

namespace zentara {

namespace {

/// Whether `text` as a whole spells an address of the `family`, which is then in `address`.
bool readAddress(int family, std::string_view text, void* address) noexcept {
    std::array<char, INET6_ADDRSTRLEN> terminated{};
    if (text.size() >= terminated.size()) return false;
    if (text.find('\0') != std::string_view::npos) return false;
    std::copy(text.begin(), text.end(), terminated.begin());
    return inet_pton(family, terminated.data(), address) == 1;
}

}  // namespace

bool isIPv6Address(std::string_view text) noexcept {
    in6_addr address{};
    return readAddress(AF_INET6, text, &address);
}

bool isLoopbackHost(std::string_view host) noexcept {
    if (host == "localhost") return true;
    in_addr v4{};
    if (readAddress(AF_INET, host, &v4)) return ntohl(v4.s_addr) >> 24U == IN_LOOPBACKNET;
    in6_addr v6{};
    return readAddress(AF_INET6, host, &v6) && IN6_IS_ADDR_LOOPBACK(&v6);
}

}  // namespace zentara
