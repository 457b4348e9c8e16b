#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace zentara::schemas {

/// Two numbers as one, well mixed.
[[nodiscard]] constexpr std::uint64_t mixed(std::uint64_t one, std::uint64_t other) noexcept {
    std::uint64_t bits = one * 0x9E3779B97F4A7C15U + other + 0x632BE59BD9B4E019U;
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
    return bits ^ (bits >> 31U);
}

[[nodiscard]] constexpr std::uint64_t hashOf(std::string_view text) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char letter : text)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3U;
    return hash;
}

/// Pseudo-random numbers, the same on every machine; the distributions of the standard library are
/// not.
class Random {
  public:
    explicit constexpr Random(std::uint64_t seed) noexcept : state_(seed) {}

    constexpr std::uint64_t next() noexcept { return mixed(state_++, 0); }
    /// Less than `bound`, which is not 0.
    constexpr std::size_t below(std::size_t bound) noexcept {
        return static_cast<std::size_t>(next() % bound);
    }
    /// From `least` to `most`.
    constexpr std::int64_t between(std::int64_t least, std::int64_t most) noexcept {
        const auto range = static_cast<std::uint64_t>(most) - static_cast<std::uint64_t>(least);
        const auto offset = range == UINT64_MAX ? next() : next() % (range + 1);
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(least) + offset);
    }
    constexpr bool chance(unsigned percent) noexcept { return below(100) < percent; }
    template <typename List>
    constexpr const auto& oneOf(const List& list) noexcept {
        return list[below(std::size(list))];
    }

  private:
    std::uint64_t state_;
};

}  // namespace zentara::schemas
