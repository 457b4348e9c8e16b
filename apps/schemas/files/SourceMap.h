#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zentara::schemas {

/// A place in a text, for people: both count from 1, columns in characters.
struct Position {
    std::size_t line = 1;
    std::size_t column = 1;

    friend bool operator==(const Position&, const Position&) = default;
};

/// Where the values of a JSON text lie, by their JSON pointer ("" is the whole, "/a/0" an element;
/// "~0" and "~1" stand for "~" and "/").
class SourceMap {
  public:
    struct SyntaxError {
        Position position;
        std::string reason;  ///< for example: a comma or "}" is expected
    };
    /// A key that occurs again in the same object. The library takes the last one.
    struct RepeatedKey {
        std::string pointer;
        Position position;
    };

    /// Reads a text of any size and nesting. Stops at the first error.
    explicit SourceMap(std::string_view text);

    [[nodiscard]] const std::optional<SyntaxError>& error() const noexcept { return error_; }
    [[nodiscard]] const std::vector<RepeatedKey>& repeatedKeys() const noexcept {
        return repeatedKeys_;
    }

    /// The place of a value: of its key if it is a member of an object. Of the nearest value around
    /// it if there is no such value.
    [[nodiscard]] Position of(std::string_view pointer) const;

  private:
    std::optional<SyntaxError> error_;
    std::vector<RepeatedKey> repeatedKeys_;
    std::unordered_map<std::string, Position> positions_;
};

/// `pointer` with another component.
[[nodiscard]] std::string childPointer(std::string_view pointer, std::string_view component);

}  // namespace zentara::schemas
