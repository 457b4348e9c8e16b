#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zentara::collector {

/// The bytes behind a body of "Content-Encoding: gzip".
struct Gunzipped {
    /// Nothing if the body is malformed, or has more than the allowed bytes.
    std::optional<std::string> body;
    bool isTooLarge = false;
};

/// Stops as soon as the body has more than `limit` bytes.
[[nodiscard]] Gunzipped gunzip(std::string_view compressed, std::size_t limit);

}  // namespace zentara::collector
