#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zentara::schemas {

/// How a language writes names.
enum class NameStyle : unsigned char { lowerCamel, upperCamel, lowerSnake, upperSnake };

/// The words of a text: "productId", "product-id" and "PRODUCT_ID" are {"product", "id"}. In lower
/// case; letters and digits of ASCII only, everything else separates. "HTTPCode2" is {"http",
/// "code2"}.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);

/// An identifier made of words. Words that begin with a digit get an underscore in front if they
/// come first; no words at all give "value" in that style.
[[nodiscard]] std::string identifier(std::span<const std::string> words, NameStyle style);

/// The names of one scope in a language.
class Scope {
  public:
    /// `reserved`: words of the language, and names that the generated code needs itself. They get
    /// an underscore at the end.
    Scope(std::string_view what, std::span<const std::string_view> reserved);

    /// The identifier for `original`. Throws `CommandError`, which names both, if another original
    /// has the same identifier already.
    std::string add(std::string_view original, std::span<const std::string> words, NameStyle style);

  private:
    struct Entry {
        std::string identifier, original;
    };
    std::string what_;
    std::span<const std::string_view> reserved_;
    std::vector<Entry> entries_;
};

}  // namespace zentara::schemas
