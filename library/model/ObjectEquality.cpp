#include "model/ObjectEquality.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "platform/StackSpace.h"

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
        case boost::json::kind::bool_:
            return numberOf(std::int64_t{value.get_bool()});
        case boost::json::kind::int64:
            return numberOf(value.get_int64());
        case boost::json::kind::uint64:
            return Number{true, false, value.get_uint64(), 0};
        case boost::json::kind::double_: {
            // A double that holds an integer of 64 bits is that integer, so that nothing is lost by
            // comparing large integers as doubles.
            const double real = value.get_double();
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

std::size_t mixed(std::size_t seed, std::size_t hash) {
    return (seed ^ hash) * 0x9E3779B97F4A7C15U + (seed << 6U);
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
        case boost::json::kind::string:
            return one.get_string().size() == other.get_string().size() &&
                   spend(allowance, one.get_string().size()) &&
                   one.get_string() == other.get_string();
        case boost::json::kind::array:
            return std::equal(one.get_array().begin(), one.get_array().end(),
                              other.get_array().begin(), other.get_array().end(),
                              [allowance, depth](const JSONValue& left, const JSONValue& right) {
                                  return equal(left, right, allowance, depth + 1);
                              });
        case boost::json::kind::object: {
            const auto& members = one.get_object();
            const auto& others = other.get_object();
            return members.size() == others.size() &&
                   std::all_of(members.begin(), members.end(), [&](const auto& member) {
                       // In a large dictionary all of the key is hashed.
                       if (!spend(allowance, 8 * member.key().size())) return false;
                       const auto* match = others.if_contains(member.key());
                       return match != nullptr &&
                              equal(member.value(), *match, allowance, depth + 1);
                   });
        }
        default:
            return true;
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
std::size_t hashOf(const JSONValue& value, WorkAllowance* allowance, int depth) {
    if (isTooDeep(depth) || !spend(allowance, 0)) return 0;
    if (const auto number = numberOf(value)) {
        return number->isInteger ? std::hash<std::uint64_t>()(number->integer)
                                 : std::hash<double>()(number->real);
    }
    const auto kindHash = static_cast<std::size_t>(value.kind()) + 1;
    switch (value.kind()) {
        case boost::json::kind::string:
            if (!spend(allowance, value.get_string().size())) return 0;
            return std::hash<std::string_view>()(value.get_string());
        case boost::json::kind::array: {
            auto hash = kindHash;
            for (const auto& element : value.get_array())
                hash = mixed(hash, hashOf(element, allowance, depth + 1));
            return hash;
        }
        case boost::json::kind::object: {
            // A sum, since the order of members does not count.
            auto hash = kindHash;
            for (const auto& member : value.get_object()) {
                if (!spend(allowance, member.key().size())) return 0;
                hash += mixed(std::hash<std::string_view>()(member.key()),
                              hashOf(member.value(), allowance, depth + 1));
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
