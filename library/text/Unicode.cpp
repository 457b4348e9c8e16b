#include "text/Unicode.h"

#include <unicode/ubrk.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <optional>
#include <utility>

namespace zentara {

namespace {

constexpr std::uint64_t highBits = 0x8080808080808080U;

/// The cost of counting with the break iterator.
constexpr std::int64_t unitsPerCombinedByte = 6;
constexpr std::int64_t unitsPerCombinedCharacter = 36;

/// How many bytes at the start of `text` are surely ASCII.
std::size_t asciiLength(std::string_view text) noexcept {
    return lengthOfWords(text, [](std::uint64_t word) { return (word & highBits) == 0; });
}

/// Calls `visit(character)` for each character, U+FFFD for an ill-formed sequence, until it
/// returns false.
template <typename Visit>
void forEachCharacter(std::string_view text, const Visit& visit) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int64_t>(text.size());
    for (std::int64_t next = 0; next < length;) {
        UChar32 character = 0;
        U8_NEXT_OR_FFFD(bytes, next, length, character);
        if (!visit(character)) return;
    }
}

struct Closer {
    void operator()(UBreakIterator* iterator) const noexcept { ubrk_close(iterator); }
};
using BreakIterator = std::unique_ptr<UBreakIterator, Closer>;

/// Opening a break iterator costs far more than using it, so the last iterator is kept for the next
/// caller. A plain pointer, so that it survives static destruction.
std::atomic<UBreakIterator*> spareIterator{nullptr};

BreakIterator takeIterator() {
    if (auto* const spare = spareIterator.exchange(nullptr)) return BreakIterator(spare);
    UErrorCode status = U_ZERO_ERROR;
    BreakIterator opened(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    return U_SUCCESS(status) ? std::move(opened) : nullptr;
}

void giveBack(BreakIterator iterator) {
    const BreakIterator previous(spareIterator.exchange(iterator.release()));
}

/// The number of characters of text below U+0300 or between U+0380 and U+047F, where only CR LF
/// combines. European text needs no break iterator then.
std::optional<std::size_t> countWithoutCombining(std::string_view text) noexcept {
    std::size_t count = 0;
    char previous = '\0';
    for (std::size_t i = 0; i < text.size(); ++count) {
        const char c = text[i++];
        const auto lead = static_cast<unsigned char>(c);
        if (c == '\n' && previous == '\r') --count;
        previous = c;
        if (lead < 0x80) continue;
        const bool alone = (lead >= 0xC2 && lead <= 0xCB) || (lead >= 0xCE && lead <= 0xD1);
        if (!alone || i == text.size()) return std::nullopt;
        if ((static_cast<unsigned char>(text[i++]) & 0xC0U) != 0x80) return std::nullopt;
    }
    return count;
}

std::size_t countCodePoints(std::string_view text) noexcept {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80;
    }));
}

}  // namespace

// simdjson is faster on long text that is not ASCII, but its objects are destroyed at exit, when
// workers and the host's threads may still send.
bool isValidUTF8(std::string_view text) noexcept {
    const auto* const source = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::size_t length = text.size();
    for (std::size_t next = asciiLength(text); next < length;) {
        UChar32 character = 0;
        U8_NEXT(source, next, length, character);
        if (character < 0) return false;
        if (character >= 0x80) continue;
        next += asciiLength(text.substr(next));
    }
    return true;
}

std::string withValidUTF8(std::string text) {
    if (isValidUTF8(text)) return text;
    std::string repaired;
    repaired.reserve(text.size() + 8);
    forEachCharacter(text, [&repaired](UChar32 character) {
        std::uint8_t bytes[U8_MAX_LENGTH];
        std::size_t count = 0;
        U8_APPEND_UNSAFE(bytes, count, static_cast<std::uint32_t>(character));
        repaired.append(reinterpret_cast<const char*>(bytes), count);
        return true;
    });
    return repaired;
}

bool isPlainASCII(std::string_view text) noexcept {
    const auto isPlain = [](std::uint64_t word) {
        // A byte below U+000E sets its high bit.
        constexpr std::uint64_t lowest = 0x0E0E0E0E0E0E0E0EU;
        return (((word - lowest) | word) & highBits) == 0;
    };
    return lengthOfWords(text, isPlain) == text.size();
}

std::size_t characterCount(std::string_view text, WorkAllowance* allowance) {
    const auto spend = [allowance](std::int64_t perUnit, std::size_t units) {
        if (allowance != nullptr) allowance->spend(perUnit * static_cast<std::int64_t>(units));
    };
    spend(1, text.size());
    if (isPlainASCII(text)) return text.size();
    if (const auto count = countWithoutCombining(text)) return *count;

    const UTF16Text units(text, text.size());
    auto iterator =
        units.size() <= std::numeric_limits<std::int32_t>::max() ? takeIterator() : BreakIterator();
    if (!iterator) return countCodePoints(text);  // too long for ICU, or ICU lacks its data
    UErrorCode status = U_ZERO_ERROR;
    ubrk_setText(iterator.get(), units.data(), static_cast<std::int32_t>(units.size()), &status);
    if (U_FAILURE(status)) return countCodePoints(text);
    std::size_t count = 0;
    while (ubrk_next(iterator.get()) != UBRK_DONE)
        ++count;
    spend(unitsPerCombinedByte, text.size());
    spend(unitsPerCombinedCharacter, count);
    giveBack(std::move(iterator));
    return count;
}

UTF16Text::UTF16Text(std::string_view text, std::size_t limit) {
    // UTF-16 never takes more units than UTF-8 takes bytes. A cut pair takes an extra unit.
    const std::size_t capacity = std::min(text.size(), limit) + 1;
    if (capacity > few_.size()) many_.reset(new char16_t[capacity]);
    char16_t* const units = many_ ? many_.get() : few_.data();
    const auto plain = std::min(asciiLength(text), limit);
    for (; size_ < plain; ++size_)
        units[size_] = static_cast<unsigned char>(text[size_]);
    forEachCharacter(text.substr(plain), [this, units, limit](UChar32 character) {
        if (size_ >= limit) return false;
        U16_APPEND_UNSAFE(units, size_, character);
        return true;
    });
    size_ = std::min(size_, limit);
}

}  // namespace zentara
