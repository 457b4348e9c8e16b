#include "RandomSchemas.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "schemas/values/Random.h"

namespace zentara::schemas {

namespace {

/// No two have the same words.
constexpr auto names = std::to_array<std::string_view>({"productId",
                                                        "quantity",
                                                        "unit_price",
                                                        "currency",
                                                        "email",
                                                        "landing-url",
                                                        "class",
                                                        "1st",
                                                        "first name",
                                                        "gr\xC3\xB6\xC3\x9F"
                                                        "e",
                                                        "default",
                                                        "x.y",
                                                        "$total",
                                                        "a/b",
                                                        "til~de",
                                                        "description",
                                                        "type",
                                                        "required",
                                                        "properties",
                                                        "HTTPCode2",
                                                        "new",
                                                        "self",
                                                        "isMember",
                                                        "created_at",
                                                        "\xE5\x90\x8D\xE5\x89\x8D",
                                                        "operator",
                                                        "items",
                                                        "enum",
                                                        "id",
                                                        "None",
                                                        "NULL",
                                                        "%41",
                                                        "country",
                                                        "tags",
                                                        "lambda",
                                                        "int",
                                                        "event",
                                                        "send"});
constexpr auto patterns = std::to_array<std::string_view>(
    {"^[A-Z]{2}-[0-9]{5}$", "^\\d{4}-\\d{2}-\\d{2}$", "^[a-z][a-z0-9_]*$", "^(web|app)/\\w+$",
     "[0-9]+", "^#?[0-9a-fA-F]{6}$", "^[^ ]{3,12}$", "^\\+?[1-9]\\d{6,14}$",
     "^(?:[a-z]+\\.)+[a-z]{2,6}$", "^v(\\d+)\\.(\\d+)$"});
constexpr auto formats = std::to_array<std::string_view>({"ipv4", "ipv6", "uri", "numericString"});
constexpr auto choices = std::to_array<std::string_view>(
    {"small", "medium", "X-Large", "two words", "9", "", "caf\xC3\xA9", "true", "in", "#1"});

class Builder {
  public:
    explicit Builder(std::uint64_t seed) : random_(mixed(seed, 15)) {}

    JSONObject document() {
        if (random_.chance(40)) addDefinitions();
        auto schema = object(3);
        schema.set("title", "Event " + std::to_string(random_.below(1000)));
        if (definitions_ > 0) schema.set("definitions", std::move(defined_));
        if (random_.chance(15)) schema.set("minProperties", 1);
        if (random_.chance(10)) schema.set("not", JSONObject{{"required", JSONArray{"forbidden"}}});
        return schema;
    }

  private:
    void addDefinitions() {
        const auto count = 1 + random_.below(3);
        for (std::size_t i = 0; i < count; ++i) {
            auto schema = random_.chance(60) ? object(1) : scalar();
            // Sometimes the definition refers to itself.
            auto* const properties = schema.find("properties");
            if (properties != nullptr && random_.chance(30))
                (*properties)["parent"] = JSONObject{{"$ref", reference(i)}};
            defined_.set("part" + std::to_string(i), std::move(schema));
            definitions_ = i + 1;
        }
    }

    static std::string reference(std::size_t position) {
        return "#/definitions/part" + std::to_string(position);
    }

    JSONObject text() {
        JSONObject schema{{"type", "string"}};
        switch (random_.below(6)) {
            case 0:
                schema.set("pattern", random_.oneOf(patterns));
                break;
            case 1:
                schema.set("format", random_.oneOf(formats));
                break;
            case 2:
                schema.set("minLength", random_.between(0, 6));
                [[fallthrough]];
            case 3:
                schema.set("maxLength", random_.between(6, 40));
                break;
            default:
                break;
        }
        return schema;
    }

    JSONObject number() {
        const bool isInteger = random_.chance(60);
        JSONObject schema{{"type", isInteger ? "integer" : "number"}};
        const auto least = random_.between(-20, 20);
        if (random_.chance(50)) {
            schema.set("minimum", least);
            if (random_.chance(30)) schema.set("exclusiveMinimum", true);
        }
        if (random_.chance(50)) {
            const auto most = least + random_.between(12, 500);
            if (isInteger || random_.chance(50)) {
                schema.set("maximum", most);
            } else {
                schema.set("maximum", static_cast<double>(most) + 0.25);
            }
            if (random_.chance(30)) schema.set("exclusiveMaximum", true);
        }
        if (random_.chance(15)) schema.set("multipleOf", random_.between(2, 5));
        if (!isInteger && random_.chance(15)) schema.set("multipleOf", 0.25);
        return schema;
    }

    JSONObject enumeration() {
        JSONArray values;
        const auto count = 1 + random_.below(5);
        const bool isText = random_.chance(75);
        const auto first = random_.below(choices.size());
        for (std::size_t i = 0; i < count; ++i) {
            if (isText) {
                values.push_back(choices[(first + i) % choices.size()]);
            } else {
                values.push_back(static_cast<std::int64_t>((first + i) * 120));
            }
        }
        JSONObject schema{{"enum", std::move(values)}};
        if (random_.chance(50)) schema.set("type", isText ? "string" : "integer");
        return schema;
    }

    JSONObject scalar() {
        switch (random_.below(5)) {
            case 0:
            case 1:
                return text();
            case 2:
                return number();
            case 3:
                return enumeration();
            default:
                return {{"type", "boolean"}};
        }
    }

    JSONObject array(int depth) {
        JSONObject schema{{"type", "array"}};
        if (random_.chance(10)) {
            schema.set("items", JSONArray{number(), text()});
            schema.set("additionalItems", random_.chance(50));
            return schema;
        }
        schema.set("items", property(depth - 1));
        if (random_.chance(40)) schema.set("minItems", random_.between(0, 2));
        if (random_.chance(40)) schema.set("maxItems", random_.between(2, 6));
        if (random_.chance(15)) {
            schema.set("items", text());
            schema.set("uniqueItems", true);
        }
        return schema;
    }

    JSONObject choice() {
        JSONArray some{JSONObject{{"type", "string"}, {"maxLength", 9}}, number()};
        if (random_.chance(50)) some.push_back(object(1));
        return {{random_.chance(50) ? "anyOf" : "oneOf", std::move(some)}};
    }

    JSONObject property(int depth) {
        const auto kind = random_.below(depth > 0 ? 20U : 12U);
        JSONObject schema;
        if (kind < 12) {
            schema = scalar();
        } else if (kind < 15) {
            schema = object(depth - 1);
        } else if (kind < 17) {
            schema = array(depth);
        } else if (kind < 18) {
            schema = choice();
        } else if (definitions_ > 0) {
            schema = {{"$ref", reference(random_.below(definitions_))}};
        }
        // Not with a format, of which some end the process at anything but a text.
        auto* const type = schema.find("type");
        if (type != nullptr && !schema.contains("format") && !schema.contains("enum") &&
            random_.chance(12))
            *type = JSONArray{*type, "null"};
        if (random_.chance(20)) schema.set("description", "What it is for.");
        return schema;
    }

    JSONObject object(int depth) {
        JSONObject properties;
        JSONArray required;
        const auto count = 1 + random_.below(depth == 3 ? 8 : 4);
        const auto first = random_.below(names.size());
        for (std::size_t i = 0; i < count; ++i) {
            const auto name = names[(first + i * 5) % names.size()];
            properties.set(name, property(depth));
            if (random_.chance(45)) required.push_back(name);
        }
        JSONObject schema{{"type", "object"}};
        if (random_.chance(8) && count > 1) {
            const auto& from = properties.begin()->key();
            const auto& to = (properties.begin() + 1)->key();
            schema.set("dependencies", JSONObject{{from, JSONArray{to}}});
        }
        schema.set("properties", std::move(properties));
        if (!required.empty()) schema.set("required", std::move(required));
        if (random_.chance(8)) schema.set("patternProperties", JSONObject{{"^x-[a-z]+$", text()}});
        switch (random_.below(5)) {
            case 0:
            case 1:
                schema.set("additionalProperties", false);
                break;
            case 2:
                schema.set("additionalProperties", random_.chance(70));
                break;
            case 3:
                if (random_.chance(40)) schema.set("additionalProperties", number());
                break;
            default:
                break;
        }
        return schema;
    }

    Random random_;
    JSONObject defined_;
    std::size_t definitions_ = 0;
};

}  // namespace

JSONObject randomSchema(std::uint64_t seed) {
    return Builder(seed).document();
}

}  // namespace zentara::schemas
