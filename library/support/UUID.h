#pragma once

#include <array>
#include <string_view>

namespace zentara {

/// The text of a UUID.
class UUIDText {
  public:
    [[nodiscard]] std::string_view text() const noexcept {
        return {characters_.data(), characters_.size()};
    }

  private:
    friend UUIDText lowerCaseUUID();

    std::array<char, 36> characters_{};
};

/// A new random UUID in lower case. Any thread.
[[nodiscard]] UUIDText lowerCaseUUID();

}  // namespace zentara
