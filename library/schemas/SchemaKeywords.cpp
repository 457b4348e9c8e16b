#include "schemas/SchemaKeywords.h"

namespace zentara {

Keyword keywordFromKey(std::string_view key) noexcept {
    // The length leaves at most four candidates, compared as words.
    switch (key.size()) {
        case 3:
            if (key == "not") return Keyword::negation;
            break;
        case 4:
            if (key == "type") return Keyword::type;
            if (key == "enum") return Keyword::enumeration;
            if (key == "$ref") return Keyword::reference;
            break;
        case 5:
            if (key == "items") return Keyword::items;
            if (key == "anyOf") return Keyword::anyOf;
            if (key == "oneOf") return Keyword::oneOf;
            if (key == "allOf") return Keyword::allOf;
            break;
        case 6:
            if (key == "format") return Keyword::format;
            break;
        case 7:
            if (key == "pattern") return Keyword::pattern;
            if (key == "minimum") return Keyword::minimum;
            if (key == "maximum") return Keyword::maximum;
            break;
        case 8:
            if (key == "required") return Keyword::required;
            if (key == "minItems") return Keyword::minItems;
            if (key == "maxItems") return Keyword::maxItems;
            break;
        case 9:
            if (key == "minLength") return Keyword::minLength;
            if (key == "maxLength") return Keyword::maxLength;
            break;
        case 10:
            if (key == "properties") return Keyword::properties;
            if (key == "multipleOf") return Keyword::multipleOf;
            break;
        case 11:
            if (key == "uniqueItems") return Keyword::uniqueItems;
            break;
        case 12:
            if (key == "dependencies") return Keyword::dependencies;
            break;
        case 13:
            if (key == "minProperties") return Keyword::minProperties;
            if (key == "maxProperties") return Keyword::maxProperties;
            break;
        case 15:
            if (key == "additionalItems") return Keyword::additionalItems;
            break;
        case 16:
            if (key == "exclusiveMinimum") return Keyword::exclusiveMinimum;
            if (key == "exclusiveMaximum") return Keyword::exclusiveMaximum;
            break;
        case 17:
            if (key == "patternProperties") return Keyword::patternProperties;
            break;
        case 20:
            if (key == "additionalProperties") return Keyword::additionalProperties;
            break;
        default:
            break;
    }
    return Keyword::none;
}

}  // namespace zentara
