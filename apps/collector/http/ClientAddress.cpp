#include "collector/http/ClientAddress.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>

namespace zentara::collector {

namespace asio = boost::asio;

namespace {

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// An address of a list, which some proxies give with a port: "10.0.0.1:80", "[::1]:80".
std::string_view withoutPort(std::string_view text) {
    if (text.starts_with('[')) return text.substr(1, text.find(']') - 1);
    const std::size_t colon = text.find(':');
    const bool hasPort = colon != std::string_view::npos && text.find(':', colon + 1) == text.npos;
    return hasPort ? text.substr(0, colon) : text;
}

}  // namespace

std::optional<std::string> canonicalAddress(std::string_view text) {
    boost::system::error_code error;
    const auto address = asio::ip::make_address(text, error);
    if (error) return std::nullopt;
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    }
    return address.to_string();
}

std::string addressGroup(const std::string& address) {
    boost::system::error_code error;
    const auto read = asio::ip::make_address(address, error);
    if (error || read.is_v4()) return address;
    auto bytes = read.to_v6().to_bytes();
    std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
    return asio::ip::address_v6(bytes).to_string() + "/64";
}

std::string clientOf(const HttpRequest& head, const std::vector<std::string>& proxies) {
    const auto isProxy = [&](const std::string& address) {
        return std::find(proxies.begin(), proxies.end(), address) != proxies.end();
    };
    std::string client = head.client;
    if (!isProxy(client)) return client;
    const std::string list = head.header("X-Forwarded-For", ",");
    std::string_view left = list;
    while (isProxy(client) && !left.empty()) {
        const std::size_t comma = left.rfind(',');
        const std::size_t begin = comma == std::string_view::npos ? 0 : comma + 1;
        auto address = canonicalAddress(withoutPort(withoutBlanks(left.substr(begin))));
        if (!address) break;
        client = *std::move(address);
        left = left.substr(0, begin == 0 ? 0 : comma);
    }
    return client;
}

}  // namespace zentara::collector
