#pragma once

#include <concepts>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <zentara/Export.h>
#include <zentara/Language.h>
#include <zentara/URL.h>

namespace zentara {

/// A type that a stream prints as an address or as a truth value: pointers, smart pointers,
/// functions and lambdas. Pointers to bytes of text are not among them.
template <typename T>
concept PrintedAsAddress = std::is_member_pointer_v<T> || requires(const T& value) {
    requires std::is_pointer_v<decltype(+value)>;
    requires !std::is_same_v<unsigned char,
                             std::remove_cv_t<std::remove_pointer_t<decltype(+value)>>>;
    requires !std::is_same_v<signed char,
                             std::remove_cv_t<std::remove_pointer_t<decltype(+value)>>>;
} || requires(const T& value) {
    requires std::is_pointer_v<std::decay_t<decltype(value.get())>>;
};

/// A text made from a string, a `URL`, a number, or any type that converts to a string or that a
/// stream writes. Making it never fails: bytes that are not UTF-8 become U+FFFD. A pointer to
/// anything but text does not compile.
class ZENTARA_EXPORT AnyText {
  public:
    AnyText() = default;
    AnyText(std::string text) : text_(repaired(std::move(text))) {}
    AnyText(std::string_view text) : AnyText(std::string(text)) {}
    /// A null pointer is the empty text.
    AnyText(const char* text) : AnyText(text == nullptr ? std::string() : std::string(text)) {}
    AnyText(std::nullptr_t) {}
    AnyText(const URL& url) : AnyText(url.string()) {}

    template <typename T>
    requires(!std::same_as<std::remove_cvref_t<T>, AnyText> &&
             !std::convertible_to<const T&, std::string_view> &&
             std::convertible_to<const T&, std::string>) AnyText(const T& value)
        : AnyText(static_cast<std::string>(value)) {}

    template <typename T>
    requires(!std::same_as<std::remove_cvref_t<T>, AnyText> &&
             !std::convertible_to<const T&, std::string_view> &&
             !std::convertible_to<const T&, std::string> && !PrintedAsAddress<T> &&
             requires(std::ostream & stream, const T& value) { stream << value; })
        AnyText(const T& value)
        : AnyText(streamed(value)) {}

    /// The text of the value, or the empty text when there is none.
    template <typename T>
    AnyText(const std::optional<T>& value) : AnyText(value ? AnyText(*value) : AnyText()) {}

    [[nodiscard]] const std::string& string() const noexcept { return text_; }

    friend bool operator==(const AnyText&, const AnyText&) = default;

  private:
    template <typename T>
    static std::string streamed(const T& value) {
        if constexpr (std::is_floating_point_v<T>) {
            return printed(static_cast<double>(value));
        } else {
            std::ostringstream stream;
            // A number in a URL has no thousands separators, whatever the host's locale.
            stream.imbue(std::locale::classic());
            stream << std::boolalpha << value;
            return std::move(stream).str();
        }
    }

    /// The shortest text that reads back as the number.
    static std::string printed(double number);
    static std::string repaired(std::string text);

    std::string text_;
};

}  // namespace zentara
