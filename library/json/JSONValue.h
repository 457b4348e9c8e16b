#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <zentara/Export.h>
#include <zentara/Language.h>

namespace zentara {

class JSONValue;
class JSONArray;
class JSONObject;
class JSONMember;
class JSONInit;

/// A JSON value is of another kind than requested.
class ZENTARA_EXPORT JSONKindError : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// The head of the memory of an array or an object; the values follow. An object's values are its
/// keys and its members' values in turn. For the classes below only.
struct alignas(std::uint64_t) JSONBlock {
    std::uint32_t size;      ///< values in use
    std::uint32_t capacity;  ///< values that fit
    void* link;              ///< the index of a large object

    [[nodiscard]] inline JSONValue* values() noexcept;
    [[nodiscard]] inline const JSONValue* values() const noexcept;
};

/// Any JSON value: null, boolean, 64-bit integer, double, text, array or object.
///
///     JSONValue page = {{"title", "Home"}, {"tags", {"a", "b"}}, {"visits", 3}};
///     if (const auto* object = page.ifObject()) ...
///     auto title = page.at("title").string();
///
/// Copies are deep, moves cost nothing and leave null behind. Text of up to 14 bytes takes no
/// memory of its own. Values may be nested to any depth. Several threads may read the same value.
/// Functions that allocate throw `std::bad_alloc`, and change nothing then.
class ZENTARA_EXPORT JSONValue {
  public:
    enum class Kind : std::uint8_t {
        null,
        boolean,
        integer,
        unsignedInteger,  ///< too large for a signed integer
        number,           ///< a double
        string,
        array,
        object
    };

    JSONValue() noexcept = default;
    JSONValue(std::nullptr_t /*null*/) noexcept {}
    /// Accepts a boolean only: no pointer becomes true.
    template <std::same_as<bool> Boolean>
    JSONValue(Boolean boolean) noexcept {
        store(Kind::boolean, boolean);
    }
    /// An unsigned number that fits a signed integer becomes signed. Characters are not numbers.
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> &&
             !std::same_as<Integer, wchar_t> && !std::same_as<Integer, char8_t> &&
             !std::same_as<Integer, char16_t> && !std::same_as<Integer, char32_t> &&
             sizeof(Integer) <= sizeof(std::int64_t)) JSONValue(Integer integer)
    noexcept {
        if (std::in_range<std::int64_t>(integer)) {
            store(Kind::integer, static_cast<std::int64_t>(integer));
        } else {
            store(Kind::unsignedInteger, static_cast<std::uint64_t>(integer));
        }
    }
    template <std::floating_point Number>
    JSONValue(Number number) noexcept {
        store(Kind::number, static_cast<double>(number));
    }
    JSONValue(std::string_view text);
    JSONValue(const std::string& text) : JSONValue(std::string_view(text)) {}
    /// A null pointer is the empty text.
    JSONValue(const char* text)
        : JSONValue(text == nullptr ? std::string_view() : std::string_view(text)) {}
    inline JSONValue(JSONArray array) noexcept;
    inline JSONValue(JSONObject object) noexcept;
    /// A list of pairs that begin with a text, or an empty list, becomes an object; any other list
    /// becomes an array. Therefore `JSONValue{value}` is an array of one value; a copy is
    /// `JSONValue(value)`.
    JSONValue(std::initializer_list<JSONInit> list);

    JSONValue(const JSONValue& other) {
        if (other.ownsMemory()) {
            copy(other);
        } else {
            std::memcpy(bytes_, other.bytes_, sizeof bytes_);
        }
    }
    JSONValue(JSONValue&& other) noexcept { take(other); }
    JSONValue& operator=(const JSONValue& other) {
        JSONValue copy(other);
        swap(*this, copy);
        return *this;
    }
    JSONValue& operator=(JSONValue&& other) noexcept {
        // `other` may be inside this value.
        JSONValue moved(std::move(other));
        swap(*this, moved);
        return *this;
    }
    ~JSONValue() {
        if (ownsMemory()) release();
    }
    friend void swap(JSONValue& one, JSONValue& other) noexcept {
        unsigned char bytes[sizeof bytes_];
        std::memcpy(bytes, one.bytes_, sizeof bytes);
        std::memcpy(one.bytes_, other.bytes_, sizeof bytes);
        std::memcpy(other.bytes_, bytes, sizeof bytes);
    }

    [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(bytes_[kindAt]); }
    [[nodiscard]] bool isNull() const noexcept { return kind() == Kind::null; }
    [[nodiscard]] bool isBoolean() const noexcept { return kind() == Kind::boolean; }
    [[nodiscard]] bool isInteger() const noexcept { return kind() == Kind::integer; }
    [[nodiscard]] bool isUnsignedInteger() const noexcept {
        return kind() == Kind::unsignedInteger;
    }
    [[nodiscard]] bool isDouble() const noexcept { return kind() == Kind::number; }
    /// Whether it is an integer of either kind or a double.
    [[nodiscard]] bool isNumber() const noexcept {
        return kind() >= Kind::integer && kind() <= Kind::number;
    }
    [[nodiscard]] bool isString() const noexcept { return kind() == Kind::string; }
    [[nodiscard]] bool isArray() const noexcept { return kind() == Kind::array; }
    [[nodiscard]] bool isObject() const noexcept { return kind() == Kind::object; }

    // Nothing, or null, when the value is of another kind. Texts, arrays and objects belong to the
    // value.
    [[nodiscard]] std::optional<bool> ifBoolean() const noexcept {
        return isBoolean() ? std::optional(load<bool>()) : std::nullopt;
    }
    [[nodiscard]] std::optional<std::int64_t> ifInteger() const noexcept {
        return isInteger() ? std::optional(load<std::int64_t>()) : std::nullopt;
    }
    [[nodiscard]] std::optional<std::uint64_t> ifUnsignedInteger() const noexcept {
        return isUnsignedInteger() ? std::optional(load<std::uint64_t>()) : std::nullopt;
    }
    [[nodiscard]] std::optional<double> ifDouble() const noexcept {
        return isDouble() ? std::optional(load<double>()) : std::nullopt;
    }
    [[nodiscard]] std::optional<std::string_view> ifString() const noexcept {
        return isString() ? std::optional(content()) : std::nullopt;
    }
    /// Any number that holds a 64-bit signed integer exactly: 2 and 2.0, not 1.5, "2" or true.
    [[nodiscard]] std::optional<std::int64_t> asInteger() const noexcept;
    /// Any number as a double, rounded if need be.
    [[nodiscard]] std::optional<double> asDouble() const noexcept;
    [[nodiscard]] inline const JSONArray* ifArray() const noexcept;
    [[nodiscard]] inline JSONArray* ifArray() noexcept;
    [[nodiscard]] inline const JSONObject* ifObject() const noexcept;
    [[nodiscard]] inline JSONObject* ifObject() noexcept;

    // The same, but throws `JSONKindError` when the value is of another kind.
    [[nodiscard]] bool boolean() const { return checked(Kind::boolean).load<bool>(); }
    [[nodiscard]] std::int64_t integer() const {
        return checked(Kind::integer).load<std::int64_t>();
    }
    [[nodiscard]] std::uint64_t unsignedInteger() const {
        return checked(Kind::unsignedInteger).load<std::uint64_t>();
    }
    [[nodiscard]] double number() const { return checked(Kind::number).load<double>(); }
    [[nodiscard]] std::string_view string() const { return checked(Kind::string).content(); }
    [[nodiscard]] const JSONArray& array() const { return *checked(Kind::array).ifArray(); }
    [[nodiscard]] JSONArray& array() {
        checked(Kind::array);
        return *ifArray();
    }
    [[nodiscard]] const JSONObject& object() const { return *checked(Kind::object).ifObject(); }
    [[nodiscard]] JSONObject& object() {
        checked(Kind::object);
        return *ifObject();
    }

    /// The same as `object().at(key)`.
    [[nodiscard]] const JSONValue& at(std::string_view key) const;
    [[nodiscard]] JSONValue& at(std::string_view key);
    /// The same as `array().at(position)`.
    [[nodiscard]] const JSONValue& at(std::size_t position) const;
    [[nodiscard]] JSONValue& at(std::size_t position);
    /// The same as `object()[key]`; a null becomes an empty object first.
    JSONValue& operator[](std::string_view key);

    /// Reads a JSON text of any kind, UTF-8, nested up to 1024 levels. Integers that fit 64 bits
    /// stay integers, other numbers become the nearest double; of equal keys the last wins. Throws
    /// `std::invalid_argument`, which names the cause.
    [[nodiscard]] static JSONValue parse(std::string_view text);
    /// The compact text; null for NaN and infinities, which JSON cannot hold.
    [[nodiscard]] std::string text() const;

    /// Whether kind and content are the same. The order of an object's members does not count;
    /// 1 and 1.0 are of different kinds; NaN is not equal to itself. Throws `std::bad_alloc` if
    /// there is no memory to keep track of deep nesting.
    friend ZENTARA_EXPORT bool operator==(const JSONValue& one, const JSONValue& other);

  private:
    friend class JSONArray;
    friend class JSONObject;
    friend struct JSONBlock;
    friend struct JSONMemory;

    static constexpr std::size_t inlineSize = 14;
    static constexpr std::size_t lengthAt = 14;
    static constexpr std::size_t kindAt = 15;
    /// Instead of the length: the content is in memory of its own.
    static constexpr unsigned char outside = 0xFF;

    const JSONValue& checked(Kind expected) const {
        if (kind() != expected) throwKindError(expected);
        return *this;
    }
    [[noreturn]] void throwKindError(Kind expected) const;

    template <typename Content>
    void store(Kind kind, Content content) noexcept {
        std::memcpy(bytes_, &content, sizeof content);
        bytes_[kindAt] = static_cast<unsigned char>(kind);
    }
    template <typename Content>
    [[nodiscard]] Content load() const noexcept {
        Content content;
        std::memcpy(&content, bytes_, sizeof content);
        return content;
    }
    void store(Kind kind, JSONBlock* block) noexcept {
        store<JSONBlock*>(kind, block);
        bytes_[lengthAt] = outside;
    }
    [[nodiscard]] bool ownsMemory() const noexcept { return bytes_[lengthAt] == outside; }
    void take(JSONValue& other) noexcept {
        std::memcpy(bytes_, other.bytes_, sizeof bytes_);
        std::memset(other.bytes_, 0, sizeof bytes_);
    }
    void storeShort(std::string_view text) noexcept;
    void copy(const JSONValue& other);
    void release() noexcept;

    [[nodiscard]] std::string_view content() const noexcept {
        if (!ownsMemory()) {
            return {reinterpret_cast<const char*>(bytes_), bytes_[lengthAt]};
        }
        const auto* const size = load<const std::size_t*>();
        return {reinterpret_cast<const char*>(size + 1), *size};
    }

    /// A number; or up to 14 bytes of text and zeros; or the address of the size of a longer text,
    /// which follows it; or an array or an object, both the address of a block. Then the length of
    /// the text, or `outside`; then the kind.
    alignas(std::uint64_t) unsigned char bytes_[16] = {};
};

/// A list of JSON values.
///
///     for (const auto& element : array) ...
class ZENTARA_EXPORT JSONArray {
  public:
    using value_type = JSONValue;
    using size_type = std::size_t;
    using iterator = JSONValue*;
    using const_iterator = const JSONValue*;

    JSONArray() noexcept = default;
    /// The elements of the list: `JSONArray{array}` holds one array; a copy is `JSONArray(array)`.
    JSONArray(std::initializer_list<JSONInit> list);
    JSONArray(const JSONArray& other);
    JSONArray(JSONArray&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    JSONArray& operator=(JSONArray other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~JSONArray() {
        if (block_ != nullptr) clearMemory();
    }

    [[nodiscard]] std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->size; }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// Throws `std::length_error` beyond 2^32 - 2 elements, as `push_back` does.
    void reserve(std::size_t size);
    void push_back(JSONValue value);
    void pop_back() noexcept;
    void clear() noexcept;
    /// Removes the element at `position` and returns the position of the next.
    JSONValue* erase(const JSONValue* position) noexcept;

    [[nodiscard]] const JSONValue& operator[](std::size_t position) const noexcept {
        return begin()[position];
    }
    [[nodiscard]] JSONValue& operator[](std::size_t position) noexcept { return begin()[position]; }
    /// Throws `std::out_of_range`.
    [[nodiscard]] const JSONValue& at(std::size_t position) const;
    [[nodiscard]] JSONValue& at(std::size_t position);
    [[nodiscard]] const JSONValue& front() const noexcept { return *begin(); }
    [[nodiscard]] JSONValue& front() noexcept { return *begin(); }
    [[nodiscard]] const JSONValue& back() const noexcept { return end()[-1]; }
    [[nodiscard]] JSONValue& back() noexcept { return end()[-1]; }

    [[nodiscard]] const JSONValue* begin() const noexcept {
        return block_ == nullptr ? nullptr : block_->values();
    }
    [[nodiscard]] JSONValue* begin() noexcept {
        return block_ == nullptr ? nullptr : block_->values();
    }
    [[nodiscard]] const JSONValue* end() const noexcept { return begin() + size(); }
    [[nodiscard]] JSONValue* end() noexcept { return begin() + size(); }

    /// As values compare.
    friend ZENTARA_EXPORT bool operator==(const JSONArray& one, const JSONArray& other);

  private:
    friend class JSONValue;

    void clearMemory() noexcept;

    JSONBlock* block_ = nullptr;
};

/// A key of an object and its value. Supports `for (auto& [key, value] : object)`.
class ZENTARA_EXPORT JSONMember {
  public:
    JSONMember(const JSONMember&) = delete;
    JSONMember& operator=(const JSONMember&) = delete;

    [[nodiscard]] std::string_view key() const noexcept { return *key_.ifString(); }
    [[nodiscard]] const JSONValue& value() const noexcept { return value_; }
    [[nodiscard]] JSONValue& value() noexcept { return value_; }

    // For structured bindings.
    template <std::size_t part>
    [[nodiscard]] decltype(auto) get() const noexcept {
        if constexpr (part == 0) {
            return key();
        } else {
            return value();
        }
    }
    template <std::size_t part>
    [[nodiscard]] decltype(auto) get() noexcept {
        if constexpr (part == 0) {
            return key();
        } else {
            return value();
        }
    }

  private:
    JSONMember() = default;

    JSONValue key_;
    JSONValue value_;
};

/// A dictionary of JSON values with text as keys, in the order in which the keys were added.
///
/// Small objects are searched from end to end, large ones through an index that no choice of keys
/// makes slow.
class ZENTARA_EXPORT JSONObject {
  public:
    using value_type = JSONMember;
    using size_type = std::size_t;
    using iterator = JSONMember*;
    using const_iterator = const JSONMember*;

    JSONObject() noexcept = default;
    /// Of pairs with equal keys the last gives the value, at the place of the first. A list of one
    /// object becomes a copy of it. Throws `std::invalid_argument` when the list holds anything but
    /// pairs that begin with a text.
    JSONObject(std::initializer_list<JSONInit> list);
    JSONObject(const JSONObject& other);
    JSONObject(JSONObject&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    JSONObject& operator=(JSONObject other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~JSONObject() {
        if (block_ != nullptr) clearMemory();
    }

    [[nodiscard]] std::size_t size() const noexcept {
        return block_ == nullptr ? 0 : block_->size / 2;
    }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// Throws `std::length_error` beyond 2^31 - 1 members, as adding a member does.
    void reserve(std::size_t size);
    void clear() noexcept;

    /// Null when there is no such key.
    [[nodiscard]] const JSONValue* find(std::string_view key) const noexcept;
    [[nodiscard]] JSONValue* find(std::string_view key) noexcept;
    [[nodiscard]] inline const JSONMember* findMember(std::string_view key) const noexcept;
    [[nodiscard]] bool contains(std::string_view key) const noexcept {
        return find(key) != nullptr;
    }
    /// Throws `std::out_of_range`, which names the key.
    [[nodiscard]] const JSONValue& at(std::string_view key) const;
    [[nodiscard]] JSONValue& at(std::string_view key);
    /// Adds a null when there is no such key.
    JSONValue& operator[](std::string_view key);
    /// Adds a member, or replaces the value of the existing member.
    JSONValue& set(std::string_view key, JSONValue value);
    /// Whether there was such a key. The others keep their order.
    bool erase(std::string_view key) noexcept;

    [[nodiscard]] inline const JSONMember* begin() const noexcept;
    [[nodiscard]] inline JSONMember* begin() noexcept;
    [[nodiscard]] inline const JSONMember* end() const noexcept;
    [[nodiscard]] inline JSONMember* end() noexcept;

    /// As values compare.
    friend ZENTARA_EXPORT bool operator==(const JSONObject& one, const JSONObject& other);

  private:
    friend class JSONValue;

    void clearMemory() noexcept;

    JSONBlock* block_ = nullptr;
};

/// An entry of an initialiser list: a value or another such list. Values are moved from it, so a
/// list can be used once.
class ZENTARA_EXPORT JSONInit {
  public:
    template <typename Value>
    requires(std::constructible_from<JSONValue, Value> &&
             !std::same_as<std::remove_cvref_t<Value>, JSONInit>) JSONInit(Value&& value)
        : value_(std::forward<Value>(value)) {}
    JSONInit(const char* text) : value_(text) {}
    JSONInit(std::initializer_list<JSONInit> list) noexcept : list_(list), isList_(true) {}
    JSONInit(const JSONInit&) = delete;
    JSONInit& operator=(const JSONInit&) = delete;

  private:
    friend class JSONValue;
    friend class JSONArray;
    friend class JSONObject;

    [[nodiscard]] bool isMember() const noexcept;
    [[nodiscard]] JSONValue resolve() const;

    // Read by the outer list's constructor, in the same expression, so that its elements are alive.
    mutable JSONValue value_;
    std::initializer_list<JSONInit> list_;
    bool isList_ = false;
};

static_assert(sizeof(JSONValue) == 16 && sizeof(JSONMember) == 32);
static_assert(sizeof(JSONBlock) % alignof(JSONValue) == 0);
static_assert(sizeof(JSONArray) == sizeof(JSONBlock*) && sizeof(JSONObject) == sizeof(JSONBlock*));

inline JSONValue* JSONBlock::values() noexcept {
    return reinterpret_cast<JSONValue*>(this + 1);
}
inline const JSONValue* JSONBlock::values() const noexcept {
    return reinterpret_cast<const JSONValue*>(this + 1);
}

inline JSONValue::JSONValue(JSONArray array) noexcept {
    store(Kind::array, std::exchange(array.block_, nullptr));
}
inline JSONValue::JSONValue(JSONObject object) noexcept {
    store(Kind::object, std::exchange(object.block_, nullptr));
}

inline const JSONArray* JSONValue::ifArray() const noexcept {
    return isArray() ? std::launder(reinterpret_cast<const JSONArray*>(bytes_)) : nullptr;
}
inline JSONArray* JSONValue::ifArray() noexcept {
    return isArray() ? std::launder(reinterpret_cast<JSONArray*>(bytes_)) : nullptr;
}
inline const JSONObject* JSONValue::ifObject() const noexcept {
    return isObject() ? std::launder(reinterpret_cast<const JSONObject*>(bytes_)) : nullptr;
}
inline JSONObject* JSONValue::ifObject() noexcept {
    return isObject() ? std::launder(reinterpret_cast<JSONObject*>(bytes_)) : nullptr;
}

inline const JSONMember* JSONObject::findMember(std::string_view key) const noexcept {
    const auto* const value = find(key);
    // The key lies before its value.
    return value == nullptr ? nullptr : reinterpret_cast<const JSONMember*>(value - 1);
}
inline const JSONMember* JSONObject::begin() const noexcept {
    return block_ == nullptr ? nullptr : reinterpret_cast<const JSONMember*>(block_->values());
}
inline JSONMember* JSONObject::begin() noexcept {
    return block_ == nullptr ? nullptr : reinterpret_cast<JSONMember*>(block_->values());
}
inline const JSONMember* JSONObject::end() const noexcept {
    return begin() + size();
}
inline JSONMember* JSONObject::end() noexcept {
    return begin() + size();
}

}  // namespace zentara

/// @cond
template <>
struct std::tuple_size<zentara::JSONMember> : std::integral_constant<std::size_t, 2> {};
template <>
struct std::tuple_element<0, zentara::JSONMember> {
    using type = std::string_view;
};
template <>
struct std::tuple_element<1, zentara::JSONMember> {
    using type = zentara::JSONValue;
};
/// @endcond
