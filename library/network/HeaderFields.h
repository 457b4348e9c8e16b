#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara {

/// A string-to-string dictionary of header fields that keeps the order in which names were added.
/// Names that differ in case are different names here. A copyable value.
class HeaderFields {
  public:
    using Field = std::pair<std::string, std::string>;

    HeaderFields() = default;
    /// Of fields with the same name the last wins.
    HeaderFields(std::initializer_list<Field> fields);

    /// The value under `name`; added empty at the end when there is none.
    [[nodiscard]] std::string& operator[](std::string_view name);

    /// The value under `name`, or null.
    [[nodiscard]] const std::string* find(std::string_view name) const noexcept;

    [[nodiscard]] bool empty() const noexcept { return fields_.empty(); }
    [[nodiscard]] std::size_t size() const noexcept { return fields_.size(); }
    [[nodiscard]] auto begin() const noexcept { return fields_.begin(); }
    [[nodiscard]] auto end() const noexcept { return fields_.end(); }

    friend bool operator==(const HeaderFields&, const HeaderFields&) = default;

  private:
    std::vector<Field> fields_;
};

}  // namespace zentara
