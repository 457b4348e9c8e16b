#include "json/ObjectEquality.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

namespace {

/// A number as it compares: an integer where it holds one, else the double.
struct Number {
    bool isInteger = false;
    bool isNegative = false;
    std::uint64_t integer = 0;  ///< two's complement when negative
    double real = 0;

    friend bool operator==(const Number&, const Number&) = default;
};

Number numberOf(std::int64_t value) {
    return {true, value < 0, static_cast<std::uint64_t>(value), 0};
}

std::optional<Number> numberOf(const JSONValue& value) {
    switch (value.kind()) {
        case JSONValue::Kind::boolean:
            return numberOf(std::int64_t{value.boolean()});
        case JSONValue::Kind::integer:
            return numberOf(value.integer());
        case JSONValue::Kind::unsignedInteger:
            return Number{true, false, value.unsignedInteger(), 0};
        case JSONValue::Kind::number: {
            // A double that holds an integer of 64 bits is that integer, so that nothing is lost by
            // comparing large integers as doubles.
            const double real = value.number();
            if (std::trunc(real) == real && real >= -0x1p63 && real < 0x1p64) {
                if (real < 0) return numberOf(static_cast<std::int64_t>(real));
                return Number{true, false, static_cast<std::uint64_t>(real), 0};
            }
            return Number{false, false, 0, real};
        }
        default:
            return std::nullopt;
    }
}

std::uint64_t scrambled(std::uint64_t bits) {
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
    return bits ^ (bits >> 31U);
}

/// Another one in each process, so that nothing can be made to collide beforehand.
std::uint64_t processSeed() {
    static const std::uint64_t seed = [] {
        static const char place = 0;
        const auto time = std::chrono::steady_clock::now().time_since_epoch().count();
        return scrambled(static_cast<std::uint64_t>(time)) ^
               scrambled(reinterpret_cast<std::uintptr_t>(&place));
    }();
    return seed;
}

std::uint64_t mixed(std::uint64_t hash, std::uint64_t next) {
    return scrambled(hash ^ scrambled(next + processSeed()));
}

std::uint64_t hashOfText(std::string_view text) {
    auto hash = processSeed() + text.size();
    std::uint64_t word = 0;
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        std::memcpy(&word, text.data(), sizeof word);
        hash = scrambled(hash ^ word);
    }
    word = 0;
    std::copy_n(text.data(), text.size(), reinterpret_cast<char*>(&word));
    return scrambled(hash ^ word);
}

bool spend(WorkAllowance* allowance, std::size_t bytes) {
    constexpr std::int64_t unitsPerValue = 8;
    return allowance == nullptr ||
           allowance->spend(unitsPerValue + static_cast<std::int64_t>(bytes / 8));
}

// The recursions below end at this depth, beyond what is ever read, or where a small stack does,
// since a host can build deeper values than its stack can take: what lies deeper is not equal.
constexpr int maximumDepth = 1024;
constexpr std::size_t leastStackSpace = 64 * 1024;
constexpr int levelsPerStackCheck = 16;

bool isTooDeep(int depth) {
    return depth == maximumDepth || (depth % levelsPerStackCheck == levelsPerStackCheck - 1 &&
                                     remainingStackSpace() < leastStackSpace);
}

// NOLINTNEXTLINE(misc-no-recursion)
bool equal(const JSONValue& one, const JSONValue& other, WorkAllowance* allowance, int depth) {
    if (isTooDeep(depth) || !spend(allowance, 0)) return false;
    if (const auto number = numberOf(one)) return number == numberOf(other);
    if (one.kind() != other.kind()) return false;
    switch (one.kind()) {
        case JSONValue::Kind::string:
            return one.string().size() == other.string().size() &&
                   spend(allowance, one.string().size()) && one.string() == other.string();
        case JSONValue::Kind::array:
            return std::equal(one.array().begin(), one.array().end(), other.array().begin(),
                              other.array().end(),
                              [allowance, depth](const JSONValue& left, const JSONValue& right) {
                                  return equal(left, right, allowance, depth + 1);
                              });
        case JSONValue::Kind::object: {
            const auto& members = one.object();
            const auto& others = other.object();
            return members.size() == others.size() &&
                   std::all_of(members.begin(), members.end(), [&](const auto& member) {
                       // In a large dictionary all of the key is hashed.
                       if (!spend(allowance, 8 * member.key().size())) return false;
                       const auto* match = others.find(member.key());
                       return match != nullptr &&
                              equal(member.value(), *match, allowance, depth + 1);
                   });
        }
        default:
            return true;
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
std::uint64_t hashOf(const JSONValue& value, WorkAllowance* allowance, int depth) {
    if (isTooDeep(depth) || !spend(allowance, 0)) return 0;
    if (const auto number = numberOf(value)) {
        return mixed(
            0, number->isInteger ? number->integer : std::bit_cast<std::uint64_t>(number->real));
    }
    const auto kindHash = static_cast<std::uint64_t>(value.kind()) + 1;
    switch (value.kind()) {
        case JSONValue::Kind::string:
            if (!spend(allowance, value.string().size())) return 0;
            return hashOfText(value.string());
        case JSONValue::Kind::array: {
            auto hash = kindHash;
            for (const auto& element : value.array())
                hash = mixed(hash, hashOf(element, allowance, depth + 1));
            return hash;
        }
        case JSONValue::Kind::object: {
            // A sum, since the order of members does not count.
            auto hash = kindHash;
            for (const auto& member : value.object()) {
                if (!spend(allowance, member.key().size())) return 0;
                hash +=
                    mixed(hashOfText(member.key()), hashOf(member.value(), allowance, depth + 1));
            }
            return hash;
        }
        default:
            return kindHash;
    }
}

}  // namespace

bool objectsEqual(const JSONValue& one, const JSONValue& other, WorkAllowance* allowance) {
    return equal(one, other, allowance, 0);
}

std::size_t objectHash(const JSONValue& value, WorkAllowance* allowance) {
    return hashOf(value, allowance, 0);
}

}  // namespace zentara
