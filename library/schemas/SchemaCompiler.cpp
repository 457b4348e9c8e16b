#include "schemas/SchemaCompiler.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "json/JSONText.h"
#include "schemas/Keywords.h"
#include "schemas/Schema.h"
#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

constexpr std::array<std::uint16_t, typeNames.size()> kindsOfTypes = {
    kinds::object, kinds::array,   kinds::string, kinds::integer,
    kinds::number, kinds::boolean, kinds::null};

bool isTrue(const JSONValue* value) noexcept {
    return value != nullptr && value->ifBoolean() == true;
}

/// The list when all of its elements are of that kind; else null.
const JSONArray* listOf(JSONValue::Kind kind, const JSONValue& value) noexcept {
    const auto* const list = value.ifArray();
    const auto isOther = [kind](const JSONValue& each) {
        return each.kind() != kind;
    };
    return list == nullptr || std::any_of(list->begin(), list->end(), isOther) ? nullptr : list;
}

const JSONObject* dictionaryOfObjects(const JSONValue* value) noexcept {
    const auto* const object = value == nullptr ? nullptr : value->ifObject();
    const auto isOther = [](const JSONMember& each) {
        return !each.value().isObject();
    };
    return object == nullptr || std::any_of(object->begin(), object->end(), isOther) ? nullptr
                                                                                     : object;
}

JSONValue textUnder(const JSONObject& document, std::string_view key) {
    const auto* const value = document.find(key);
    return value != nullptr && value->isString() ? JSONValue(*value) : JSONValue();
}

/// Removes the next component of a path; resets the path after the last component.
std::string_view takeComponent(std::optional<std::string_view>& path) {
    const auto component = path->substr(0, path->find('/'));
    if (component.size() == path->size()) {
        path.reset();
    } else {
        path->remove_prefix(component.size() + 1);
    }
    return component;
}

}  // namespace

std::optional<Type> typeNamed(std::string_view name) noexcept {
    const auto found = std::find(typeNames.begin(), typeNames.end(), name);
    if (found == typeNames.end()) return std::nullopt;
    return static_cast<Type>(found - typeNames.begin());
}

SchemaCompiler::SchemaCompiler(const JSONObject& document, std::span<const Format> formats,
                               std::shared_ptr<SharedExpressions> expressions)
    : document_(document), formats_(formats) {
    result_->expressionsOwner = std::move(expressions);
}

std::unique_ptr<const SchemaNodes> SchemaCompiler::compile(const JSONObject& subschema) {
    nodeOf(subschema);
    for (Position node = 0; node < schemas_.size(); ++node)
        compileNode(node);
    auto& all = *result_;
    all.title = textUnder(document_, "title");
    all.description = textUnder(document_, "description");
    addTypes(document_.find("type"));
    const auto trim = [](auto&... lists) {
        (lists.shrink_to_fit(), ...);
    };
    trim(all.nodes, all.checks, all.references, all.properties, all.members, all.dependencies,
         all.expressions, all.values, all.names, all.types);
    return std::move(result_);
}

/// The declared types that are known, for information.
void SchemaCompiler::addTypes(const JSONValue* declared) {
    const auto add = [this](const JSONValue& name) {
        if (const auto type = typeNamed(*name.ifString())) result_->types.push_back(*type);
    };
    if (declared == nullptr) return;
    if (declared->isString()) add(*declared);
    if (const auto* const names = listOf(JSONValue::Kind::string, *declared))
        std::for_each(names->begin(), names->end(), add);
}

void SchemaCompiler::compileNode(Position node) {
    found_.fill(nullptr);
    for (const auto& member : *schemas_[node]) {
        for (const auto& line : KeywordTable::lines) {
            if (line.spelling == member.key()) {
                found_[static_cast<std::size_t>(line.keyword)] = &member.value();
                break;
            }
        }
    }
    // One check serves all three keywords.
    static const JSONValue absent;
    auto& properties = found_[static_cast<std::size_t>(Keyword::properties)];
    if (properties == nullptr && (find(Keyword::patternProperties) != nullptr ||
                                  find(Keyword::additionalProperties) != nullptr))
        properties = &absent;

    const auto first = firstCheck_ = result_->checks.size();
    for (const auto& line : KeywordTable::lines) {
        const auto* const value = line.compile == nullptr ? nullptr : find(line.keyword);
        if (value == nullptr) continue;
        keyword_ = line.keyword;
        (this->*line.compile)(*value);
    }
    constexpr std::uint32_t unitsPerNode = 40;
    constexpr std::uint32_t unitsPerCheck = 10;
    SchemaNodes::Node compiled{static_cast<Position>(first), 0, false, 0, unitsPerNode};
    for (auto check = first; check < result_->checks.size(); ++check) {
        const auto& each = result_->checks[check];
        compiled.kinds = static_cast<std::uint16_t>(compiled.kinds | each.kinds);
        compiled.isInner = compiled.isInner || KeywordTable::of(each.keyword).hasSubschemas;
        compiled.cost += unitsPerCheck;
        ++compiled.count;
    }
    result_->nodes.push_back(compiled);
}

SchemaCompiler::Check& SchemaCompiler::add() {
    Check check{};
    check.keyword = keyword_;
    check.kinds = KeywordTable::of(keyword_).kinds;
    return result_->checks.emplace_back(check);
}

void SchemaCompiler::addFailure(std::string_view message) {
    auto& check = add();
    check.keyword = Keyword::failure;
    check.first = valueOf(message);
}

SchemaCompiler::Position SchemaCompiler::nodeOf(const JSONObject& schema) {
    const auto next = static_cast<Position>(schemas_.size());
    if (hasReferences_) {
        const auto [entry, isNew] = nodes_.try_emplace(&schema, next);
        if (!isNew) return entry->second;
    }
    schemas_.push_back(&schema);
    return next;
}

SchemaCompiler::Position SchemaCompiler::nodeOfAdditional(Keyword keyword) {
    const auto* const value = find(keyword);
    if (value == nullptr) return SchemaNodes::permitted;
    if (const auto* const schema = value->ifObject()) return nodeOf(*schema);
    return value->ifBoolean() == false ? SchemaNodes::forbidden : SchemaNodes::permitted;
}

SchemaCompiler::Position SchemaCompiler::valueOf(const JSONValue& value) {
    result_->values.push_back(value);
    return static_cast<Position>(result_->values.size() - 1);
}

SchemaNodes::Name SchemaCompiler::nameOf(std::string_view text) {
    const auto first = static_cast<Position>(result_->names.size());
    result_->names += text;
    return {first, static_cast<std::uint32_t>(text.size())};
}

void SchemaCompiler::format(const JSONValue& name) {
    const auto text = name.ifString();
    if (!text) return;
    const auto format = std::find_if(formats_.begin(), formats_.end(),
                                     [&text](const Format& each) { return each.name == *text; });
    if (format == formats_.end()) {
        return addFailure("'format' validation of '" + std::string(*text) +
                          "' is not yet supported.");
    }
    auto& check = add();
    check.format = &*format;
    if (format->otherKinds == Format::OtherKinds::accepted) check.kinds = kinds::string;
}

void SchemaCompiler::type(const JSONValue& type) {
    if (const auto name = type.ifString()) {
        const auto known = typeNamed(*name);
        const auto accepted = known ? kindsOfTypes[static_cast<std::size_t>(*known)] : 0;
        auto& check = add();
        check.kinds = static_cast<std::uint16_t>(kinds::all & ~accepted);
        // Messages take the name of a known type from the list of types.
        check.count = static_cast<std::uint32_t>(known ? *known : Type{typeNames.size()});
        if (!known) check.first = valueOf(type);
        return;
    }
    const auto* const names = listOf(JSONValue::Kind::string, type);
    if (names == nullptr) {
        std::string message = "'";
        appendPrinted(message, type);
        return addFailure(message + "' is not a valid 'type'");
    }
    unsigned accepted = 0;
    for (const auto& name : *names) {
        if (const auto known = typeNamed(*name.ifString()))
            accepted |= kindsOfTypes[static_cast<std::size_t>(*known)];
    }
    auto& check = add();
    check.kinds = static_cast<std::uint16_t>(kinds::all & ~accepted);
    check.flag = true;
}

/// "allOf", "anyOf" and "oneOf".
void SchemaCompiler::schemas(const JSONValue& list) {
    const auto* const schemas = listOf(JSONValue::Kind::object, list);
    if (schemas == nullptr) return;
    auto& check = add();
    check.first = static_cast<Position>(result_->references.size());
    check.count = static_cast<std::uint32_t>(schemas->size());
    for (const auto& schema : *schemas)
        result_->references.push_back(nodeOf(*schema.ifObject()));
}

void SchemaCompiler::negation(const JSONValue& schema) {
    if (const auto* const object = schema.ifObject()) add().first = nodeOf(*object);
}

void SchemaCompiler::enumeration(const JSONValue& list) {
    if (list.isArray()) add().first = valueOf(list);
}

void SchemaCompiler::pattern(const JSONValue& pattern) {
    const auto text = pattern.ifString();
    if (!text) return;
    add().first = static_cast<Position>(result_->expressions.size());
    result_->expressions.push_back(&result_->expressionsOwner->of(*text));
}

void SchemaCompiler::multipleOf(const JSONValue& divisor) {
    const auto unit = divisor.asDouble();
    if (unit && *unit > 0) add().number = *unit;
}

/// "minimum" and "maximum".
void SchemaCompiler::range(const JSONValue& bound) {
    const auto number = bound.asDouble();
    if (!number) return;
    auto& check = add();
    check.number = *number;
    check.flag = isTrue(
        find(keyword_ == Keyword::minimum ? Keyword::exclusiveMinimum : Keyword::exclusiveMaximum));
}

/// The bounds of lengths and sizes.
void SchemaCompiler::size(const JSONValue& bound) {
    const auto integer = bound.asInteger();
    if (!integer) return;
    auto& check = add();
    check.integer = *integer;
    check.flag = KeywordTable::of(keyword_).spelling.starts_with("min");
}

void SchemaCompiler::uniqueItems(const JSONValue& isWanted) {
    if (isTrue(&isWanted)) add();
}

void SchemaCompiler::items(const JSONValue& schemas) {
    if (const auto* const schema = schemas.ifObject()) {
        auto& check = add();
        check.flag = true;
        check.first = nodeOf(*schema);
        return;
    }
    if (listOf(JSONValue::Kind::object, schemas) == nullptr) return;
    this->schemas(schemas);
    // Behind the nodes of the first elements.
    result_->references.push_back(nodeOfAdditional(Keyword::additionalItems));
}

void SchemaCompiler::required(const JSONValue& names) {
    if (listOf(JSONValue::Kind::string, names) != nullptr) add().first = valueOf(names);
}

void SchemaCompiler::addNamedProperties(const JSONObject& schemas, SchemaNodes::Members& members) {
    auto& all = *result_;
    for (const auto& [name, schema] : schemas)
        all.properties.push_back({nameOf(name), nodeOf(*schema.ifObject())});
    members.count = static_cast<std::uint32_t>(schemas.size());
    if (members.count <= ValidationRun::fewProperties) return;
    members.byName = static_cast<Position>(all.references.size());
    for (Position i = 0; i < members.count; ++i)
        all.references.push_back(i);
    std::sort(all.references.end() - members.count, all.references.end(),
              [&](Position one, Position other) {
                  return all.text(all.properties[members.first + one].name) <
                         all.text(all.properties[members.first + other].name);
              });
}

/// If "required" names declared properties only, makes it part of their check, which looks them up
/// anyway.
void SchemaCompiler::takeRequired(SchemaNodes::Members& members) {
    auto& all = *result_;
    if (all.checks.size() == firstCheck_ || all.checks.back().keyword != Keyword::required) return;
    if (members.count > ValidationRun::fewMembers) return;
    // An invalid pattern replaces the messages of the properties, but not the message of
    // "required".
    if (find(Keyword::patternProperties) != nullptr) return;
    const auto names = all.checks.back().first;
    std::uint64_t positions = 0;
    for (const auto& name : *all.values[names].ifArray()) {
        Position position = 0;
        while (position < members.count &&
               all.text(all.properties[members.first + position].name) != *name.ifString())
            ++position;
        if (position == members.count) return;
        positions |= std::uint64_t{1} << position;
    }
    members.required = positions;
    members.requiredNames = names;
    all.checks.pop_back();
}

void SchemaCompiler::properties(const JSONValue& schemas) {
    auto& all = *result_;
    SchemaNodes::Members members{};
    members.first = static_cast<Position>(all.properties.size());
    if (const auto* const named = dictionaryOfObjects(&schemas)) {
        addNamedProperties(*named, members);
        takeRequired(members);
    }
    members.firstPattern = static_cast<Position>(result_->expressions.size());
    members.patternNodes = static_cast<Position>(all.references.size());
    if (const auto* const patterns = dictionaryOfObjects(find(Keyword::patternProperties))) {
        members.patternCount = static_cast<std::uint32_t>(patterns->size());
        for (const auto& [pattern, schema] : *patterns) {
            all.expressions.push_back(&all.expressionsOwner->of(pattern));
            all.references.push_back(nodeOf(*schema.ifObject()));
        }
    }
    members.additional = nodeOfAdditional(Keyword::additionalProperties);
    add().first = static_cast<Position>(all.members.size());
    all.members.push_back(members);
}

void SchemaCompiler::dependencies(const JSONValue& entries) {
    const auto* const object = entries.ifObject();
    if (object == nullptr) return;
    auto& all = *result_;
    auto& check = add();
    check.first = static_cast<Position>(all.dependencies.size());
    for (const auto& [key, dependency] : *object) {
        if (const auto* const schema = dependency.ifObject()) {
            all.dependencies.push_back({nameOf(key), nodeOf(*schema), false});
        } else if (listOf(JSONValue::Kind::string, dependency) != nullptr) {
            all.dependencies.push_back({nameOf(key), valueOf(dependency), true});
        }
    }
    check.count = static_cast<std::uint32_t>(all.dependencies.size() - check.first);
}

void SchemaCompiler::reference(const JSONValue& reference) {
    const auto text = reference.ifString();
    if (!text) return;
    const JSONObject* target = nullptr;
    std::string failure;
    if (*text == "#") {
        target = &document_;
    } else if (const auto path =
                   text->starts_with("#/") ? percentDecoded(text->substr(2)) : std::nullopt;
               path && isValidUTF8(*path)) {
        target = follow(*path, failure);
    } else {
        failure = "Remote $ref '" + std::string(*text) + "' is not yet supported";
    }
    if (target == nullptr) return addFailure(failure);
    if (!hasReferences_) {
        hasReferences_ = true;
        for (Position node = 0; node < schemas_.size(); ++node)
            nodes_.emplace(schemas_[node], node);
    }
    auto& check = add();
    check.first = nodeOf(*target);
    check.count = valueOf(reference);
}

const JSONObject* SchemaCompiler::follow(std::string_view path, std::string& failure) {
    const auto* current = &document_;
    std::optional<std::string_view> rest = path;
    while (rest) {
        const auto component = takeComponent(rest);
        const auto* const value = current->find(component);
        current = value == nullptr ? nullptr : value->ifObject();
        if (value != nullptr && value->isArray() && rest)
            current = elementNamed(takeComponent(rest), *value->ifArray());
        if (current == nullptr) {
            failure = "Reference not found '";
            failure.append(component).append("' in '").append(path).append("'");
            return nullptr;
        }
    }
    return current;
}

/// The element of a list of dictionaries that `component` names; null when it names none.
const JSONObject* SchemaCompiler::elementNamed(std::string_view component, const JSONArray& array) {
    // std::from_chars does not read a plus.
    if (component.starts_with('+') && !component.starts_with("+-")) component.remove_prefix(1);
    std::int64_t index = 0;
    const auto* const last = component.data() + component.size();
    const auto [end, error] = std::from_chars(component.data(), last, index);
    if (error != std::errc() || end != last || index < 0) return nullptr;
    const auto position = static_cast<std::size_t>(index);
    if (position >= array.size()) return nullptr;
    // Many references may lead through the same long list.
    const auto [known, isNew] = holdsObjectsOnly_.try_emplace(&array, false);
    if (isNew) {
        known->second = std::all_of(array.begin(), array.end(),
                                    [](const JSONValue& element) { return element.isObject(); });
    }
    return known->second ? array[position].ifObject() : nullptr;
}

}  // namespace zentara
