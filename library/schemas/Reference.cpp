#include "schemas/Reference.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "schemas/KeywordValues.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerComponent = 30;

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (text.size() - i < 3) return std::nullopt;
        std::uint8_t byte = 0;
        const char* const digits = text.data() + i + 1;
        const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
        if (error != std::errc() || end != digits + 2) return std::nullopt;
        decoded += static_cast<char>(byte);
        i += 2;
    }
    if (!isValidUTF8(decoded)) return std::nullopt;
    return decoded;
}

/// The components of a path, one at a time. An empty path is one empty component.
class Path {
  public:
    explicit Path(std::string_view text) : rest_(text) {}

    /// The next component, which stays.
    [[nodiscard]] std::optional<std::string_view> peek() const {
        if (!rest_) return std::nullopt;
        return rest_->substr(0, rest_->find('/'));
    }

    /// Removes the next component, if there is one.
    std::optional<std::string_view> take() {
        const auto component = peek();
        if (!component) return std::nullopt;
        if (component->size() == rest_->size()) {
            rest_.reset();
        } else {
            rest_->remove_prefix(component->size() + 1);
        }
        return component;
    }

  private:
    std::optional<std::string_view> rest_;
};

/// The element of a list of dictionaries that `component` names; null when it names none.
const JSONObject* element(const JSONValue& value, std::optional<std::string_view> component,
                          WorkAllowance& allowance) {
    if (!component) return nullptr;
    auto number = *component;
    // A decimal integer may have either sign, of which only the minus is read below.
    if (number.starts_with('+') && !number.starts_with("+-")) number.remove_prefix(1);
    std::int64_t index = 0;
    const auto* const last = number.data() + number.size();
    const auto [end, error] = std::from_chars(number.data(), last, index);
    if (error != std::errc() || end != last || index < 0) return nullptr;
    const auto* const list = listOfObjects(value, allowance);
    const auto position = static_cast<std::size_t>(index);
    return list != nullptr && position < list->size() ? &(*list)[position].object() : nullptr;
}

ResolvedReference follow(const JSONObject& root, std::string_view text, FailureText failureText,
                         WorkAllowance& allowance) {
    const auto* current = &root;
    Path path(text);
    while (const auto component = path.take()) {
        // In large dictionaries all of it is hashed.
        if (!allowance.spend(unitsPerComponent + static_cast<std::int64_t>(component->size()))) {
            return {};
        }
        const auto* const value = current->find(*component);
        const JSONObject* next = nullptr;
        if (value != nullptr) {
            next = value->ifObject();
            if (value->isArray()) {
                next = element(*value, path.peek(), allowance);
                if (next != nullptr) path.take();
            }
        }
        if (next == nullptr) {
            ResolvedReference notFound;
            if (failureText == FailureText::wanted) {
                notFound.failure = "Reference not found '";
                notFound.failure.append(*component).append("' in '").append(text).append("'");
            }
            return notFound;
        }
        current = next;
    }
    return {current, {}};
}

}  // namespace

ResolvedReference resolveReference(const JSONObject& root, std::string_view reference,
                                   FailureText failureText, WorkAllowance& allowance) {
    if (reference == "#") return {&root, {}};
    if (reference.starts_with("#/")) {
        const auto text = reference.substr(2);
        if (text.find('%') == std::string_view::npos)
            return follow(root, text, failureText, allowance);
        if (const auto decoded = percentDecoded(text))
            return follow(root, *decoded, failureText, allowance);
    }
    ResolvedReference remote;
    if (failureText == FailureText::wanted) {
        remote.failure = "Remote $ref '";
        remote.failure.append(reference).append("' is not yet supported");
    }
    return remote;
}

}  // namespace zentara
