// A pattern on the first line and a text to search after it.

#include <ctime>
#include <string>

#include "Check.h"
#include "text/ASCIIPattern.h"
#include "text/RegularExpression.h"
#include "text/Unicode.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

/// The processor time of this thread, in seconds.
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

void checkText(std::string_view text) {
    const auto characters = characterCount(text);
    check(characters <= UTF16Text(text, text.size()).size(), "a character has at least one unit");
    check((characters == 0) == text.empty(), "only the empty text has no characters");
    const auto repaired = withValidUTF8(std::string(text));
    check(isValidUTF8(repaired), "a repaired text is valid");
    check(isValidUTF8(text) == (repaired == text), "a valid text is not changed");
    check(characterCount(repaired) == characters, "a repair does not change the count");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto parts = fuzz::twoParts(fuzz::asText(data, size));
    const std::string_view pattern = parts.first;
    const std::string_view text = parts.second;
    checkText(text);
    const RegularExpression expression(pattern);
    if (!bounded(longestCompilation, [&] { return expression.isValid(); })) return 0;
    (void)bounded(longestMatch, [&] { return expression.matches(text); });
    if (!ASCIIPattern::compile(pattern)) return 0;
    // An empty look-ahead changes nothing but keeps the pattern from the quick matcher.
    const RegularExpression full("(?=)(?:" + std::string(pattern) + ")");
    check(full.isValid(), "a pattern of the quick matcher is an expression");
    (void)bounded(longestMatch, [&] { return full.matches(text); });
    return 0;
}
