#include <zentara/JSONValue.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "json/ObjectEquality.h"

namespace zentara {

namespace {

using Kind = JSONValue::Kind;

// So many that their count fits 32 bits and their memory an address space of 32 bits.
constexpr std::size_t mostValues =
    std::min<std::size_t>(std::numeric_limits<std::uint32_t>::max() - 1,
                          std::numeric_limits<std::ptrdiff_t>::max() / sizeof(JSONValue) - 1);

/// The most members of an object that is searched from end to end. With more, hashing a key takes
/// less time.
constexpr std::size_t mostUnindexed = 20;

/// Copies up to 16 bytes, in two pieces that may overlap.
void copyShort(unsigned char* to, const char* from, std::size_t size) noexcept {
    const auto copyTwice = [=](std::size_t piece) {
        std::memcpy(to, from, piece);
        std::memcpy(to + size - piece, from + size - piece, piece);
    };
    if (size >= 8) return copyTwice(8);
    if (size >= 4) return copyTwice(4);
    if (size >= 2) return copyTwice(2);
    if (size == 1) *to = static_cast<unsigned char>(*from);
}

const char* nameOf(Kind kind) noexcept {
    static constexpr std::array<const char*, 8> names{
        "null",     "a boolean", "an integer", "an unsigned integer",
        "a double", "a string",  "an array",   "an object"};
    return names[static_cast<std::size_t>(kind)];
}

/// A hash table of the members of a large object: their positions from 1 on, 0 for none, with
/// linear probing. At least half of the places are empty.
struct Index {
    std::size_t mask;

    [[nodiscard]] std::uint32_t* places() noexcept {
        return reinterpret_cast<std::uint32_t*>(this + 1);
    }
    [[nodiscard]] std::size_t bytes() const noexcept {
        return sizeof(Index) + (mask + 1) * sizeof(std::uint32_t);
    }
    [[nodiscard]] bool hasRoomFor(std::size_t members) const noexcept {
        return members <= (mask + 1) / 2;
    }

    static Index* make(std::size_t members) {
        const auto mask = std::bit_ceil(members * 3) - 1;
        const auto bytes = Index{mask}.bytes();
        return ::new (::operator new(bytes)) Index{mask};
    }
};

}  // namespace

inline void JSONValue::storeShort(std::string_view text) noexcept {
    copyShort(bytes_, text.data(), text.size());
    bytes_[lengthAt] = static_cast<unsigned char>(text.size());
    bytes_[kindAt] = static_cast<unsigned char>(Kind::string);
}

/// The memory of arrays and objects. Treats an object's keys and values alike where possible. No
/// recursion, since values may be nested to any depth.
struct JSONMemory {
    struct Free {
        void operator()(JSONBlock* block) const noexcept { free(block); }
    };
    using Owner = std::unique_ptr<JSONBlock, Free>;

    static JSONBlock* blockOf(const JSONValue& value) noexcept {
        return value.kind() >= Kind::array ? value.load<JSONBlock*>() : nullptr;
    }
    static std::size_t sizeOf(const JSONBlock* block) noexcept {
        return block == nullptr ? 0 : block->size;
    }
    static Index* indexOf(const JSONBlock& block) noexcept {
        return static_cast<Index*>(block.link);
    }

    static JSONBlock* allocate(std::size_t capacity) {
        if (capacity > mostValues) throw std::length_error("too many JSON values");
        auto* const memory = ::operator new(sizeof(JSONBlock) + capacity * sizeof(JSONValue));
        return ::new (memory) JSONBlock{0, static_cast<std::uint32_t>(capacity), nullptr};
    }

    static void free(JSONBlock* first) noexcept {
        // Blocks that are still to be freed form a chain, in place of their indexes.
        JSONBlock* chain = nullptr;
        const auto add = [&chain](JSONBlock* block) {
            ::operator delete(block->link);
            block->link = chain;
            chain = block;
        };
        add(first);
        while (chain != nullptr) {
            auto* const block = chain;
            chain = static_cast<JSONBlock*>(block->link);
            for (const auto& value : valuesOf(*block)) {
                if (!value.ownsMemory()) continue;
                if (value.isString()) {
                    ::operator delete(value.load<void*>());
                } else if (auto* const inner = blockOf(value)) {
                    add(inner);
                }
            }
            ::operator delete(block);
        }
    }

    /// Null for an empty block.
    static JSONBlock* copy(const JSONBlock* source) {
        struct Copy {
            const JSONBlock* source;
            JSONBlock* target;
        };
        Owner root(emptyCopy(source));
        std::vector<Copy> unfinished;
        for (Copy copy{source, root.get()}; copy.target != nullptr;) {
            for (const auto& value : valuesOf(*copy.source)) {
                const auto* const inner = blockOf(value);
                auto& place =
                    append(*copy.target, inner == nullptr ? JSONValue(value) : JSONValue());
                if (inner == nullptr) continue;
                auto* const target = emptyCopy(inner);
                place.store(value.kind(), target);
                if (target != nullptr) unfinished.push_back({inner, target});
            }
            if (unfinished.empty()) break;
            copy = unfinished.back();
            unfinished.pop_back();
        }
        return root.release();
    }

    static bool equal(const JSONBlock* one, const JSONBlock* other, Kind kind) {
        if (sizeOf(one) != sizeOf(other)) return false;
        if (sizeOf(one) == 0) return true;
        struct Level {
            const JSONBlock* one;
            const JSONBlock* other;
            bool isObject;
            std::uint32_t next = 0;
        };
        std::vector<Level> outer;
        Level level{one, other, kind == Kind::object};
        for (;;) {
            if (level.next == level.one->size) {
                if (outer.empty()) return true;
                level = outer.back();
                outer.pop_back();
                continue;
            }
            const JSONValue* left = level.one->values() + level.next;
            const JSONValue* right = level.other->values() + level.next;
            if (level.isObject) {
                right = find(level.other, left->content());
                if (right == nullptr) return false;
                ++left;
            }
            level.next += level.isObject ? 2 : 1;
            if (left->kind() != right->kind()) return false;
            if (left->kind() < Kind::array) {
                if (!equalFlat(*left, *right)) return false;
                continue;
            }
            const auto* const leftBlock = blockOf(*left);
            const auto* const rightBlock = blockOf(*right);
            if (sizeOf(leftBlock) != sizeOf(rightBlock)) return false;
            if (sizeOf(leftBlock) == 0) continue;
            outer.push_back(level);
            level = {leftBlock, rightBlock, left->isObject()};
        }
    }

    /// For values of the same kind, neither array nor object.
    static bool equalFlat(const JSONValue& one, const JSONValue& other) noexcept {
        if (one.kind() == Kind::number) return one.load<double>() == other.load<double>();
        if (one.isString()) return one.content() == other.content();
        return one.load<std::uint64_t>() == other.load<std::uint64_t>();
    }

    /// Moves the values to a block with room for `capacity` values.
    static void resize(JSONBlock*& block, std::size_t capacity) {
        auto* const larger = allocate(capacity);
        if (block != nullptr) {
            larger->size = block->size;
            larger->link = block->link;
            std::memcpy(static_cast<void*>(larger->values()), block->values(),
                        block->size * sizeof(JSONValue));
            ::operator delete(block);
        }
        block = larger;
    }

    static void reserve(JSONBlock*& block, std::size_t values) {
        if (values > mostValues) throw std::length_error("too many JSON values");
        if (block == nullptr ? values > 0 : values > block->capacity) resize(block, values);
    }

    static void makeRoom(JSONBlock*& block, std::size_t added) {
        const std::size_t needed = sizeOf(block) + added;
        if (block != nullptr && needed <= block->capacity) return;
        const std::size_t doubled =
            block == nullptr ? 4 : std::min(2 * std::size_t{block->capacity}, mostValues);
        resize(block, std::max(needed, doubled));
    }

    /// There must be room.
    static JSONValue& append(JSONBlock& block, JSONValue&& value) noexcept {
        auto* const place =
            ::new (static_cast<void*>(block.values() + block.size)) JSONValue(std::move(value));
        ++block.size;
        return *place;
    }

    /// Removes `count` values at `position`.
    static void remove(JSONBlock& block, std::size_t position, std::size_t count) noexcept {
        auto* const at = block.values() + position;
        std::destroy_n(at, count);
        std::memmove(static_cast<void*>(at), at + count,
                     (block.size - position - count) * sizeof(JSONValue));
        block.size -= static_cast<std::uint32_t>(count);
    }

    static void clear(JSONBlock* block) noexcept {
        if (block == nullptr) return;
        std::destroy_n(block->values(), block->size);
        block->size = 0;
        ::operator delete(std::exchange(block->link, nullptr));
    }

    // Objects only.

    /// The value of `key`, or null.
    static const JSONValue* find(const JSONBlock* block, std::string_view key) noexcept {
        if (block == nullptr) return nullptr;
        const auto* const values = block->values();
        if (auto* const index = indexOf(*block)) {
            const auto position = *placeOf(*block, *index, key);
            return position == 0 ? nullptr : values + 2 * std::size_t{position} - 1;
        }
        const auto* const end = values + block->size;
        if (key.size() <= JSONValue::inlineSize) {
            // Compares the 16 bytes of the values.
            JSONValue sought;
            sought.storeShort(key);
            for (const auto* at = values; at != end; at += 2)
                if (std::memcmp(at->bytes_, sought.bytes_, sizeof sought.bytes_) == 0)
                    return at + 1;
        } else {
            for (const auto* at = values; at != end; at += 2)
                if (at->ownsMemory() && at->content() == key) return at + 1;
        }
        return nullptr;
    }

    /// Adds a member with a new key.
    static JSONValue& insert(JSONBlock*& block, std::string_view key, JSONValue&& value) {
        JSONValue ownKey(key);
        makeRoom(block, 2);
        makeRoomInIndex(*block);
        if (auto* const index = indexOf(*block))
            *placeOf(*block, *index, ownKey.content()) = block->size / 2 + 1;
        append(*block, std::move(ownKey));
        return append(*block, std::move(value));
    }

    static bool erase(JSONBlock* block, std::string_view key) noexcept {
        const auto* const value = find(block, key);
        if (value == nullptr) return false;
        const auto at = static_cast<std::size_t>(value - block->values()) - 1;
        remove(*block, at, 2);
        if (auto* const index = indexOf(*block)) fill(*index, *block);
        return true;
    }

  private:
    static std::span<const JSONValue> valuesOf(const JSONBlock& block) noexcept {
        return {block.values(), block.size};
    }

    /// A block without values for a copy of `source`, with its index; null when `source` is empty.
    static JSONBlock* emptyCopy(const JSONBlock* source) {
        if (sizeOf(source) == 0) return nullptr;
        Owner block(allocate(source->size));
        if (auto* const index = indexOf(*source)) {
            block->link = ::operator new(index->bytes());
            std::memcpy(block->link, index, index->bytes());
        }
        return block.release();
    }

    /// The place of `key` in the index, or the empty place where it belongs.
    static std::uint32_t* placeOf(const JSONBlock& block, Index& index,
                                  std::string_view key) noexcept {
        auto* const places = index.places();
        for (auto at = seededHash(key) & index.mask;; at = (at + 1) & index.mask)
            if (places[at] == 0 || keyAt(block, places[at]) == key) return places + at;
    }
    static std::string_view keyAt(const JSONBlock& block, std::uint32_t position) noexcept {
        return block.values()[2 * (std::size_t{position} - 1)].content();
    }

    static void makeRoomInIndex(JSONBlock& block) {
        const std::size_t members = block.size / 2 + 1;
        auto* const index = indexOf(block);
        if (index == nullptr ? members <= mostUnindexed : index->hasRoomFor(members)) return;
        auto* const larger = Index::make(std::max<std::size_t>(members, block.capacity / 2));
        fill(*larger, block);
        ::operator delete(std::exchange(block.link, larger));
    }

    static void fill(Index& index, const JSONBlock& block) noexcept {
        std::memset(index.places(), 0, index.bytes() - sizeof(Index));
        for (std::uint32_t position = 1; position <= block.size / 2; ++position)
            *placeOf(block, index, keyAt(block, position)) = position;
    }
};

JSONValue::JSONValue(std::string_view text) {
    if (text.size() <= inlineSize) {
        storeShort(text);
        return;
    }
    if (text.size() > std::numeric_limits<std::size_t>::max() / 2)
        throw std::length_error("JSON text is too long");
    auto* const size = ::new (::operator new(sizeof(std::size_t) + text.size())) std::size_t;
    *size = text.size();
    std::memcpy(size + 1, text.data(), text.size());
    store(Kind::string, size);
    bytes_[lengthAt] = outside;
}

JSONValue::JSONValue(std::initializer_list<JSONInit> list) {
    if (std::all_of(list.begin(), list.end(), [](const auto& init) { return init.isMember(); })) {
        *this = JSONObject(list);
    } else {
        *this = JSONArray(list);
    }
}

void JSONValue::copy(const JSONValue& other) {
    if (other.isString()) {
        JSONValue text(other.content());
        take(text);
    } else {
        store(other.kind(), JSONMemory::copy(JSONMemory::blockOf(other)));
    }
}

void JSONValue::release() noexcept {
    if (isString()) {
        ::operator delete(load<void*>());
    } else if (auto* const block = JSONMemory::blockOf(*this)) {
        JSONMemory::free(block);
    }
}

std::optional<std::int64_t> JSONValue::asInteger() const noexcept {
    if (isInteger()) return load<std::int64_t>();
    if (!isDouble()) return std::nullopt;
    constexpr double bound = 9223372036854775808.0;  // 2^63
    const auto number = load<double>();
    if (!(number >= -bound && number < bound) || std::trunc(number) != number) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

std::optional<double> JSONValue::asDouble() const noexcept {
    if (isInteger()) return static_cast<double>(load<std::int64_t>());
    if (isUnsignedInteger()) return static_cast<double>(load<std::uint64_t>());
    return ifDouble();
}

void JSONValue::throwKindError(Kind expected) const {
    throw JSONKindError(std::string("JSON value is ") + nameOf(kind()) + ", not " +
                        nameOf(expected));
}

const JSONValue& JSONValue::at(std::string_view key) const {
    return object().at(key);
}

JSONValue& JSONValue::at(std::string_view key) {
    return object().at(key);
}

const JSONValue& JSONValue::at(std::size_t position) const {
    return array().at(position);
}

JSONValue& JSONValue::at(std::size_t position) {
    return array().at(position);
}

JSONValue& JSONValue::operator[](std::string_view key) {
    if (!isNull()) return object()[key];
    JSONObject made;
    auto& value = made[key];
    *this = std::move(made);
    return value;
}

bool operator==(const JSONValue& one, const JSONValue& other) {
    if (one.kind() != other.kind()) return false;
    if (one.kind() < Kind::array) return JSONMemory::equalFlat(one, other);
    return JSONMemory::equal(JSONMemory::blockOf(one), JSONMemory::blockOf(other), one.kind());
}

// The constructors below delegate, so that the destructor runs if they throw.
JSONArray::JSONArray(std::initializer_list<JSONInit> list) : JSONArray() {
    reserve(list.size());
    for (const auto& init : list)
        push_back(init.resolve());
}

JSONArray::JSONArray(const JSONArray& other) : block_(JSONMemory::copy(other.block_)) {}

void JSONArray::clearMemory() noexcept {
    JSONMemory::free(block_);
}

void JSONArray::reserve(std::size_t size) {
    JSONMemory::reserve(block_, size);
}

void JSONArray::push_back(JSONValue value) {
    JSONMemory::makeRoom(block_, 1);
    JSONMemory::append(*block_, std::move(value));
}

void JSONArray::pop_back() noexcept {
    assert(!empty());
    JSONMemory::remove(*block_, size() - 1, 1);
}

void JSONArray::clear() noexcept {
    JSONMemory::clear(block_);
}

JSONValue* JSONArray::erase(const JSONValue* position) noexcept {
    assert(position >= begin() && position < end());
    const auto at = static_cast<std::size_t>(position - begin());
    JSONMemory::remove(*block_, at, 1);
    return begin() + at;
}

const JSONValue& JSONArray::at(std::size_t position) const {
    if (position >= size()) {
        throw std::out_of_range("JSON array of " + std::to_string(size()) + " has no element " +
                                std::to_string(position));
    }
    return begin()[position];
}

JSONValue& JSONArray::at(std::size_t position) {
    return const_cast<JSONValue&>(std::as_const(*this).at(position));
}

bool operator==(const JSONArray& one, const JSONArray& other) {
    return JSONMemory::equal(one.block_, other.block_, Kind::array);
}

JSONObject::JSONObject(std::initializer_list<JSONInit> list) : JSONObject() {
    if (list.size() == 1 && list.begin()->value_.isObject()) {
        block_ = std::exchange(list.begin()->value_.ifObject()->block_, nullptr);
        return;
    }
    reserve(list.size());
    for (const auto& init : list) {
        if (!init.isMember())
            throw std::invalid_argument("an entry of a JSON object is not a key and a value");
        set(init.list_.begin()->value_.string(), init.list_.begin()[1].resolve());
    }
}

JSONObject::JSONObject(const JSONObject& other) : block_(JSONMemory::copy(other.block_)) {}

void JSONObject::clearMemory() noexcept {
    JSONMemory::free(block_);
}

void JSONObject::reserve(std::size_t size) {
    if (size > mostValues / 2) throw std::length_error("too many JSON values");
    JSONMemory::reserve(block_, 2 * size);
}

void JSONObject::clear() noexcept {
    JSONMemory::clear(block_);
}

const JSONValue* JSONObject::find(std::string_view key) const noexcept {
    return JSONMemory::find(block_, key);
}

JSONValue* JSONObject::find(std::string_view key) noexcept {
    return const_cast<JSONValue*>(JSONMemory::find(block_, key));
}

const JSONValue& JSONObject::at(std::string_view key) const {
    const auto* const value = find(key);
    if (value == nullptr) {
        throw std::out_of_range("JSON object has no member \"" + std::string(key) + '"');
    }
    return *value;
}

JSONValue& JSONObject::at(std::string_view key) {
    return const_cast<JSONValue&>(std::as_const(*this).at(key));
}

JSONValue& JSONObject::operator[](std::string_view key) {
    auto* const value = find(key);
    return value != nullptr ? *value : JSONMemory::insert(block_, key, JSONValue());
}

JSONValue& JSONObject::set(std::string_view key, JSONValue value) {
    auto* const present = find(key);
    if (present == nullptr) return JSONMemory::insert(block_, key, std::move(value));
    *present = std::move(value);
    return *present;
}

bool JSONObject::erase(std::string_view key) noexcept {
    return JSONMemory::erase(block_, key);
}

bool operator==(const JSONObject& one, const JSONObject& other) {
    return JSONMemory::equal(one.block_, other.block_, Kind::object);
}

bool JSONInit::isMember() const noexcept {
    return isList_ && list_.size() == 2 && list_.begin()->value_.isString();
}

// As deep as the braces in the source.
// NOLINTNEXTLINE(misc-no-recursion)
JSONValue JSONInit::resolve() const {
    if (isList_) return JSONValue(list_);
    return std::move(value_);
}

}  // namespace zentara
