#include "platform/InternetAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace zentara {

bool isIPv6Address(std::string_view text) noexcept {
    std::array<char, INET6_ADDRSTRLEN> terminated{};
    if (text.size() >= terminated.size()) return false;
    if (text.find('\0') != std::string_view::npos) return false;
    std::copy(text.begin(), text.end(), terminated.begin());
    in6_addr address{};
    return inet_pton(AF_INET6, terminated.data(), &address) == 1;
}

}  // namespace zentara
