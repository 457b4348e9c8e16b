#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zentara::schemas {

/// How a language writes names.
enum class NameStyle : unsigned char { lowerCamel, upperCamel, lowerSnake, upperSnake };

/// The words of a text: "productId", "product-id" and "PRODUCT_ID" are {"product", "id"}. In lower
/// case; letters and digits of ASCII only, everything else separates. "HTTPCode2" is {"http",
/// "code2"}.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);

/// An identifier made of words. A digit at its beginning gets an underscore in front, and so does a
/// word between two digits: {"v1", "2"} is "V1_2". No words at all give "value" in that style.
[[nodiscard]] std::string identifier(std::span<const std::string> words, NameStyle style);

/// Whether it is letters, digits and underscores of ASCII, and begins with no digit.
[[nodiscard]] bool isIdentifier(std::string_view text);

/// What is between "::".
[[nodiscard]] std::vector<std::string> partsOf(std::string_view scope);

/// Whether it is identifiers with "::" in between.
[[nodiscard]] bool isScope(std::string_view text);

/// The names of one scope in a language.
class Scope {
  public:
    /// `reserved`: words of the language, and names that the generated code needs itself. They get
    /// an underscore at the end. `what` begins the message of an error: the path of a schema, or
    /// more.
    Scope(std::string_view what, std::span<const std::string_view> reserved);

    /// The identifier for `original`; the same again for the same. Throws `CommandError`, which
    /// names both, if another original has this identifier already.
    std::string add(std::string_view original, std::span<const std::string> words, NameStyle style);

  private:
    std::string what_;
    std::span<const std::string_view> reserved_;
    std::unordered_map<std::string, std::string> originals_;  ///< by identifier
};

}  // namespace zentara::schemas
