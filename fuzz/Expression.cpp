// A pattern on the first line, and behind it a text in which it is searched.

#include <ctime>
#include <string>

#include "Check.h"
#include "text/ASCIIPattern.h"
#include "text/RegularExpression.h"
#include "text/Unicode.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

/// What this thread has worked, in seconds. Others on the machine do not count.
double workDone() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Runs `work`, which must not take longer than `seconds`.
template <typename Work>
auto bounded(double seconds, const Work& work) {
    const auto start = workDone();
    auto result = work();
    check(workDone() - start < seconds, "the work is bounded");
    return result;
}

constexpr double longestCompilation = 1.5;
constexpr double longestMatch = 0.5;
constexpr double surelyWithinLimit = 0.02;
/// Longer ones may reach the engine in pieces, which takes another time.
constexpr std::size_t shortText = 2'048;

void checkText(std::string_view text) {
    const auto characters = characterCount(text);
    check(characters <= utf16Length(text), "a character takes a unit at least");
    check((characters == 0) == text.empty(), "only the empty text has no characters");
    const auto repaired = repairedUTF8(text);
    check(isValidUTF8(repaired), "what was repaired is valid");
    check(isValidUTF8(text) == (repaired == text), "what is valid is not changed");
    check(characterCount(repaired) == characters && utf16Length(repaired) == utf16Length(text),
          "repairing does not change what is counted");
}

void checkMatches(const RegularExpression& expression, const RegularExpression* full,
                  std::string_view text, std::size_t length) {
    const auto start = workDone();
    const bool isFound = bounded(longestMatch, [&] { return expression.matches(text, length); });
    const auto ranges = bounded(longestMatch, [&] { return expression.findAll(text, length, 8); });
    const bool isFoundInFull =
        full != nullptr ? bounded(longestMatch, [&] { return full->matches(text, length); })
                        : isFound;
    std::size_t end = 0;
    for (const auto& range : ranges) {
        check(range.location >= end && range.location + range.length <= length,
              "matches follow each other within what is searched");
        end = range.location + range.length;
    }
    if (workDone() - start > surelyWithinLimit || text.size() > shortText) return;
    check(isFound == !ranges.empty(), "a search agrees with a list of matches");
    check(isFound == isFoundInFull, "the quick matcher agrees with the engine");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto parts = fuzz::twoParts(fuzz::asText(data, size));
    const std::string_view pattern = parts.first;
    const std::string_view text = parts.second;
    checkText(text);
    const auto expression =
        bounded(longestCompilation, [&] { return RegularExpression::compile(pattern); });
    if (!expression) return 0;
    std::optional<RegularExpression> full;
    if (ASCIIPattern::compile(pattern)) {
        // An empty look-ahead changes nothing, but is beyond the quick matcher.
        full = RegularExpression::compile("(?=)(?:" + std::string(pattern) + ")");
        check(full.has_value(), "what the quick matcher takes is an expression");
    }
    const auto units = utf16Length(text);
    for (const auto length : {characterCount(text), units, units / 2})
        checkMatches(*expression, full ? &*full : nullptr, text, length);
    return 0;
}
