#pragma once

#include <array>
#include <string>
#include <string_view>

namespace zentara {

/// The text of a UUID, in lower case.
struct UUIDText {
    std::array<char, 36> characters{};

    [[nodiscard]] std::string_view text() const noexcept {
        return {characters.data(), characters.size()};
    }
};

/// A new random UUID. Any thread.
[[nodiscard]] UUIDText randomUUID();

/// A new random UUID in lower case, 36 characters. Any thread.
[[nodiscard]] inline std::string lowerCaseUUID() {
    return std::string(randomUUID().text());
}

}  // namespace zentara
