#pragma once

#include <array>
#include <string>
#include <string_view>

namespace zentara {

/// The text of a UUID, in lower case.
class UUIDText {
  public:
    [[nodiscard]] std::string_view text() const noexcept {
        return {characters_.data(), characters_.size()};
    }

  private:
    friend UUIDText randomUUID();

    std::array<char, 36> characters_{};
};

/// A new random UUID. Any thread.
[[nodiscard]] UUIDText randomUUID();

/// A new random UUID in lower case, 36 characters. Any thread.
[[nodiscard]] inline std::string lowerCaseUUID() {
    return std::string(randomUUID().text());
}

}  // namespace zentara
