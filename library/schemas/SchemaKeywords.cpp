#include "schemas/SchemaKeywords.h"

#include <cstring>

namespace zentara {

namespace {

/// Comparing a length known when compiling takes a word or two instead of a call.
template <std::size_t size>
bool spells(std::string_view key, const char (&word)[size]) noexcept {
    return std::memcmp(key.data(), word, size - 1) == 0;
}

}  // namespace

Keyword keywordFromKey(std::string_view key) noexcept {
    // The length leaves at most four candidates.
    switch (key.size()) {
        case 3:
            if (spells(key, "not")) return Keyword::negation;
            break;
        case 4:
            if (spells(key, "type")) return Keyword::type;
            if (spells(key, "enum")) return Keyword::enumeration;
            if (spells(key, "$ref")) return Keyword::reference;
            break;
        case 5:
            if (spells(key, "items")) return Keyword::items;
            if (spells(key, "anyOf")) return Keyword::anyOf;
            if (spells(key, "oneOf")) return Keyword::oneOf;
            if (spells(key, "allOf")) return Keyword::allOf;
            break;
        case 6:
            if (spells(key, "format")) return Keyword::format;
            break;
        case 7:
            if (spells(key, "pattern")) return Keyword::pattern;
            if (spells(key, "minimum")) return Keyword::minimum;
            if (spells(key, "maximum")) return Keyword::maximum;
            break;
        case 8:
            if (spells(key, "required")) return Keyword::required;
            if (spells(key, "minItems")) return Keyword::minItems;
            if (spells(key, "maxItems")) return Keyword::maxItems;
            break;
        case 9:
            if (spells(key, "minLength")) return Keyword::minLength;
            if (spells(key, "maxLength")) return Keyword::maxLength;
            break;
        case 10:
            if (spells(key, "properties")) return Keyword::properties;
            if (spells(key, "multipleOf")) return Keyword::multipleOf;
            break;
        case 11:
            if (spells(key, "uniqueItems")) return Keyword::uniqueItems;
            break;
        case 12:
            if (spells(key, "dependencies")) return Keyword::dependencies;
            break;
        case 13:
            if (spells(key, "minProperties")) return Keyword::minProperties;
            if (spells(key, "maxProperties")) return Keyword::maxProperties;
            break;
        case 15:
            if (spells(key, "additionalItems")) return Keyword::additionalItems;
            break;
        case 16:
            if (spells(key, "exclusiveMinimum")) return Keyword::exclusiveMinimum;
            if (spells(key, "exclusiveMaximum")) return Keyword::exclusiveMaximum;
            break;
        case 17:
            if (spells(key, "patternProperties")) return Keyword::patternProperties;
            break;
        case 20:
            if (spells(key, "additionalProperties")) return Keyword::additionalProperties;
            break;
        default:
            break;
    }
    return Keyword::none;
}

}  // namespace zentara
