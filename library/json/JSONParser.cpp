#include "json/JSONParser.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "json/SimdjsonParser.h"
#include "support/ASCII.h"
#include "support/NoDestructor.h"
#include "support/Process.h"

namespace zentara {

namespace {

namespace ondemand = simdjson::ondemand;
using simdjson::simdjson_result;
using simdjson::SUCCESS;

/// Held while an implementation of simdjson is in use.
std::shared_mutex& implementationMutex() {
    static NoDestructor<std::shared_mutex> mutex;
    return *mutex;
}

/// simdjson creates its implementations at their first use. Only what was created earlier is
/// destroyed after the work that is registered here. Before main: what is created while the process
/// exits can be destroyed again at any moment.
[[maybe_unused]] const bool isPreparedForExit = [] {
    static_cast<void>(simdjson::get_active_implementation()->description());
    runAtExit([] {
        // Slower, but never destroyed.
        static NoDestructor<simdjson::builtin::implementation> lasting;
        const std::unique_lock lock(implementationMutex());
        simdjson::get_active_implementation() = &*lasting;
    });
    return true;
}();

/// Reads texts into values. Every token is read to its end, since simdjson does not check what it
/// skips. No recursion: the open arrays and objects are on a stack.
class Reader {
  public:
    static constexpr std::size_t smallText = 4096;

    [[nodiscard]] Result<JSONValue> read(std::string_view text, JSONLimits limits);

  private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    /// An array or object that has not been read to its end.
    struct Open {
        bool isObject;
        std::size_t firstValue;  ///< where in `values_` its values begin
        simdjson_result<ondemand::array_iterator> element{simdjson::UNINITIALIZED};
        simdjson_result<ondemand::object_iterator> member{simdjson::UNINITIALIZED};
        bool isStarted = false;
    };

    /// Reads the document, an array, into `values_`.
    [[nodiscard]] bool readAll(ondemand::document& document) {
        ondemand::array root;
        if (document.get_array().get(root) != SUCCESS) return false;
        open_.push_back({false, 0, root.begin()});
        while (!open_.empty())
            if (!(open_.back().isObject ? readMember() : readElement())) return false;
        // Nothing may follow.
        return document.current_location().error() != SUCCESS;
    }

    /// Moves to the next element or member; false at the end.
    template <typename Iterator>
    [[nodiscard]] bool advance(Iterator& iterator) {
        if (std::exchange(open_.back().isStarted, true)) ++iterator;
        return iterator != iterator;
    }

    [[nodiscard]] bool readElement() {
        auto& open = open_.back();
        if (!advance(open.element)) return closeArray(open.firstValue);
        ondemand::value value;
        return (*open.element).get(value) == SUCCESS && readValue(value);
    }

    [[nodiscard]] bool readMember() {
        auto& open = open_.back();
        if (!advance(open.member)) return closeObject(open.firstValue);
        ondemand::field field;
        std::string_view key;
        if ((*open.member).get(field) != SUCCESS || !count()) return false;
        if (field.unescaped_key().get(key) != SUCCESS) return false;
        keys_.push_back(key);
        return readValue(field.value());
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

    /// Reads a scalar, or opens an array or object.
    [[nodiscard]] bool readValue(ondemand::value& value) {
        ondemand::json_type type{};
        if (!count() || value.type().get(type) != SUCCESS) return false;
        switch (type) {
            case ondemand::json_type::object: {
                ondemand::object object;
                return value.get_object().get(object) == SUCCESS &&
                       open({true, values_.size(), simdjson::UNINITIALIZED, object.begin()});
            }
            case ondemand::json_type::array: {
                ondemand::array array;
                return value.get_array().get(array) == SUCCESS &&
                       open({false, values_.size(), array.begin()});
            }
            case ondemand::json_type::string:
                return add(value.get_string());
            case ondemand::json_type::boolean:
                return add(value.get_bool());
            case ondemand::json_type::number:
                return readNumber(value);
            case ondemand::json_type::null:
                values_.emplace_back();
                return value.is_null().value_unsafe();
        }
        return false;
    }

    [[nodiscard]] bool open(const Open& container) {
        // The outermost array does not belong to the text.
        if (open_.size() > limits_.depth) return fail(JSONError::Cause::tooDeep);
        open_.push_back(container);
        return true;
    }

    template <typename Scalar>
    [[nodiscard]] bool add(simdjson_result<Scalar> scalar) {
        if (scalar.error() == SUCCESS) values_.emplace_back(scalar.value_unsafe());
        return scalar.error() == SUCCESS;
    }

    /// Integers of 64 bits stay integers; any other number becomes the nearest double.
    [[nodiscard]] bool readNumber(ondemand::value& value) {
        if (add(value.get_int64()) || add(value.get_uint64())) return true;
        auto text = value.raw_json_token();
        text = text.substr(0, text.find_last_not_of(" \t\n\r") + 1);
        double number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        // What JSON does not allow: "inf" and "nan", "01", "1." and ".1".
        const auto digits = text.substr(text.starts_with('-') ? 1 : 0);
        const auto point = digits.find('.');
        const auto isDigitAt = [digits](std::size_t position) {
            return position < digits.size() && isDigit(digits[position]);
        };
        if (end != text.data() + text.size() || !isDigitAt(0) ||
            (digits.front() == '0' && isDigitAt(1)) ||
            (point != std::string_view::npos && !isDigitAt(point + 1)))
            return false;
        if (error == std::errc::result_out_of_range) {
            // Too large or too small: simdjson refuses the large ones.
            number = value.get_number().error() == SUCCESS ? 0.0 : infinity;
            if (text.starts_with('-')) number = -number;
        }
        values_.emplace_back(number);
        return true;
    }

    /// Counts a value or key; false when it is too many.
    [[nodiscard]] bool count() noexcept {
        return limits_.values-- != 0 || fail(JSONError::Cause::tooManyValues);
    }
    [[nodiscard]] bool fail(JSONError::Cause cause) noexcept {
        cause_ = cause;
        return false;
    }

    ondemand::parser parser_;
    std::string padded_;  ///< the text in brackets, and what simdjson may read beyond its end
    JSONLimits limits_;   ///< of the values, as many as are left
    JSONError::Cause cause_ = JSONError::Cause::malformed;
    std::vector<Open> open_;
    std::vector<JSONValue> values_;       ///< of the open containers, those of the innermost last
    std::vector<std::string_view> keys_;  ///< likewise
};

Result<JSONValue> failure(JSONError::Cause cause, std::string reason) {
    return std::make_shared<JSONError>(cause, std::move(reason));
}

constexpr const char* reasonOf(JSONError::Cause cause) {
    if (cause == JSONError::Cause::tooDeep) return "the text is nested too deep";
    if (cause == JSONError::Cause::tooManyValues) return "the text holds too many values";
    return "the text is malformed";
}

Result<JSONValue> Reader::read(std::string_view text, JSONLimits limits) {
    // In brackets any kind of value is read alike.
    const auto size = text.size() + 2;
    padded_.reserve(size + simdjson::SIMDJSON_PADDING);
    padded_.assign(1, '[').append(text).append(1, ']').append(simdjson::SIMDJSON_PADDING, ' ');
    if (parser_.capacity() < size && !allocateParser(parser_, std::max(size, smallText + 2)))
        return failure(JSONError::Cause::malformed, "the text is too long");
    ondemand::document document;
    const auto code = parser_.iterate(padded_.data(), size, padded_.size()).get(document);
    if (code == simdjson::MEMALLOC) throw std::bad_alloc();
    if (code != SUCCESS) return failure(JSONError::Cause::malformed, simdjson::error_message(code));

    limits_ = limits;
    cause_ = JSONError::Cause::malformed;
    open_.clear();
    values_.clear();
    keys_.clear();
    if (!readAll(document)) return failure(cause_, reasonOf(cause_));
    auto list = std::move(values_.front().array());
    if (list.size() != 1) return failure(JSONError::Cause::malformed, "the text is not one value");
    return std::move(list.front());
}

/// The reader of the last small text: creating one takes longer than reading such a text. Never
/// destroyed, so that it serves while the process exits.
std::atomic<Reader*> spareReader{nullptr};

}  // namespace

bool allocateParser(ondemand::parser& parser, std::size_t size) {
    const std::shared_lock lock(implementationMutex());
    const auto code = parser.allocate(size);
    if (code == simdjson::MEMALLOC) throw std::bad_alloc();
    return code == SUCCESS;
}

Result<JSONValue> parseJSONValue(std::string_view text, JSONLimits limits) {
    const bool isSmall = text.size() <= Reader::smallText;
    std::unique_ptr<Reader> reader(isSmall ? spareReader.exchange(nullptr) : nullptr);
    if (!reader) reader = std::make_unique<Reader>();
    auto value = reader->read(text, limits);
    if (isSmall) reader.reset(spareReader.exchange(reader.release()));
    return value;
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
