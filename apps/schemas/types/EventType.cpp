#include "schemas/types/EventType.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "schemas/Format.h"
#include "schemas/Schema.h"
#include "schemas/files/References.h"
#include "schemas/files/SourceMap.h"
#include "schemas/types/Names.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

/// Kinds of values, a bit each.
using Kinds = unsigned;
constexpr Kinds textKind = 1;
constexpr Kinds integerKind = 2;
constexpr Kinds fractionKind = 4;
constexpr Kinds booleanKind = 8;
constexpr Kinds nullKind = 16;
constexpr Kinds objectKind = 32;
constexpr Kinds listKind = 64;
constexpr Kinds numberKinds = integerKind | fractionKind;
constexpr Kinds allKinds = 127;

constexpr std::size_t mostLevels = 100;
constexpr std::size_t mostWork = 5'000'000;

/// A schema that a value must meet.
struct Demand {
    const JSONObject* schema = nullptr;
    std::string pointer;
    bool orNull = false;     ///< null meets it, too
    std::string definition;  ///< its name, if a reference has led here
};
/// All the schemas that a value must meet.
using Demands = std::vector<Demand>;

/// A name, and the names around it. Positions among the names; 0 is the event.
struct NameNode {
    std::vector<std::string> words;
    std::size_t outer = 0;
    bool isItem = false;
};

bool areObjects(const JSONArray& list) {
    return std::all_of(list.begin(), list.end(),
                       [](const JSONValue& each) { return each.isObject(); });
}

/// The schemas of a list; nothing if the engine would ignore it.
const JSONArray* schemasUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    const auto* const list = value == nullptr ? nullptr : value->ifArray();
    return list != nullptr && areObjects(*list) ? list : nullptr;
}

/// The schemas of a dictionary; nothing if the engine would ignore it.
const JSONObject* dictionaryUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    const auto* const object = value == nullptr ? nullptr : value->ifObject();
    if (object == nullptr) return nullptr;
    const bool isDictionary = std::all_of(object->begin(), object->end(), [](const auto& member) {
        return member.value().isObject();
    });
    return isDictionary ? object : nullptr;
}

std::string textUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    return value != nullptr && value->isString() ? std::string(value->string()) : "";
}

bool isTrue(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    return value != nullptr && value->ifBoolean() == true;
}

Kinds kindsNamed(std::string_view type) {
    constexpr Kinds kinds[] = {objectKind,  listKind,    textKind, integerKind,
                               numberKinds, booleanKind, nullKind};
    const auto known = typeNamed(type);
    return known ? kinds[static_cast<std::size_t>(*known)] : 0;
}

Kinds kindsOfType(const JSONObject& schema) {
    const auto* const type = schema.find("type");
    if (type == nullptr) return allKinds;
    if (type->isString()) return kindsNamed(type->string());
    Kinds kinds = 0;
    if (const auto* const names = type->ifArray()) {
        for (const auto& name : *names)
            if (name.isString()) kinds |= kindsNamed(name.string());
    }
    return kinds;
}

bool permitsOnlyNull(const JSONObject& schema) {
    const auto* const values = schema.find("enum");
    return kindsOfType(schema) == nullKind ||
           (values != nullptr && *values == JSONValue(JSONArray{nullptr}));
}

/// The only schema of "anyOf" or "oneOf" that permits more than null.
struct OnlyChoice {
    const JSONObject* schema = nullptr;
    std::size_t position = 0;
    bool orNull = false;
};
OnlyChoice onlyChoice(const JSONArray& schemas) {
    OnlyChoice choice;
    for (std::size_t i = 0; i < schemas.size(); ++i) {
        const auto& schema = *schemas[i].ifObject();
        if (permitsOnlyNull(schema)) {
            choice.orNull = true;
        } else if (choice.schema != nullptr) {
            return {};
        } else {
            choice.schema = &schema;
            choice.position = i;
        }
    }
    return choice;
}

/// Whether the schema says more than where other schemas are and what it is for.
bool saysMore(const JSONObject& schema) {
    constexpr std::string_view others[] = {"$ref",        "allOf", "anyOf",   "oneOf",      "title",
                                           "description", "id",    "$schema", "definitions"};
    return std::any_of(schema.begin(), schema.end(), [&](const auto& member) {
        return std::find(std::begin(others), std::end(others), member.key()) == std::end(others);
    });
}

Kinds kindOf(const JSONValue& value) {
    if (value.isString()) return textKind;
    // The engine takes numbers beyond 64 bits for integers, too.
    if (value.isNumber())
        return value.asInteger()                       ? integerKind
               : std::abs(*value.asDouble()) >= 0x1p63 ? numberKinds
                                                       : fractionKind;
    if (value.isBoolean()) return booleanKind;
    if (value.isNull()) return nullKind;
    return value.isObject() ? objectKind : listKind;
}

/// A value of an enumeration as one of the kinds. In an enumeration, the engine takes true for 1,
/// false for 0, and 2.0 for 2.
JSONValue asOneOf(Kinds kinds, const JSONValue& value) {
    const auto integer = value.asInteger();
    if (value.isBoolean() && (kinds & booleanKind) == 0) return value.boolean() ? 1 : 0;
    if (!integer) return value;
    if ((kinds & numberKinds) == 0 && (*integer == 0 || *integer == 1)) return *integer == 1;
    return *integer;
}

std::string listed(Kinds kinds) {
    constexpr std::pair<Kinds, std::string_view> names[] = {{textKind, "texts"},
                                                            {numberKinds, "numbers"},
                                                            {booleanKind, "booleans"},
                                                            {objectKind, "objects"},
                                                            {listKind, "lists"}};
    std::string text;
    for (const auto& [kind, name] : names) {
        if ((kinds & kind) != 0) text.append(text.empty() ? "" : ", ").append(name);
    }
    return text;
}

template <typename Number>
void tighten(std::optional<Number>& bound, const std::optional<Number>& other, bool isUpper) {
    if (other && (!bound || (isUpper ? *other < *bound : *other > *bound))) bound = other;
}

class Builder {
  public:
    explicit Builder(const SchemaFile& file) : file_(file), document_(*file.document) {
        type_.name = *file.name;
        type_.path = file.path;
        type_.words = wordsOf(file.name->id);
        type_.title = textUnder(document_, "title");
        type_.description = textUnder(document_, "description");
    }

    EventType build() {
        const auto demands = expand({{&document_, "", false, ""}});
        if ((permittedKinds(demands) & objectKind) == 0)
            fail("the schema permits no object, as the properties of an event are");
        auto root = recordOf(demands, 0);
        root.words.clear();
        type_.records.push_back(std::move(root));
        nameAll();
        return std::move(type_);
    }

  private:
    /// A record or an enumeration, until all names are known.
    struct Named {
        std::size_t node = 0;
        std::vector<std::string>* words = nullptr;
        std::size_t levels = 1;  ///< of names that are used
        std::vector<std::string> name;
    };

    [[noreturn]] void fail(const std::string& reason) const {
        throw CommandError(file_.path + ": " + reason);
    }

    void spend(std::size_t work) {
        work_ += work;
        if (work_ > mostWork) fail("the references of the schema lead to too many types");
    }

    static ValueType json(std::string reason) {
        ValueType type;
        type.whyJSON = std::move(reason);
        return type;
    }

    std::string pointerTo(const std::string& outer, std::string_view keyword,
                          std::string_view component) {
        spend(2 + component.size() / 16);
        const auto pointer = childPointer(outer, keyword);
        return mayExtend(pointer, component) ? childPointer(pointer, component) : outer;
    }

    /// Adds the schemas that references, "allOf" and single choices lead to.
    Demands expand(Demands pending) {
        Demands all;
        std::unordered_set<const JSONObject*> known;
        std::reverse(pending.begin(), pending.end());
        while (!pending.empty()) {
            const auto demand = std::move(pending.back());
            pending.pop_back();
            if (!known.insert(demand.schema).second) continue;
            const auto& schema = *demand.schema;
            spend(1 + schema.size());
            Demands inner;
            if (auto reference = textUnder(schema, "$ref"); !reference.empty()) {
                spend(reference.size() / 16);
                if (auto target = referenceTarget(document_, reference)) {
                    inner.push_back({target->schema, std::move(target->pointer), demand.orNull,
                                     std::move(target->name)});
                }
            }
            if (const auto* const schemas = schemasUnder(schema, "allOf")) {
                for (std::size_t i = 0; i < schemas->size(); ++i)
                    inner.push_back({(*schemas)[i].ifObject(),
                                     pointerTo(demand.pointer, "allOf", std::to_string(i)),
                                     demand.orNull, ""});
            }
            bool hasChoices = false;
            for (const auto* const keyword : {"anyOf", "oneOf"}) {
                const auto* const schemas = schemasUnder(schema, keyword);
                if (schemas == nullptr) continue;
                spend(schemas->size());
                const auto choice = onlyChoice(*schemas);
                hasChoices = hasChoices || choice.schema == nullptr;
                if (choice.schema == nullptr) continue;
                inner.push_back(
                    {choice.schema,
                     pointerTo(demand.pointer, keyword, std::to_string(choice.position)),
                     demand.orNull || choice.orNull, ""});
            }
            pending.insert(pending.end(), inner.rbegin(), inner.rend());
            if (hasChoices || saysMore(schema)) all.push_back(demand);
        }
        return all;
    }

    static Kinds permittedKinds(const Demands& demands) {
        Kinds kinds = allKinds;
        for (const auto& demand : demands)
            kinds &= kindsOfType(*demand.schema) | (demand.orNull ? nullKind : 0);
        return kinds;
    }

    ValueType valueOf(const Demands& demands, std::size_t node) {
        auto kinds = permittedKinds(demands);
        if (demands.size() == 1 && !demands.front().definition.empty())
            node = addNode(wordsOf(demands.front().definition), 0);
        auto values = enumeratedValues(demands, kinds);
        const bool isNullable = (kinds & nullKind) != 0;
        kinds &= ~nullKind;
        ValueType type;
        if (values) {
            type = valueAmong(std::move(*values), demands, node, isNullable);
        } else if (kinds == objectKind || kinds == listKind) {
            type = nestedValue(demands, node, kinds);
        } else if (kinds == textKind || kinds == integerKind || kinds == numberKinds ||
                   kinds == booleanKind) {
            type.shape = kinds == textKind      ? Shape::text
                         : kinds == integerKind ? Shape::integer
                         : kinds == numberKinds ? Shape::number
                                                : Shape::boolean;
            for (const auto& demand : demands)
                addBounds(*demand.schema, type);
        } else {
            type = json(whyJSON(demands, kinds, isNullable));
        }
        type.isNullable = isNullable;
        return type;
    }

    static std::string whyJSON(const Demands& demands, Kinds kinds, bool isNullable) {
        for (const auto& demand : demands) {
            for (const auto* const keyword : {"anyOf", "oneOf"}) {
                if (kinds != 0 && demand.schema->contains(keyword))
                    return "\"" + std::string(keyword) + "\" permits values of several types.";
            }
        }
        if (kinds == 0) return isNullable ? "Only null is permitted." : "No value is permitted.";
        if ((kinds | nullKind) == allKinds) return "The schema names no type.";
        return "Several types are permitted: " + listed(kinds) + ".";
    }

    /// The values that "enum" permits, apart from null; takes null from the kinds if it is not
    /// among them. Nothing without "enum".
    std::optional<std::vector<JSONValue>> enumeratedValues(const Demands& demands, Kinds& kinds) {
        std::optional<std::vector<JSONValue>> values;
        for (const auto& demand : demands) {
            const auto* const found = demand.schema->find("enum");
            if (found == nullptr || !found->isArray()) continue;
            bool hasNull = demand.orNull;
            std::unordered_set<std::string> texts;
            std::vector<JSONValue> permitted;
            for (const auto& each : *found->ifArray()) {
                hasNull = hasNull || each.isNull();
                auto value = asOneOf(kinds, each);
                if (value.isNull() || (kindOf(value) & kinds) == 0) continue;
                auto text = value.text();
                spend(1 + text.size() / 16);
                if (texts.insert(std::move(text)).second) permitted.push_back(std::move(value));
            }
            if (!hasNull) kinds &= ~nullKind;
            if (!values) {
                values = std::move(permitted);
            } else {
                std::erase_if(*values,
                              [&](const auto& each) { return !texts.contains(each.text()); });
            }
        }
        return values;
    }

    ValueType valueAmong(std::vector<JSONValue> values, const Demands& demands, std::size_t node,
                         bool isNullable) {
        Kinds kinds = 0;
        for (const auto& value : values)
            kinds |= kindOf(value);
        ValueType type;
        if (kinds == 0) return json(whyJSON(demands, 0, isNullable));
        if (kinds == booleanKind) {
            type.shape = Shape::boolean;
        } else if (kinds == textKind || kinds == integerKind) {
            type.shape = Shape::enumeration;
            type.position = addEnumeration(std::move(values), demands, node);
        } else if ((kinds & ~numberKinds) == 0) {
            type.shape = Shape::number;
            for (const auto& demand : demands)
                addBounds(*demand.schema, type);
        } else {
            type = json("\"enum\" lists values of several types: " + listed(kinds) + ".");
            if (kinds == objectKind || kinds == listKind)
                type.whyJSON = "\"enum\" lists whole " + listed(kinds) + ".";
        }
        return type;
    }

    static void addBounds(const JSONObject& schema, ValueType& type) {
        const auto integer = [&](std::string_view keyword) {
            const auto* const value = schema.find(keyword);
            return value == nullptr ? std::nullopt : value->asInteger();
        };
        const auto number = [&](std::string_view keyword) {
            const auto* const value = schema.find(keyword);
            return value == nullptr ? std::nullopt : value->asDouble();
        };
        if (type.shape == Shape::text) {
            tighten(type.minLength, integer("minLength"), false);
            tighten(type.maxLength, integer("maxLength"), true);
            const auto pattern = textUnder(schema, "pattern");
            const auto& all = type.patterns;
            if (!pattern.empty() && std::find(all.begin(), all.end(), pattern) == all.end())
                type.patterns.push_back(pattern);
            const auto format = textUnder(schema, "format");
            const auto known = standardFormats();
            if (type.format.empty() &&
                std::any_of(known.begin(), known.end(),
                            [&](const Format& each) { return each.name == format; }))
                type.format = format;
        } else if (type.shape == Shape::integer || type.shape == Shape::number) {
            addRange(number("minimum"), isTrue(schema, "exclusiveMinimum"), false, type.minimum,
                     type.exclusiveMinimum);
            addRange(number("maximum"), isTrue(schema, "exclusiveMaximum"), true, type.maximum,
                     type.exclusiveMaximum);
            const auto unit = number("multipleOf");
            if (unit && *unit > 0 && !type.multipleOf) type.multipleOf = unit;
        } else if (type.shape == Shape::list) {
            tighten(type.minItems, integer("minItems"), false);
            tighten(type.maxItems, integer("maxItems"), true);
            type.uniqueItems = type.uniqueItems || isTrue(schema, "uniqueItems");
        }
    }

    static void addRange(const std::optional<double>& bound, bool isExclusive, bool isUpper,
                         std::optional<double>& tightest, bool& isTightestExclusive) {
        if (!bound) return;
        if (bound == tightest) {
            isTightestExclusive = isTightestExclusive || isExclusive;
            return;
        }
        tighten(tightest, bound, isUpper);
        if (tightest == bound) isTightestExclusive = isExclusive;
    }

    /// An object or a list.
    ValueType nestedValue(const Demands& demands, std::size_t node, Kinds kinds) {
        if (level_ >= mostLevels)
            return json("The schema nests types deeper than " + std::to_string(mostLevels) +
                        " levels.");
        const bool isRecursive = std::any_of(demands.begin(), demands.end(), [&](const auto& each) {
            return active_.contains(each.schema);
        });
        if (isRecursive) return json("The schema leads back to itself.");
        if (kinds == listKind) return listValue(demands, node);

        std::vector<const JSONObject*> key;
        for (const auto& demand : demands)
            key.push_back(demand.schema);
        spend(key.size());
        const auto [known, isNew] = recordsOfSchemas_.try_emplace(std::move(key));
        if (isNew) {
            // The reference stays valid while other records are added.
            auto& type = known->second;
            auto record = recordOf(demands, node);
            if (record.properties.empty() && record.hasFreeProperties) {
                type = json("The schema describes no property of the object.");
            } else {
                type.shape = Shape::record;
                type.position = addRecord(std::move(record), node);
            }
        }
        return known->second;
    }

    ValueType listValue(const Demands& demands, std::size_t node) {
        ValueType type;
        type.shape = Shape::list;
        Demands elements;
        for (const auto& demand : demands) {
            addBounds(*demand.schema, type);
            const auto* const items = demand.schema->find("items");
            if (items != nullptr && items->isObject()) {
                elements.push_back(
                    {items->ifObject(), childPointer(demand.pointer, "items"), false, ""});
            } else if (schemasUnder(*demand.schema, "items") != nullptr) {
                return json("The elements of the list have a schema each.");
            }
        }
        auto words = nodes_[node].words;
        if (!nodes_[node].isItem) words.emplace_back("item");
        const auto item = addNode(std::move(words), nodes_[node].outer);
        nodes_[item].isItem = true;
        enter(demands);
        type.element = std::make_shared<ValueType>(valueOf(expand(std::move(elements)), item));
        leave(demands);
        return type;
    }

    // None of the schemas is active before.
    void enter(const Demands& demands) {
        ++level_;
        for (const auto& demand : demands)
            active_.insert(demand.schema);
    }
    void leave(const Demands& demands) {
        --level_;
        for (const auto& demand : demands)
            active_.erase(demand.schema);
    }

    Record recordOf(const Demands& demands, std::size_t node) {
        Record record;
        if (!demands.empty()) record.pointer = demands.front().pointer;
        for (const auto* const keyword : {"description", "title"}) {
            for (const auto& demand : demands)
                if (record.description.empty())
                    record.description = textUnder(*demand.schema, keyword);
        }
        addFreedom(demands, record);

        struct Found {
            std::string_view key;
            Demands demands;
        };
        std::vector<Found> properties;
        std::unordered_map<std::string_view, std::size_t> positions;
        std::unordered_set<std::string_view> required;
        for (const auto& demand : demands) {
            if (const auto* const named = dictionaryUnder(*demand.schema, "properties")) {
                spend(named->size());
                for (const auto& [key, schema] : *named) {
                    const auto [known, isNew] = positions.try_emplace(key, properties.size());
                    if (isNew) properties.push_back({key, {}});
                    properties[known->second].demands.push_back(
                        {schema.ifObject(), pointerTo(demand.pointer, "properties", key), false,
                         ""});
                }
            }
        }
        for (const auto key : requiredNames(demands)) {
            required.insert(key);
            if (positions.try_emplace(key, properties.size()).second)
                properties.push_back({key, {}});
        }

        const auto closed = closedProperties(demands);
        enter(demands);
        for (auto& [key, schemas] : properties) {
            Property property;
            property.isRequired = required.contains(key);
            if (!property.isRequired && isForbidden(key, closed)) continue;
            property.key = key;
            if (schemas.empty()) {
                property.type = json("The schema requires the property and does not describe it.");
                property.type.isNullable = true;
            } else {
                property.description = textUnder(*schemas.front().schema, "description");
                const auto inner = expand(std::move(schemas));
                for (const auto& demand : inner)
                    if (property.description.empty())
                        property.description = textUnder(*demand.schema, "description");
                property.type = valueOf(inner, addNode(wordsOf(key), node));
            }
            record.properties.push_back(std::move(property));
        }
        leave(demands);
        return record;
    }

    std::vector<std::string_view> requiredNames(const Demands& demands) {
        std::vector<std::string_view> names;
        for (const auto& demand : demands) {
            const auto* const value = demand.schema->find("required");
            const auto* const list = value == nullptr ? nullptr : value->ifArray();
            if (list == nullptr || std::any_of(list->begin(), list->end(),
                                               [](const auto& each) { return !each.isString(); }))
                continue;
            spend(list->size());
            for (const auto& name : *list)
                names.push_back(name.string());
        }
        return names;
    }

    static bool isClosed(const JSONObject& schema) {
        const auto* const others = schema.find("additionalProperties");
        return others != nullptr && others->ifBoolean() == false;
    }

    /// The properties of each schema that permits no others; null if it names none.
    static std::vector<const JSONObject*> closedProperties(const Demands& demands) {
        std::vector<const JSONObject*> closed;
        for (const auto& demand : demands) {
            if (isClosed(*demand.schema) && !demand.schema->contains("patternProperties"))
                closed.push_back(dictionaryUnder(*demand.schema, "properties"));
        }
        return closed;
    }

    bool isForbidden(std::string_view key, const std::vector<const JSONObject*>& closed) {
        spend(closed.size());
        return std::any_of(closed.begin(), closed.end(), [&](const JSONObject* properties) {
            return properties == nullptr || !properties->contains(key);
        });
    }

    static void addFreedom(const Demands& demands, Record& record) {
        record.hasFreeProperties = true;
        record.whyFree = "The schema permits other properties.";
        for (const auto& demand : demands) {
            const auto* const patterns = dictionaryUnder(*demand.schema, "patternProperties");
            const auto* const others = demand.schema->find("additionalProperties");
            if (patterns != nullptr && !patterns->empty()) {
                record.whyFree = "The schema permits properties by patterns of their names.";
            } else if (isClosed(*demand.schema)) {
                record.hasFreeProperties = false;
                record.whyFree.clear();
                return;
            } else if (others != nullptr && others->isObject()) {
                record.whyFree = "The schema permits other properties that meet a schema.";
            }
        }
    }

    std::size_t addNode(std::vector<std::string> words, std::size_t outer) {
        if (words.empty()) words.emplace_back("value");
        for (const auto& word : words)
            spend(1 + word.size() / 16);
        nodes_.push_back({std::move(words), outer, false});
        return nodes_.size() - 1;
    }

    /// Adds to `all`, unless there is one alike with the same name, and returns the position.
    template <typename Type, typename IsAlike>
    std::size_t addNamed(std::vector<Type>& all, std::vector<std::size_t>& nodesOfAll,
                         std::multimap<std::vector<std::string>, std::size_t>& known, Type added,
                         std::size_t node, const IsAlike& isAlike) {
        const auto& words = nodes_[node].words;
        const auto [first, last] = known.equal_range(words);
        for (auto each = first; each != last; ++each) {
            spend(1);
            if (isAlike(all[each->second], added)) return each->second;
        }
        known.emplace(words, all.size());
        all.push_back(std::move(added));
        nodesOfAll.push_back(node);
        return all.size() - 1;
    }

    std::size_t addRecord(Record record, std::size_t node) {
        return addNamed(type_.records, nodesOfRecords_, knownRecords_, std::move(record), node,
                        [this](const Record& one, const Record& other) {
                            spend(std::min(one.properties.size(), other.properties.size()));
                            return one.hasFreeProperties == other.hasFreeProperties &&
                                   one.whyFree == other.whyFree &&
                                   one.description == other.description &&
                                   one.properties == other.properties;
                        });
    }

    std::size_t addEnumeration(std::vector<JSONValue> values, const Demands& demands,
                               std::size_t node) {
        Enumeration enumeration;
        enumeration.values = std::move(values);
        for (const auto& demand : demands) {
            if (enumeration.description.empty() && demand.schema->contains("enum"))
                enumeration.description = textUnder(*demand.schema, "description");
        }
        return addNamed(type_.enumerations, nodesOfEnumerations_, knownEnumerations_,
                        std::move(enumeration), node,
                        [this](const Enumeration& one, const Enumeration& other) {
                            spend(std::min(one.values.size(), other.values.size()));
                            return one.values == other.values;
                        });
    }

    /// The name with the names of that many levels.
    std::vector<std::string> nameOf(std::size_t node, std::size_t levels) {
        std::vector<std::string> words;
        for (; levels > 0 && node != 0; --levels, node = nodes_[node].outer) {
            spend(nodes_[node].words.size());
            words.insert(words.begin(), nodes_[node].words.begin(), nodes_[node].words.end());
        }
        return words;
    }

    void nameAll() {
        std::vector<Named> all;
        for (std::size_t i = 0; i < nodesOfRecords_.size(); ++i)
            all.push_back({nodesOfRecords_[i], &type_.records[i].words, 1, {}});
        for (std::size_t i = 0; i < nodesOfEnumerations_.size(); ++i)
            all.push_back({nodesOfEnumerations_[i], &type_.enumerations[i].words, 1, {}});
        // In the order in which they were found.
        std::sort(all.begin(), all.end(),
                  [](const Named& one, const Named& other) { return one.node < other.node; });
        for (auto& each : all)
            each.name = nameOf(each.node, each.levels);
        for (bool isChanged = true; isChanged;) {
            isChanged = false;
            spend(all.size());
            std::unordered_map<std::string, std::size_t> counts;
            for (const auto& each : all)
                ++counts[identifier(each.name, NameStyle::upperCamel)];
            for (auto& each : all) {
                if (counts[identifier(each.name, NameStyle::upperCamel)] == 1) continue;
                auto longer = nameOf(each.node, each.levels + 1);
                if (longer.size() == each.name.size()) continue;
                each.name = std::move(longer);
                ++each.levels;
                isChanged = true;
            }
        }
        std::unordered_set<std::string> used;
        for (auto& each : all) {
            *each.words = each.name;
            for (std::size_t number = 2;
                 !used.insert(identifier(*each.words, NameStyle::upperCamel)).second; ++number) {
                spend(1);
                *each.words = each.name;
                each.words->back() += std::to_string(number);
            }
        }
    }

    const SchemaFile& file_;
    const JSONObject& document_;
    EventType type_;
    std::size_t work_ = 0;
    std::size_t level_ = 0;  ///< of nested records and lists
    std::vector<NameNode> nodes_ = {{}};
    std::unordered_set<const JSONObject*> active_;  ///< whose types are being made
    std::map<std::vector<const JSONObject*>, ValueType> recordsOfSchemas_;
    std::vector<std::size_t> nodesOfRecords_, nodesOfEnumerations_;
    std::multimap<std::vector<std::string>, std::size_t> knownRecords_, knownEnumerations_;
};

/// Numbers by their value, other texts behind them.
bool isEarlier(const SchemaName& one, const SchemaName& other) {
    const auto key = [](const SchemaName& name) {
        std::uint64_t number = 0;
        const auto* const last = name.version.data() + name.version.size();
        const auto [end, error] = std::from_chars(name.version.data(), last, number);
        const bool isNumber = error == std::errc() && end == last;
        return std::tuple(std::string_view(name.id), !isNumber, isNumber ? number : 0,
                          std::string_view(name.version));
    };
    return key(one) < key(other);
}

}  // namespace

bool operator==(const ValueType& one, const ValueType& other) {
    const auto content = [](const ValueType& type) {
        return std::tie(type.shape, type.isNullable, type.whyJSON, type.minLength, type.maxLength,
                        type.patterns, type.format, type.minimum, type.maximum, type.multipleOf,
                        type.exclusiveMinimum, type.exclusiveMaximum, type.minItems, type.maxItems,
                        type.uniqueItems, type.position);
    };
    if (content(one) != content(other)) return false;
    if (one.element == nullptr || other.element == nullptr) return one.element == other.element;
    return *one.element == *other.element;
}

std::vector<std::string> wordsOfValue(const JSONValue& value) {
    if (value.isString()) return wordsOf(value.string());
    auto digits = value.text();
    if (digits.starts_with('-')) return {"minus", digits.substr(1)};
    return {"value", std::move(digits)};
}

EventType eventTypeOf(const SchemaFile& schema) {
    if (!schema.document)
        throw CommandError(schema.path + ": is no schema; zentara-schemas check tells why");
    if (!schema.name) throw CommandError(schema.path + ": the name is not {id}-{version}.json");
    return Builder(schema).build();
}

std::vector<EventType> eventTypesOf(std::span<const SchemaFile> schemas) {
    std::vector<EventType> events;
    std::map<std::string, std::size_t> versions;
    for (const auto& schema : schemas) {
        events.push_back(eventTypeOf(schema));
        ++versions[schema.name->id];
    }
    std::sort(events.begin(), events.end(), [](const EventType& one, const EventType& other) {
        return isEarlier(one.name, other.name);
    });
    Scope scope("the schemas", {});
    for (auto& event : events) {
        if (versions[event.name.id] > 1) {
            if (event.words.empty()) event.words.emplace_back("value");
            for (auto& word : wordsOf('v' + event.name.version))
                event.words.push_back(std::move(word));
        }
        scope.add(event.path, event.words, NameStyle::upperCamel);
    }
    return events;
}

}  // namespace zentara::schemas
