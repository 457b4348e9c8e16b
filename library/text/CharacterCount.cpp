#include <unicode/ubrk.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "text/RegularExpression.h"
#include "text/UTF16Text.h"

namespace zentara {

namespace {

/// Where combining characters are looked for.
constexpr std::int64_t unitsPerCombinedByte = 6;
constexpr std::int64_t unitsPerCombinedCharacter = 36;

struct Closer {
    void operator()(UBreakIterator* iterator) const noexcept { ubrk_close(iterator); }
};
using BreakIterator = std::unique_ptr<UBreakIterator, Closer>;

/// Opening a break iterator costs far more than using it, so the last one used is kept for the
/// next caller. A plain pointer, so that it survives static destruction.
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

std::size_t countCarriageReturnLineFeeds(std::string_view text) noexcept {
    if (text.find('\r') == std::string_view::npos) return 0;
    // Not by searching for each: there may be as many as there are characters.
    std::size_t count = 0;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i - 1] == '\r' && text[i] == '\n') ++count;
    }
    return count;
}

/// The number of code points, if each is a character of its own but for CR LF: text below U+0300
/// or between U+0380 and U+047F, where nothing combines. Spares European text the break iterator.
std::optional<std::size_t> countWithoutCombining(std::string_view text) noexcept {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++count) {
        const auto lead = static_cast<unsigned char>(text[i++]);
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

std::size_t characterCount(std::string_view text, WorkAllowance* allowance) {
    const auto spend = [allowance](std::int64_t perUnit, std::size_t units) {
        if (allowance != nullptr) allowance->spend(perUnit * static_cast<std::int64_t>(units));
    };
    spend(1, text.size());
    if (isASCII(text)) return text.size() - countCarriageReturnLineFeeds(text);
    if (const auto count = countWithoutCombining(text)) {
        return *count - countCarriageReturnLineFeeds(text);
    }

    const UTF16Text units(text, text.size());
    auto iterator =
        units.size() <= std::numeric_limits<std::int32_t>::max() ? takeIterator() : BreakIterator();
    if (!iterator) return countCodePoints(text);  // beyond ICU's reach, or ICU without its data
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

std::size_t utf16Length(std::string_view text) {
    if (isASCII(text)) return text.size();
    std::size_t count = 0;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int64_t>(text.size());
    for (std::int64_t next = 0; next < length;) {
        UChar32 character = 0;
        U8_NEXT_OR_FFFD(bytes, next, length, character);
        count += static_cast<std::size_t>(U16_LENGTH(character));
    }
    return count;
}

}  // namespace zentara
