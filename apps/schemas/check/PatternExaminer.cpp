#include "schemas/check/PatternExaminer.h"

#include <algorithm>
#include <vector>

#include "support/ASCII.h"
#include "text/ASCIIPattern.h"

namespace zentara::schemas {

namespace {

/// A search that takes more finds no match.
constexpr std::int64_t unitsPerMatch = 70'000'000;
/// A text that takes this share of them is reported.
constexpr std::int64_t costlyUnits = unitsPerMatch / 5;

/// Repetitions of one or two characters of the pattern, and a character that it may not end with.
std::vector<std::string> texts(std::string_view pattern) {
    constexpr std::size_t mostLetters = 5;
    std::string letters = "a0";
    for (const char c : pattern) {
        const bool isPlain = isLetter(c) || isDigit(c) ||
                             std::string_view(" -_.,:@/").find(c) != std::string_view::npos;
        if (letters.size() < mostLetters && isPlain && letters.find(c) == std::string::npos)
            letters += c;
    }
    std::vector<std::string> all;
    for (const std::size_t length : {std::size_t{40}, std::size_t{1000}}) {
        for (const char first : letters) {
            for (const char second : letters) {
                std::string text;
                while (text.size() < length)
                    (text += first) += second;
                all.push_back(text + '\x01');
            }
        }
    }
    return all;
}

/// The alternatives outside of groups and sets.
std::vector<std::string_view> alternatives(std::string_view pattern) {
    std::vector<std::string_view> all;
    int groups = 0;
    int sets = 0;
    std::size_t first = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (pattern.substr(i).starts_with("\\Q")) {
            i = std::min(pattern.find("\\E", i), pattern.size());
        } else if (c == '\\') {
            ++i;
        } else if (c == '[') {
            ++sets;
        } else if (c == ']') {
            sets = std::max(0, sets - 1);
        } else if (sets == 0 && c == '(') {
            ++groups;
        } else if (sets == 0 && c == ')') {
            --groups;
        } else if (sets == 0 && groups == 0 && c == '|') {
            all.push_back(pattern.substr(first, i - first));
            first = i + 1;
        }
    }
    all.push_back(pattern.substr(first));
    return all;
}

bool hasAnchorAtStart(std::string_view text) {
    while (text.starts_with('(')) {
        const auto flags = text.find_first_of(":)^");
        const bool hasFlags = text.starts_with("(?") && flags != std::string_view::npos;
        text.remove_prefix(hasFlags && text[flags] != '^' ? flags + 1 : 1);
    }
    // "Anything" says that what comes before is meant to match.
    return text.starts_with('^') || text.starts_with("\\A") || text.starts_with(".*");
}

bool hasAnchorAtEnd(std::string_view text) {
    while (text.ends_with(')') && !text.ends_with("\\)"))
        text.remove_suffix(1);
    if (text.ends_with("\\z") || text.ends_with("\\Z") || text.ends_with(".*")) return true;
    if (!text.ends_with('$')) return false;
    text.remove_suffix(1);
    const auto other = text.find_last_not_of('\\');
    const auto backslashes =
        other == std::string_view::npos ? text.size() : text.size() - other - 1;
    return backslashes % 2 == 0;
}

}  // namespace

const PatternVerdict& PatternExaminer::of(std::string_view pattern) {
    auto& entry = entryOf(pattern);
    if (!entry.verdict) {
        auto& verdict = entry.verdict.emplace();
        verdict.isExamined = !isOver();
        if (verdict.isExamined) {
            verdict.isValid = entry.expression.isValid();
            if (verdict.isValid) measure(entry, verdict);
        }
    }
    return *entry.verdict;
}

void PatternExaminer::measure(const Entry& entry, PatternVerdict& verdict) const {
    // These run in time linear to the text.
    if (ASCIIPattern::compile(entry.expression.pattern()) != nullptr) return;
    for (auto& text : texts(entry.expression.pattern())) {
        if (isOver()) {
            verdict.isExamined = false;
            return;
        }
        constexpr std::int64_t plenty = 10 * unitsPerMatch;
        WorkAllowance allowance(plenty);
        static_cast<void>(entry.expression.matches(text, &allowance));
        const auto spent = plenty - allowance.remaining();
        if (spent < costlyUnits) continue;
        verdict.percent =
            static_cast<int>(std::min<std::int64_t>(100, spent * 100 / unitsPerMatch));
        verdict.costlyText = std::move(text);
        verdict.costlyText.pop_back();
        return;
    }
}

bool PatternExaminer::mayMatch(std::string_view pattern, std::string_view name) {
    return matching_.exhausted() || entryOf(pattern).expression.matches(name, &matching_) ||
           matching_.exhausted();
}

std::optional<std::string> missingAnchors(std::string_view pattern) {
    const auto all = alternatives(pattern);
    std::size_t starts = 0;
    std::size_t ends = 0;
    bool isFree = false;
    for (const auto each : all) {
        const bool atStart = hasAnchorAtStart(each);
        const bool atEnd = hasAnchorAtEnd(each);
        starts += atStart ? 1 : 0;
        ends += atEnd ? 1 : 0;
        isFree = isFree || (!atStart && !atEnd);
    }
    if (starts % all.size() != 0 || ends % all.size() != 0)
        return "An anchor belongs to its alternative only: the others match without it.";
    if (isFree) return "It matches anywhere in the text, whatever is around the match.";
    return std::nullopt;
}

}  // namespace zentara::schemas
