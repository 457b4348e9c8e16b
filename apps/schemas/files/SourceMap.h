#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONParser.h"

namespace zentara::schemas {

/// A place in a text, for people: both count from 1, columns in characters.
struct Position {
    std::size_t line = 1;
    std::size_t column = 1;

    friend bool operator==(const Position&, const Position&) = default;
};

/// The library reads up to 512 levels; the table adds one level around the schemas.
inline constexpr std::size_t deepestSchema = maximumJSONDepth - 1;

/// Where the values of a JSON text lie, by their JSON pointer ("" is the whole, "/a/0" an element;
/// "~0" and "~1" stand for "~" and "/"). Keeps 16 bytes per value, and nothing of the text.
class SourceMap {
  public:
    /// More are not kept.
    static constexpr std::size_t mostRepeatedKeys = 1000;

    struct SyntaxError {
        Position position;
        std::string reason;  ///< for example: a comma or "}" is expected
    };
    /// A key that occurs again in the same object. The library takes the last value.
    struct RepeatedKey {
        std::string pointer;  ///< of the nearest object around it if it is long (`mayExtend`)
        std::string key;
        Position first, last;
    };

    /// Reads a text of any size and nesting, with or without a byte-order mark. Stops at the first
    /// error.
    explicit SourceMap(std::string_view text);

    [[nodiscard]] const std::optional<SyntaxError>& error() const noexcept { return error_; }
    [[nodiscard]] const std::vector<RepeatedKey>& repeatedKeys() const noexcept {
        return repeatedKeys_;
    }

    /// The place of the first value beyond `deepestSchema` levels of nesting.
    [[nodiscard]] const std::optional<Position>& tooDeep() const noexcept { return tooDeep_; }

    /// The place of a value: of its key if it is a member of an object. Of the nearest value around
    /// it if there is no such value.
    [[nodiscard]] Position of(std::string_view pointer) const;

  private:
    class Scanner;

    /// The path is hashed: paths themselves could take far more memory than the text.
    struct Place {
        std::uint64_t path;
        std::uint32_t line, column;

        friend auto operator<=>(const Place&, const Place&) = default;
    };

    std::optional<SyntaxError> error_;
    std::optional<Position> tooDeep_;
    std::vector<RepeatedKey> repeatedKeys_;
    std::vector<Place> places_;  ///< sorted
};

/// Whether a pointer may get another component. Pointers are kept short, so that many of them in a
/// hostile document do not take more memory than it.
[[nodiscard]] inline bool mayExtend(std::string_view pointer, std::string_view component) noexcept {
    constexpr std::size_t longestPointer = 1024;
    return pointer.size() + 1 + component.size() <= longestPointer;
}

/// `pointer` with another component.
[[nodiscard]] std::string childPointer(std::string_view pointer, std::string_view component);

/// The pointer with these components; of the nearest value around it if it is long (`mayExtend`).
[[nodiscard]] std::string pointerTo(std::span<const std::string> path);

}  // namespace zentara::schemas
