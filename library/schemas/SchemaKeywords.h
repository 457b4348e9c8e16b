#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

#include "json/JSONValue.h"

namespace zentara {

/// The keywords, those with a check of their own first, in the order in which they are checked.
enum class Keyword : std::uint8_t {
    format,
    reference,
    type,
    allOf,
    anyOf,
    oneOf,
    negation,
    enumeration,
    maxLength,
    minLength,
    pattern,
    multipleOf,
    minimum,
    maximum,
    minItems,
    maxItems,
    uniqueItems,
    items,
    maxProperties,
    minProperties,
    required,
    properties,
    dependencies,
    // Read by the check of another keyword.
    exclusiveMinimum,
    exclusiveMaximum,
    additionalItems,
    patternProperties,
    additionalProperties,
    none
};

/// The keyword that a schema's key spells.
[[nodiscard]] Keyword keywordFromKey(std::string_view key) noexcept;

/// Where a schema's keywords are, found in one walk over its keys. Refers to the schema.
class SchemaKeywords {
  public:
    explicit SchemaKeywords(const JSONObject& schema) noexcept : members_(schema.begin()) {
        std::uint32_t index = 0;
        for (const auto& member : schema) {
            const auto keyword = keywordFromKey(member.key());
            if (keyword != Keyword::none) {
                present_ |= bit(keyword);
                indices_[static_cast<std::size_t>(keyword)] = index;
            }
            ++index;
        }
        // One check serves the three, when any of them is there.
        const auto properties = bit(Keyword::properties) | bit(Keyword::patternProperties) |
                                bit(Keyword::additionalProperties);
        unchecked_ = present_ & (bit(Keyword::exclusiveMinimum) - 1);
        if ((present_ & properties) != 0) unchecked_ |= bit(Keyword::properties);
    }

    /// The next keyword to check; none when all were taken.
    [[nodiscard]] Keyword takeNext() noexcept {
        if (unchecked_ == 0) return Keyword::none;
        const auto next = static_cast<Keyword>(std::countr_zero(unchecked_));
        unchecked_ &= unchecked_ - 1;
        return next;
    }

    /// The value under the keyword; null when it is absent.
    [[nodiscard]] const JSONValue* find(Keyword keyword) const noexcept {
        return (present_ & bit(keyword)) == 0 ? nullptr : &present(keyword);
    }
    /// The value under a keyword that is known to be there.
    [[nodiscard]] const JSONValue& present(Keyword keyword) const noexcept {
        return members_[indices_[static_cast<std::size_t>(keyword)]].value();
    }

  private:
    static constexpr std::uint32_t bit(Keyword keyword) noexcept {
        return std::uint32_t{1} << static_cast<unsigned>(keyword);
    }

    JSONObject::const_iterator members_;
    std::uint32_t present_ = 0;
    std::uint32_t unchecked_ = 0;
    // Only those that are present are set: this is made for each subschema that is reached.
    std::array<std::uint32_t, static_cast<std::size_t>(Keyword::none)> indices_;
};

}  // namespace zentara
