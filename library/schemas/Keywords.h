#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "schemas/SchemaCompiler.h"
#include "schemas/ValidationRun.h"

namespace zentara {

/// Everything about a keyword.
struct KeywordLine {
    Keyword keyword;
    std::string_view spelling;
    std::uint16_t kinds;  ///< the kinds of values that it applies to
    bool hasSubschemas;
    void (SchemaCompiler::*compile)(const JSONValue&);  ///< null: compiled with another keyword
    bool (*check)(ValidationRun&, const SchemaNodes::Check&, const JSONValue&);
    std::string_view complaint = {};  ///< the message of a bound
};

/// The keywords. A missing line does not compile.
struct KeywordTable {
    template <bool (ValidationRun::*check)(const SchemaNodes::Check&, const JSONValue&)>
    static bool run(ValidationRun& validation, const SchemaNodes::Check& demand,
                    const JSONValue& value) {
        return (validation.*check)(demand, value);
    }

    using C = SchemaCompiler;
    using R = ValidationRun;
    static constexpr std::array<KeywordLine, static_cast<std::size_t>(Keyword::count)> lines = {{
        {Keyword::format, "format", kinds::all, false, &C::format, &run<&R::format>},
        {Keyword::reference, "$ref", kinds::all, true, &C::reference, &run<&R::reference>},
        {Keyword::type, "type", kinds::all, false, &C::type, &run<&R::type>},
        {Keyword::allOf, "allOf", kinds::all, true, &C::schemas, &run<&R::allOf>},
        {Keyword::anyOf, "anyOf", kinds::all, true, &C::schemas, &run<&R::anyOf>},
        {Keyword::oneOf, "oneOf", kinds::all, true, &C::schemas, &run<&R::oneOf>},
        {Keyword::negation, "not", kinds::all, true, &C::negation, &run<&R::negation>},
        {Keyword::enumeration, "enum", kinds::all, false, &C::enumeration, &run<&R::enumeration>},
        {Keyword::maxLength, "maxLength", kinds::string, false, &C::size, &run<&R::size>,
         "Length of string is larger than max length "},
        {Keyword::minLength, "minLength", kinds::string, false, &C::size, &run<&R::size>,
         "Length of string is smaller than minimum length "},
        {Keyword::pattern, "pattern", kinds::string, false, &C::pattern, &run<&R::pattern>},
        {Keyword::multipleOf, "multipleOf", kinds::number, false, &C::multipleOf,
         &run<&R::multipleOf>},
        {Keyword::minimum, "minimum", kinds::number, false, &C::range, &run<&R::range>,
         "Value is lower than minimum value of "},
        {Keyword::maximum, "maximum", kinds::number, false, &C::range, &run<&R::range>,
         "Value exceeds maximum value of "},
        {Keyword::minItems, "minItems", kinds::array, false, &C::size, &run<&R::size>,
         "Length of array is smaller than the minimum "},
        {Keyword::maxItems, "maxItems", kinds::array, false, &C::size, &run<&R::size>,
         "Length of array is greater than maximum "},
        {Keyword::uniqueItems, "uniqueItems", kinds::array, false, &C::uniqueItems,
         &run<&R::uniqueItems>},
        {Keyword::items, "items", kinds::array, true, &C::items, &run<&R::items>},
        {Keyword::maxProperties, "maxProperties", kinds::object, false, &C::size, &run<&R::size>,
         "Amount of properties is greater than maximum permitted"},
        {Keyword::minProperties, "minProperties", kinds::object, false, &C::size, &run<&R::size>,
         "Amount of properties is less than the required amount"},
        {Keyword::required, "required", kinds::object, false, &C::required, &run<&R::required>},
        {Keyword::properties, "properties", kinds::object, true, &C::properties,
         &run<&R::properties>},
        {Keyword::dependencies, "dependencies", kinds::object, true, &C::dependencies,
         &run<&R::dependencies>},
        {Keyword::exclusiveMinimum, "exclusiveMinimum", 0, false, nullptr, nullptr},
        {Keyword::exclusiveMaximum, "exclusiveMaximum", 0, false, nullptr, nullptr},
        {Keyword::additionalItems, "additionalItems", 0, false, nullptr, nullptr},
        {Keyword::patternProperties, "patternProperties", 0, false, nullptr, nullptr},
        {Keyword::additionalProperties, "additionalProperties", 0, false, nullptr, nullptr},
        {Keyword::failure, "", kinds::all, false, nullptr, &run<&R::failure>},
    }};

    [[nodiscard]] static const KeywordLine& of(Keyword keyword) noexcept {
        return lines[static_cast<std::size_t>(keyword)];
    }

    [[nodiscard]] static constexpr bool isComplete() noexcept {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const auto& line = lines[i];
            const bool isChecked =
                line.keyword < Keyword::exclusiveMinimum || line.keyword == Keyword::failure;
            if (line.keyword != static_cast<Keyword>(i)) return false;
            if (isChecked != (line.check != nullptr)) return false;
            if (line.spelling.empty() != (line.keyword == Keyword::failure)) return false;
            if ((line.compile != nullptr) != (isChecked && !line.spelling.empty())) return false;
        }
        return true;
    }
};

static_assert(KeywordTable::isComplete(),
              "each keyword has its line, in the order of the keywords");

}  // namespace zentara
