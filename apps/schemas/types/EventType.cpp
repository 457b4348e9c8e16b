#include "schemas/types/EventType.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "schemas/Format.h"
#include "schemas/files/SourceMap.h"
#include "schemas/types/Demands.h"
#include "schemas/types/Names.h"
#include "schemas/types/TypeNames.h"
#include "schemas/types/Work.h"

namespace zentara::schemas {

namespace {

constexpr std::size_t mostLevels = 100;

std::string listed(Kinds kinds) {
    constexpr std::pair<Kinds, std::string_view> names[] = {{kinds::string, "texts"},
                                                            {kinds::number, "numbers"},
                                                            {kinds::boolean, "booleans"},
                                                            {kinds::object, "objects"},
                                                            {kinds::array, "lists"}};
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
    explicit Builder(const SchemaFile& file)
        : document_(*file.document), work_(file.path), finder_(document_, work_), names_(work_) {
        type_.name = *file.name;
        type_.path = file.path;
        type_.words = wordsOf(file.name->id);
        type_.title = textUnder(document_.find("title"));
        type_.description = textUnder(document_.find("description"));
    }

    EventType build() {
        const auto demands = finder_.expand({{&document_, "", false, ""}});
        if ((permittedKinds(demands) & kinds::object) == 0)
            throw CommandError(type_.path +
                               ": the schema permits no object, as the properties of an event are");
        auto root = recordOf(demands, TypeNames::event);
        root.words.clear();
        type_.records.push_back(std::move(root));
        std::vector<TypeNames::Type> types;
        for (std::size_t i = 0; i < places_.records.size(); ++i)
            types.push_back({places_.records[i], &type_.records[i].words});
        for (std::size_t i = 0; i < places_.enumerations.size(); ++i)
            types.push_back({places_.enumerations[i], &type_.enumerations[i].words});
        names_.nameAll(std::move(types));
        return std::move(type_);
    }

  private:
    static ValueType json(std::string reason) {
        ValueType type;
        type.whyJSON = std::move(reason);
        return type;
    }

    ValueType valueOf(const Demands& demands, std::size_t place) {
        auto kinds = permittedKinds(demands);
        if (demands.size() == 1 && !demands.front().definition.empty())
            place = names_.addDefinition(demands.front().definition);
        auto values = enumeratedValues(demands, kinds, work_);
        const bool isNullable = (kinds & kinds::null) != 0;
        kinds &= kinds::all & ~kinds::null;
        ValueType type;
        if (values) {
            type = valueAmong(std::move(*values), demands, place, isNullable);
        } else if (kinds == kinds::object || kinds == kinds::array) {
            type = nestedValue(demands, place, kinds);
        } else if (kinds == kinds::string || kinds == kinds::integer || kinds == kinds::number ||
                   kinds == kinds::boolean) {
            type.shape = kinds == kinds::string    ? Shape::text
                         : kinds == kinds::integer ? Shape::integer
                         : kinds == kinds::number  ? Shape::number
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
        if ((kinds | kinds::null) == kinds::all) return "The schema names no type.";
        return "Several types are permitted: " + listed(kinds) + ".";
    }

    ValueType valueAmong(std::vector<JSONValue> values, const Demands& demands, std::size_t place,
                         bool isNullable) {
        Kinds kinds = 0;
        for (const auto& value : values)
            kinds |= kindOf(value);
        ValueType type;
        if (kinds == 0) return json(whyJSON(demands, 0, isNullable));
        if (kinds == kinds::boolean) {
            type.shape = Shape::boolean;
        } else if (kinds == kinds::string || kinds == kinds::integer) {
            type.shape = Shape::enumeration;
            type.position = addEnumeration(std::move(values), demands, place);
        } else if ((kinds | kinds::number) == kinds::number) {
            type.shape = Shape::number;
            for (const auto& demand : demands)
                addBounds(*demand.schema, type);
        } else {
            type = json("\"enum\" lists values of several types: " + listed(kinds) + ".");
            if (kinds == kinds::object || kinds == kinds::array)
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
            const auto pattern = textUnder(schema.find("pattern"));
            const auto& all = type.patterns;
            if (!pattern.empty() && std::find(all.begin(), all.end(), pattern) == all.end())
                type.patterns.push_back(pattern);
            const auto format = textUnder(schema.find("format"));
            const auto known = standardFormats();
            if (type.format.empty() &&
                std::any_of(known.begin(), known.end(),
                            [&](const Format& each) { return each.name == format; }))
                type.format = format;
        } else if (type.shape == Shape::integer || type.shape == Shape::number) {
            addRange(number("minimum"), isTrue(schema.find("exclusiveMinimum")), false,
                     type.minimum, type.exclusiveMinimum);
            addRange(number("maximum"), isTrue(schema.find("exclusiveMaximum")), true, type.maximum,
                     type.exclusiveMaximum);
            const auto unit = number("multipleOf");
            if (unit && *unit > 0 && !type.multipleOf) type.multipleOf = unit;
        } else if (type.shape == Shape::list) {
            tighten(type.minItems, integer("minItems"), false);
            tighten(type.maxItems, integer("maxItems"), true);
            type.uniqueItems = type.uniqueItems || isTrue(schema.find("uniqueItems"));
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
    ValueType nestedValue(const Demands& demands, std::size_t place, Kinds kinds) {
        if (level_ >= mostLevels)
            return json("The schema nests types deeper than " + std::to_string(mostLevels) +
                        " levels.");
        const bool isRecursive = std::any_of(demands.begin(), demands.end(), [&](const auto& each) {
            return active_.contains(each.schema);
        });
        if (isRecursive) return json("The schema leads back to itself.");
        if (kinds == kinds::array) return listValue(demands, place);

        std::vector<const JSONObject*> key;
        for (const auto& demand : demands)
            key.push_back(demand.schema);
        work_.spend(key.size());
        const auto [known, isNew] = recordsOfSchemas_.try_emplace(std::move(key));
        if (isNew) {
            // The reference stays valid while other records are added.
            auto& type = known->second;
            auto record = recordOf(demands, place);
            if (record.properties.empty() && record.hasFreeProperties) {
                type = json("The schema describes no property of the object.");
            } else {
                type.shape = Shape::record;
                type.position = addRecord(std::move(record), place);
            }
        }
        return known->second;
    }

    ValueType listValue(const Demands& demands, std::size_t place) {
        ValueType type;
        type.shape = Shape::list;
        Demands elements;
        for (const auto& demand : demands) {
            addBounds(*demand.schema, type);
            const auto* const items = demand.schema->find("items");
            if (items != nullptr && items->isObject()) {
                elements.push_back(
                    {items->ifObject(), childPointer(demand.pointer, "items"), false, ""});
            } else if (schemasOf(demand.schema->find("items")) != nullptr) {
                return json("The elements of the list have a schema each.");
            }
        }
        const auto item = names_.addItem(place);
        enter(demands);
        type.element =
            std::make_shared<ValueType>(valueOf(finder_.expand(std::move(elements)), item));
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

    Record recordOf(const Demands& demands, std::size_t place) {
        Record record;
        if (!demands.empty()) record.pointer = demands.front().pointer;
        for (const auto* const keyword : {"description", "title"}) {
            for (const auto& demand : demands)
                if (record.description.empty())
                    record.description = textUnder(demand.schema->find(keyword));
        }
        addFreedom(demands, record);

        const auto closed = closedProperties(demands);
        enter(demands);
        for (auto& [key, isRequired, schemas] : propertiesOf(demands)) {
            Property property;
            property.isRequired = isRequired;
            if (!property.isRequired && isForbidden(key, closed)) continue;
            property.key = key;
            if (schemas.empty()) {
                property.type = json("The schema requires the property and does not describe it.");
                property.type.isNullable = true;
            } else {
                property.description = textUnder(schemas.front().schema->find("description"));
                const auto inner = finder_.expand(std::move(schemas));
                for (const auto& demand : inner)
                    if (property.description.empty())
                        property.description = textUnder(demand.schema->find("description"));
                property.type = valueOf(inner, names_.addProperty(key, place));
            }
            record.properties.push_back(std::move(property));
        }
        leave(demands);
        return record;
    }

    struct Found {
        std::string_view key;
        bool isRequired = false;
        Demands demands;  ///< none if it is only required
    };

    std::vector<Found> propertiesOf(const Demands& demands) {
        std::vector<Found> properties;
        std::unordered_map<std::string_view, std::size_t> positions;
        const auto add = [&](std::string_view key) -> Found& {
            const auto [known, isNew] = positions.try_emplace(key, properties.size());
            if (isNew) properties.push_back({key, false, {}});
            return properties[known->second];
        };
        for (const auto& demand : demands) {
            const auto* const named = namedSchemasOf(demand.schema->find("properties"));
            if (named == nullptr) continue;
            for (const auto& [key, schema] : *named)
                add(key).demands.push_back({schema.ifObject(),
                                            finder_.pointerTo(demand.pointer, "properties", key),
                                            false, ""});
        }
        for (const auto key : requiredNames(demands))
            add(key).isRequired = true;
        return properties;
    }

    std::vector<std::string_view> requiredNames(const Demands& demands) {
        std::vector<std::string_view> names;
        for (const auto& demand : demands) {
            const auto* const value = demand.schema->find("required");
            const auto* const list = value == nullptr ? nullptr : value->ifArray();
            if (list == nullptr || std::any_of(list->begin(), list->end(),
                                               [](const auto& each) { return !each.isString(); }))
                continue;
            work_.spend(list->size());
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
                closed.push_back(namedSchemasOf(demand.schema->find("properties")));
        }
        return closed;
    }

    bool isForbidden(std::string_view key, const std::vector<const JSONObject*>& closed) {
        work_.spend(closed.size());
        return std::any_of(closed.begin(), closed.end(), [&](const JSONObject* properties) {
            return properties == nullptr || !properties->contains(key);
        });
    }

    static void addFreedom(const Demands& demands, Record& record) {
        record.hasFreeProperties = true;
        record.whyFree = "The schema permits other properties.";
        for (const auto& demand : demands) {
            const auto* const patterns = namedSchemasOf(demand.schema->find("patternProperties"));
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

    /// Adds to `all`, unless there is one alike with the same name, and returns the position.
    template <typename Type, typename IsAlike>
    std::size_t addNamed(std::vector<Type>& all, std::vector<std::size_t>& placesOfAll,
                         std::multimap<std::vector<std::string>, std::size_t>& known, Type added,
                         std::size_t place, const IsAlike& isAlike) {
        const auto& words = names_.wordsAt(place);
        const auto [first, last] = known.equal_range(words);
        for (auto each = first; each != last; ++each) {
            work_.spend(1);
            if (isAlike(all[each->second], added)) return each->second;
        }
        known.emplace(words, all.size());
        all.push_back(std::move(added));
        placesOfAll.push_back(place);
        return all.size() - 1;
    }

    std::size_t addRecord(Record record, std::size_t place) {
        return addNamed(type_.records, places_.records, knownRecords_, std::move(record), place,
                        [this](const Record& one, const Record& other) {
                            work_.spend(std::min(one.properties.size(), other.properties.size()));
                            return one.hasFreeProperties == other.hasFreeProperties &&
                                   one.whyFree == other.whyFree &&
                                   one.description == other.description &&
                                   one.properties == other.properties;
                        });
    }

    std::size_t addEnumeration(std::vector<JSONValue> values, const Demands& demands,
                               std::size_t place) {
        Enumeration enumeration;
        enumeration.values = std::move(values);
        for (const auto& demand : demands) {
            if (enumeration.description.empty() && demand.schema->contains("enum"))
                enumeration.description = textUnder(demand.schema->find("description"));
        }
        return addNamed(type_.enumerations, places_.enumerations, knownEnumerations_,
                        std::move(enumeration), place,
                        [this](const Enumeration& one, const Enumeration& other) {
                            work_.spend(std::min(one.values.size(), other.values.size()));
                            return one.values == other.values;
                        });
    }

    const JSONObject& document_;
    Work work_;
    DemandFinder finder_;
    TypeNames names_;
    EventType type_;
    std::size_t level_ = 0;                         ///< of nested records and lists
    std::unordered_set<const JSONObject*> active_;  ///< whose types are being made
    std::map<std::vector<const JSONObject*>, ValueType> recordsOfSchemas_;
    struct {
        std::vector<std::size_t> records, enumerations;
    } places_;
    std::multimap<std::vector<std::string>, std::size_t> knownRecords_, knownEnumerations_;
};

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

void addVersionToName(EventType& event) {
    if (event.words.empty()) event.words.emplace_back("value");
    for (auto& word : wordsOf('v' + event.name.version))
        event.words.push_back(std::move(word));
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
        if (versions[event.name.id] > 1) addVersionToName(event);
        scope.add(event.path, event.words, NameStyle::upperCamel);
    }
    return events;
}

}  // namespace zentara::schemas
