#include "json/JSONParser.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <forward_list>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "json/SimdjsonParser.h"
#include "support/NoDestructor.h"
#include "support/Process.h"

namespace zentara {

namespace {

namespace ondemand = simdjson::ondemand;

/// What makes parsers, as long as the process lives.
class ParserFactory {
  public:
    static ParserFactory& shared() {
        static NoDestructor<ParserFactory> factory;
        return *factory;
    }

    ParserFactory() {
        // The library's own implementations are made when they are first asked for. Only what was
        // made before is destroyed after the work that is registered here.
        static_cast<void>(simdjson::get_active_implementation()->description());
        runAtExit([] {
            // Slower, but never destroyed.
            static NoDestructor<simdjson::builtin::implementation> lasting;
            const std::unique_lock lock(shared().mutex_);
            simdjson::get_active_implementation() = &*lasting;
        });
    }

    [[nodiscard]] simdjson::error_code allocate(ondemand::parser& parser, std::size_t size) {
        const std::shared_lock lock(mutex_);
        return parser.allocate(size);
    }

  private:
    std::shared_mutex mutex_;  ///< held while an implementation is in use
};

// Before main, since what is first made while the process ends is destroyed again at any moment.
[[maybe_unused]] const ParserFactory& parserFactory = ParserFactory::shared();

bool isSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::string_view withoutSpaceBehind(std::string_view token) noexcept {
    while (!token.empty() && isSpace(token.back()))
        token.remove_suffix(1);
    return token;
}

/// Takes the digits at the start of `text` away; false when there are none.
bool skipDigits(std::string_view& text) noexcept {
    std::size_t count = 0;
    while (count < text.size() && text[count] >= '0' && text[count] <= '9')
        ++count;
    text.remove_prefix(count);
    return count > 0;
}

/// Takes `one` or `other` at the start of `text` away.
bool skip(std::string_view& text, char one, char other) noexcept {
    if (text.empty() || (text.front() != one && text.front() != other)) return false;
    text.remove_prefix(1);
    return true;
}

template <typename Number>
std::optional<JSONValue> numberIn(std::string_view text) noexcept {
    Number number{};
    const auto end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number).ec != std::errc()) return std::nullopt;
    return JSONValue(number);
}

/// A double too large or too small. Only the power of ten of the first digit that is not zero
/// matters.
double extreme(std::string_view text, bool isNegative) noexcept {
    const auto exponentAt = std::min(text.find_first_of("eE"), text.size());
    const auto digits = text.substr(0, exponentAt);
    const auto first = digits.find_first_of("123456789");
    const auto point = std::min(digits.find('.'), digits.size());
    auto exponentText = text.substr(std::min(exponentAt + 1, text.size()));
    skip(exponentText, '+', '+');
    std::int64_t exponent = 0;
    const auto read =
        std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
    const bool isHuge =
        read.ec == std::errc::result_out_of_range
            ? exponentText.front() != '-'
            : exponent + static_cast<std::int64_t>(point) > static_cast<std::int64_t>(first);
    const double size = isHuge ? std::numeric_limits<double>::infinity() : 0.0;
    return isNegative ? -size : size;
}

/// Integers of 64 bits stay integers; any other number becomes the double nearest to it.
std::optional<JSONValue> numberOf(std::string_view text) noexcept {
    auto rest = text;
    const bool isNegative = skip(rest, '-', '-');
    const bool isZero = rest.starts_with('0');
    if (isZero) {
        rest.remove_prefix(1);
    } else if (!skipDigits(rest)) {
        return std::nullopt;
    }
    if (rest.empty()) {
        if (auto integer = numberIn<std::int64_t>(text)) return integer;
        if (auto integer = isNegative ? std::nullopt : numberIn<std::uint64_t>(text))
            return integer;
    }
    if (skip(rest, '.', '.') && !skipDigits(rest)) return std::nullopt;
    if (skip(rest, 'e', 'E')) {
        skip(rest, '+', '-');
        if (!skipDigits(rest)) return std::nullopt;
    }
    if (!rest.empty()) return std::nullopt;
    auto number = numberIn<double>(text);
    return number ? number : extreme(text.substr(isNegative ? 1 : 0), isNegative);
}

std::optional<std::uint32_t> hexadecimal(std::string_view digits) noexcept {
    std::uint32_t number = 0;
    const auto* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number, 16);
    if (digits.size() != 4 || result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

void appendUTF8(std::string& text, std::uint32_t character) {
    const auto byte = [&text](std::uint32_t bits) {
        text += static_cast<char>(bits);
    };
    if (character < 0x80) return byte(character);
    if (character < 0x800) {
        byte(0xC0 | character >> 6U);
    } else {
        if (character < 0x10000) {
            byte(0xE0 | character >> 12U);
        } else {
            byte(0xF0 | character >> 18U);
            byte(0x80 | (character >> 12U & 0x3FU));
        }
        byte(0x80 | (character >> 6U & 0x3FU));
    }
    byte(0x80 | (character & 0x3FU));
}

/// The length of the escape that starts `literal`, and what it stands for at the end of `text`; 0
/// when it is not a sound one.
std::size_t unescapeOne(std::string& text, std::string_view literal) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    if (literal.size() < 2) return 0;
    const auto letter = letters.find(literal[1]);
    if (letter != std::string_view::npos) {
        text += meanings[letter];
        return 2;
    }
    if (literal[1] != 'u') return 0;
    const auto unit = hexadecimal(literal.substr(2, 4));
    if (!unit || (*unit >= 0xDC00 && *unit < 0xE000)) return 0;
    if (*unit < 0xD800 || *unit >= 0xE000) {
        appendUTF8(text, *unit);
        return 6;
    }
    if (literal.substr(6, 2) != "\\u") return 0;
    const auto second = hexadecimal(literal.substr(8, 4));
    if (!second || *second < 0xDC00 || *second >= 0xE000) return 0;
    appendUTF8(text, 0x10000 + ((*unit - 0xD800) << 10U) + (*second - 0xDC00));
    return 12;
}

/// What a string literal stands for, or nothing when an escape in it is not sound. `literal` is
/// what lies between the quotes.
std::optional<std::string> unescaped(std::string_view literal) {
    std::string text;
    text.reserve(literal.size());
    while (!literal.empty()) {
        const auto plain = literal.substr(0, literal.find('\\'));
        text += plain;
        literal.remove_prefix(plain.size());
        if (literal.empty()) break;
        const auto length = unescapeOne(text, literal);
        if (length == 0) return std::nullopt;
        literal.remove_prefix(length);
    }
    return text;
}

/// Makes values of a text that the parser has indexed: its UTF-8, and that strings end and hold no
/// control characters, are known then. What the parser would skip it does not check, so every
/// token is looked at. No recursion: the containers that are open lie on a stack.
class Builder {
  public:
    Builder(std::string_view text, JSONLimits limits)
        : limits_(limits), hasEscapes_(contains(text, '\\')) {}

    /// The array that the text is, or nothing.
    [[nodiscard]] std::optional<JSONValue> build(ondemand::document& document) {
        ondemand::array root;
        if (document.get_array().get(root) != simdjson::SUCCESS) return std::nullopt;
        open_.push_back({false, 0, root.begin()});
        while (!open_.empty())
            if (!(open_.back().isObject ? nextMember() : nextElement())) return std::nullopt;
        // Nothing may follow.
        if (document.current_location().error() == simdjson::SUCCESS) return std::nullopt;
        return std::move(values_.front());
    }

    /// Why there is nothing.
    [[nodiscard]] JSONError::Cause cause() const noexcept { return cause_; }

  private:
    template <typename Iterator>
    using Iteration = simdjson::simdjson_result<Iterator>;

    /// An array or object of which not all is read.
    struct Open {
        bool isObject;
        std::size_t firstValue;  ///< where in `values_` its values begin
        Iteration<ondemand::array_iterator> element{simdjson::UNINITIALIZED};
        Iteration<ondemand::object_iterator> member{simdjson::UNINITIALIZED};
        bool isStarted = false;
    };

    [[nodiscard]] bool nextElement() {
        auto& open = open_.back();
        auto& element = open.element;
        if (std::exchange(open.isStarted, true)) ++element;
        if (!(element != element)) return closeArray(open.firstValue);
        ondemand::value value;
        return (*element).get(value) == simdjson::SUCCESS && add(value);
    }

    [[nodiscard]] bool nextMember() {
        auto& open = open_.back();
        auto& member = open.member;
        if (std::exchange(open.isStarted, true)) ++member;
        if (!(member != member)) return closeObject(open.firstValue);
        ondemand::field field;
        if ((*member).get(field) != simdjson::SUCCESS || !count()) return false;
        // Before a value there is a colon, and before that the quote that ends the key.
        const auto* const start = field.key().raw();
        const auto* const value = field.value().raw_json_token().data();
        auto key = withoutSpaceBehind({start, static_cast<std::size_t>(value - start)});
        key.remove_suffix(1);
        key = withoutSpaceBehind(key);
        key.remove_suffix(1);
        if (isEscaped(key)) {
            auto text = unescaped(key);
            if (!text) return false;
            key = unescapedKeys_.emplace_front(*std::move(text));
        }
        keys_.push_back(key);
        return add(field.value());
    }

    [[nodiscard]] bool closeArray(std::size_t first) {
        JSONArray array;
        array.reserve(values_.size() - first);
        for (auto i = first; i < values_.size(); ++i)
            array.push_back(std::move(values_[i]));
        return close(first, std::move(array));
    }

    [[nodiscard]] bool closeObject(std::size_t first) {
        const auto size = values_.size() - first;
        const auto firstKey = keys_.size() - size;
        JSONObject object;
        object.reserve(size);
        for (std::size_t i = 0; i < size; ++i)
            object.set(keys_[firstKey + i], std::move(values_[first + i]));
        keys_.resize(firstKey);
        return close(first, std::move(object));
    }

    [[nodiscard]] bool close(std::size_t first, JSONValue value) {
        values_.resize(first);
        values_.push_back(std::move(value));
        open_.pop_back();
        return true;
    }

    /// Adds a scalar, or opens an array or object.
    [[nodiscard]] bool add(ondemand::value& value) {
        ondemand::json_type type{};
        if (!count() || value.type().get(type) != simdjson::SUCCESS) return false;
        switch (type) {
            case ondemand::json_type::object: {
                ondemand::object object;
                if (value.get_object().get(object) != simdjson::SUCCESS) return false;
                return open({true, values_.size(), simdjson::UNINITIALIZED, object.begin()});
            }
            case ondemand::json_type::array: {
                ondemand::array array;
                if (value.get_array().get(array) != simdjson::SUCCESS) return false;
                return open({false, values_.size(), array.begin()});
            }
            case ondemand::json_type::string:
                return addString(value);
            default:
                return addScalar(withoutSpaceBehind(value.raw_json_token()));
        }
    }

    [[nodiscard]] bool open(const Open& container) {
        // The outermost array is not the text's own.
        if (open_.size() > limits_.depth) return fail(JSONError::Cause::tooDeep);
        open_.push_back(container);
        return true;
    }

    [[nodiscard]] bool addString(ondemand::value& value) {
        auto literal = withoutSpaceBehind(value.raw_json_token());
        literal = literal.substr(1, literal.size() - 2);
        // The parser is to move on by exactly this string.
        if (value.get_raw_json_string().error() != simdjson::SUCCESS) return false;
        if (!isEscaped(literal)) {
            values_.emplace_back(literal);
            return true;
        }
        const auto text = unescaped(literal);
        if (text) values_.emplace_back(*text);
        return text.has_value();
    }

    [[nodiscard]] bool addScalar(std::string_view token) {
        if (token == "null") {
            values_.emplace_back();
        } else if (token == "true" || token == "false") {
            values_.emplace_back(token == "true");
        } else {
            auto number = numberOf(token);
            if (!number) return false;
            values_.push_back(*std::move(number));
        }
        return true;
    }

    [[nodiscard]] static bool contains(std::string_view text, char c) noexcept {
        return text.find(c) != std::string_view::npos;
    }
    /// Looks at the text as a whole first, since most texts have no escapes.
    [[nodiscard]] bool isEscaped(std::string_view literal) const noexcept {
        return hasEscapes_ && contains(literal, '\\');
    }

    /// Whether there may be one value or key more.
    [[nodiscard]] bool count() noexcept {
        return limits_.values-- != 0 || fail(JSONError::Cause::tooManyValues);
    }
    [[nodiscard]] bool fail(JSONError::Cause cause) noexcept {
        cause_ = cause;
        return false;
    }

    JSONLimits limits_;  ///< of the values, as many as are left
    JSONError::Cause cause_ = JSONError::Cause::malformed;
    bool hasEscapes_;
    std::vector<Open> open_;
    std::vector<JSONValue> values_;       ///< of the open containers, those of the innermost last
    std::vector<std::string_view> keys_;  ///< likewise
    std::forward_list<std::string> unescapedKeys_;
};

Result<JSONValue> failure(JSONError::Cause cause, std::string reason) {
    return std::make_shared<JSONError>(cause, std::move(reason));
}

std::string reasonOf(JSONError::Cause cause) {
    switch (cause) {
        case JSONError::Cause::tooDeep:
            return "the text is nested too deep";
        case JSONError::Cause::tooManyValues:
            return "the text holds too many values";
        default:
            return "the text is malformed";
    }
}

}  // namespace

bool allocateParser(ondemand::parser& parser, std::size_t size) {
    const auto code = ParserFactory::shared().allocate(parser, size);
    if (code == simdjson::MEMALLOC) throw std::bad_alloc();
    return code == simdjson::SUCCESS;
}

Result<JSONValue> parseJSONValue(std::string_view text, JSONLimits limits) {
    // In brackets any kind of value is read alike. The parser reads beyond the end.
    const auto size = text.size() + 2;
    const auto paddedSize = size + simdjson::SIMDJSON_PADDING;
    const auto padded = std::make_unique_for_overwrite<char[]>(paddedSize);
    padded[0] = '[';
    text.copy(padded.get() + 1, text.size());
    padded[size - 1] = ']';
    std::fill_n(padded.get() + size, simdjson::SIMDJSON_PADDING, ' ');

    ondemand::parser parser;
    ondemand::document document;
    if (!allocateParser(parser, size))
        return failure(JSONError::Cause::malformed, "the text is too long");
    const auto code = parser.iterate(padded.get(), size, paddedSize).get(document);
    if (code == simdjson::MEMALLOC) throw std::bad_alloc();
    if (code != simdjson::SUCCESS)
        return failure(JSONError::Cause::malformed, simdjson::error_message(code));
    Builder builder(text, limits);
    auto list = builder.build(document);
    if (!list) return failure(builder.cause(), reasonOf(builder.cause()));
    if (list->array().size() != 1)
        return failure(JSONError::Cause::malformed, "the text is not one value");
    return std::move(list->array().front());
}

JSONValue JSONValue::parse(std::string_view text) {
    auto value = parseJSONValue(text, {.depth = 2 * maximumJSONDepth});
    if (!value.ok()) throw std::invalid_argument(value.error()->description());
    return *std::move(value);
}

Result<JSONValue> parseJSON(std::string_view text, JSONLimits limits) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    auto value = parseJSONValue(text, limits);
    if (value.ok() && !value->isObject() && !value->isArray()) {
        return failure(JSONError::Cause::wrongTopLevel,
                       "the top level is neither an object nor an array");
    }
    return value;
}

}  // namespace zentara
