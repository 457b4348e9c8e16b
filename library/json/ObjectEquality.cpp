#include "json/ObjectEquality.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

namespace {

struct HashKey {
    std::uint64_t first;
    std::uint64_t second;
};

HashKey randomKey() noexcept {
    try {
        std::random_device device;
        const auto word = [&device] {
            return std::uint64_t{device()} << 32U | std::uint64_t{device()};
        };
        const auto first = word();
        return {first, word()};
    } catch (...) {
        // Where the process lies in memory is random, too.
        static const char place = 0;
        const auto time = std::chrono::steady_clock::now().time_since_epoch().count();
        return {static_cast<std::uint64_t>(time), reinterpret_cast<std::uintptr_t>(&place)};
    }
}

/// Differs in each process. Needs no destruction, so that it serves until the very end.
const HashKey& hashKey() noexcept {
    static const HashKey key = randomKey();
    return key;
}

std::uint64_t scrambled(std::uint64_t bits) noexcept {
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
    return bits ^ (bits >> 31U);
}

std::uint64_t mixed(std::uint64_t hash, std::uint64_t next) noexcept {
    return scrambled(hash ^ scrambled(next + hashKey().first));
}

bool isNumeric(const JSONValue& value) {
    return value.isNumber() || value.isBoolean();
}

/// The form in which a number is compared: an integer if its value is integral, since doubles do
/// not hold every large integer.
JSONValue canonical(const JSONValue& number) {
    if (const auto boolean = number.ifBoolean()) return std::int64_t{*boolean};
    if (const auto integer = number.asInteger()) return *integer;
    const auto real = number.ifDouble().value_or(-1);
    if (real >= 0x1p63 && real < 0x1p64) return static_cast<std::uint64_t>(real);
    return number;
}

bool spend(WorkAllowance* allowance, std::size_t bytes) {
    constexpr std::int64_t unitsPerValue = 8;
    return allowance == nullptr ||
           allowance->spend(unitsPerValue + static_cast<std::int64_t>(bytes / 8));
}

// NOLINTNEXTLINE(misc-no-recursion)
bool equal(const JSONValue& one, const JSONValue& other, WorkAllowance* allowance, int depth) {
    if (isTooDeep(depth) || !spend(allowance, 0)) return false;
    if (isNumeric(one)) return isNumeric(other) && canonical(one) == canonical(other);
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
    if (isNumeric(value)) {
        const double number = value.isBoolean() ? value.boolean() : *value.asDouble();
        return mixed(0, std::bit_cast<std::uint64_t>(number + 0.0));  // no negative zero
    }
    const auto kindHash = static_cast<std::uint64_t>(value.kind()) + 1;
    switch (value.kind()) {
        case JSONValue::Kind::string:
            if (!spend(allowance, value.string().size())) return 0;
            return seededHash(value.string());
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
                    mixed(seededHash(member.key()), hashOf(member.value(), allowance, depth + 1));
            }
            return hash;
        }
        default:
            return kindHash;
    }
}

}  // namespace

/// SipHash-1-3.
std::uint64_t seededHash(std::string_view text) noexcept {
    const auto& key = hashKey();
    auto a = key.first ^ 0x736f6d6570736575U;
    auto b = key.second ^ 0x646f72616e646f6dU;
    auto c = key.first ^ 0x6c7967656e657261U;
    auto d = key.second ^ 0x7465646279746573U;
    const auto round = [&] {
        a += b;
        b = std::rotl(b, 13) ^ a;
        a = std::rotl(a, 32);
        c += d;
        d = std::rotl(d, 16) ^ c;
        a += d;
        d = std::rotl(d, 21) ^ a;
        c += b;
        b = std::rotl(b, 17) ^ c;
        c = std::rotl(c, 32);
    };
    const auto add = [&](std::uint64_t word) {
        d ^= word;
        round();
        a ^= word;
    };
    std::uint64_t word = 0;
    const auto size = static_cast<std::uint64_t>(text.size());
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        std::memcpy(&word, text.data(), sizeof word);
        add(word);
    }
    word = size << 56U;
    for (std::size_t i = 0; i < text.size(); ++i)
        word |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
    add(word);
    c ^= 0xFFU;
    for (int i = 0; i < 3; ++i)
        round();
    return a ^ b ^ c ^ d;
}

bool objectsEqual(const JSONValue& one, const JSONValue& other, WorkAllowance* allowance) {
    return equal(one, other, allowance, 0);
}

std::uint64_t objectHash(const JSONValue& value, WorkAllowance* allowance) {
    return hashOf(value, allowance, 0);
}

}  // namespace zentara
