#include "schemas/check/Rules.h"

#include <array>
#include <cstddef>

namespace zentara::schemas {

namespace {

constexpr auto fault = Severity::fault;
constexpr auto warning = Severity::warning;

constexpr std::array<Rule, static_cast<std::size_t>(RuleName::count)> all = {{
    {"ZS101", "not-json", "The file is no JSON text.", fault},
    {"ZS102", "not-an-object", "A schema is a JSON object, and this is another value.", fault},
    {"ZS103", "too-deep", "The schema nests deeper than the library reads (511 levels).", fault},
    {"ZS104", "repeated-key", "An object has a key twice: only the last value counts.", fault},
    {"ZS105", "reference-not-found",
     "A $ref leads nowhere in the document: every value that reaches it is refused.", fault},
    {"ZS106", "remote-reference",
     "A $ref leads outside of the document: every value that reaches it is refused.", fault},
    {"ZS107", "endless-reference",
     "A $ref leads back to itself on the same value: validation stops and refuses the value.",
     fault},
    {"ZS108", "invalid-pattern",
     "A pattern does not compile, is empty or is too costly to compile: it refuses every text.",
     fault},
    {"ZS109", "unknown-type", "A type is none of the seven: no value is of that type.", fault},
    {"ZS110", "unknown-format",
     "The engine knows ipv4, ipv6, uri and numericString: another format refuses every value.",
     fault},
    {"ZS111", "fatal-format",
     "The schema lets a value that is not a string reach numericString, which ends the process.",
     fault},
    {"ZS112", "impossible-bounds", "No string, number, array or object meets the bounds.", fault},
    {"ZS113", "impossible-enum", "An enum is empty, or no listed value meets the other keywords.",
     fault},
    {"ZS114", "required-but-forbidden",
     "A required property is forbidden by \"additionalProperties\": false.", fault},
    {"ZS115", "empty-choice", "An anyOf or oneOf is empty, which refuses every value.", fault},
    {"ZS116", "no-valid-value",
     "The keywords contradict each other so that no value, or no event, is valid.", fault},
    {"ZS201", "unsupported-keyword", "The engine ignores this keyword of another dialect.",
     warning},
    {"ZS202", "misspelt-keyword", "The engine ignores this key, which resembles a keyword.",
     warning},
    {"ZS203", "wrong-value", "A keyword has a value of the wrong kind, so the engine ignores it.",
     warning},
    {"ZS204", "numeric-exclusive-bound",
     "An exclusive bound is a number, as in newer drafts: the engine ignores it.", warning},
    {"ZS205", "exclusive-without-bound", "An exclusive flag has no bound beside it.", warning},
    {"ZS206", "without-effect", "A keyword restricts nothing as it is written.", warning},
    {"ZS207", "reference-siblings",
     "Keywords beside $ref apply to the same value here; other validators ignore them.", warning},
    {"ZS208", "unanchored-pattern", "A pattern without ^ and $ matches anywhere in the text.",
     warning},
    {"ZS209", "costly-pattern",
     "A pattern comes near the most work of a match, beyond which a text does not match.", warning},
    {"ZS210", "costly-shape",
     "Subschemas are applied to a value so often, or so deep, that validation may stop.", warning},
    {"ZS211", "irrelevant-keyword", "A keyword does not apply to values of the declared type.",
     warning},
    {"ZS212", "file-name", "The name of the file is not {id}-{version}.json.", warning},
    {"ZS213", "fatal-for-invalid",
     "An invalid event, with a value that is not a string at numericString, ends the process.",
     warning},
    {"ZS214", "unused-enum-value", "A listed value does not meet the other keywords.", warning},
    {"ZS215", "unused-definition", "No $ref leads to a definition, which is not checked.", warning},
    {"ZS216", "other-draft", "The schema declares another draft than 4.", warning},
    {"ZS217", "not-examined", "The patterns take so long that some were not examined.", warning},
    {"ZS218", "more-findings", "There are more findings than are listed.", warning},
}};

constexpr bool isInOrder() {
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto first = static_cast<std::size_t>(RuleName::unsupportedKeyword);
        const bool isFault = i < first;
        if ((all[i].severity == fault) != isFault) return false;
        const auto number = i + 1 - (isFault ? 0 : first);
        const char digits[] = {'Z', 'S', isFault ? '1' : '2', static_cast<char>('0' + number / 10),
                               static_cast<char>('0' + number % 10)};
        if (all[i].number != std::string_view(digits, sizeof digits)) return false;
    }
    return true;
}
static_assert(isInOrder(), "the rules are listed by their numbers");

}  // namespace

std::span<const Rule> rules() noexcept {
    return all;
}

const Rule& ruleNamed(RuleName name) noexcept {
    return all[static_cast<std::size_t>(name)];
}

}  // namespace zentara::schemas
