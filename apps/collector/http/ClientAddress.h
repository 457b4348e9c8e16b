#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// An IP address as the server spells those of its clients; nothing if `text` is none.
[[nodiscard]] std::optional<std::string> canonicalAddress(std::string_view text);

/// What counts as a client for a limit: an IPv4 address, or the network of an IPv6 address (its
/// first 64 bits), in which a client can choose its address.
[[nodiscard]] std::string addressGroup(const std::string& address);

/// The address of the client that has sent a request: that of the connection, or, if the connection
/// comes from one of `proxies`, the last address of X-Forwarded-For that is not one of them.
/// `proxies` are canonical.
[[nodiscard]] std::string clientOf(const HttpRequest& head,
                                   const std::vector<std::string>& proxies);

}  // namespace zentara::collector
