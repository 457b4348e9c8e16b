#include "schemas/SchemaCompiler.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "json/JSONText.h"
#include "schemas/KeywordValues.h"
#include "schemas/Keywords.h"
#include "schemas/Schema.h"

namespace zentara {

namespace {

JSONValue copyOf(std::optional<std::string_view> text) {
    return text ? JSONValue(*text) : JSONValue();
}

}  // namespace

std::optional<Type> typeNamed(std::string_view name) noexcept {
    const auto found = std::find(typeNames.begin(), typeNames.end(), name);
    if (found == typeNames.end()) return std::nullopt;
    return static_cast<Type>(found - typeNames.begin());
}

SchemaCompiler::SchemaCompiler(const JSONObject& document, std::span<const Format> formats,
                               std::shared_ptr<SharedExpressions> expressions)
    : document_(document), formats_(formats), references_(document) {
    result_->expressionsOwner = std::move(expressions);
}

std::unique_ptr<const SchemaNodes> SchemaCompiler::compile(const JSONObject& subschema) {
    nodeOf(subschema);
    for (Position node = 0; node < schemas_.size(); ++node)
        compileNode(node);
    auto& all = *result_;
    all.title = copyOf(textOf(document_.find("title")));
    all.description = copyOf(textOf(document_.find("description")));
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
    if (const auto* const names = textsOf(declared))
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
    const auto additional = additionalOf(find(keyword));
    if (additional.schema != nullptr) return nodeOf(*additional.schema);
    return additional.isForbidden ? SchemaNodes::forbidden : SchemaNodes::permitted;
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
        auto& check = add();
        check.kinds = static_cast<std::uint16_t>(kinds::all & ~kindsOf(known));
        // Messages take the name of a known type from the list of types.
        check.count = static_cast<std::uint32_t>(known ? *known : Type{typeNames.size()});
        if (!known) check.first = valueOf(type);
    } else if (textsOf(&type) != nullptr) {
        auto& check = add();
        check.kinds = static_cast<std::uint16_t>(kinds::all & ~kindsOfType(&type));
        check.flag = true;
    } else {
        std::string message = "'";
        appendPrinted(message, type);
        addFailure(message + "' is not a valid 'type'");
    }
}

/// "allOf", "anyOf" and "oneOf".
void SchemaCompiler::schemas(const JSONValue& list) {
    const auto* const schemas = schemasOf(&list);
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
    if (schemasOf(&schemas) == nullptr) return;
    this->schemas(schemas);
    // Behind the nodes of the first elements.
    result_->references.push_back(nodeOfAdditional(Keyword::additionalItems));
}

void SchemaCompiler::required(const JSONValue& names) {
    if (textsOf(&names) != nullptr) add().first = valueOf(names);
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
    std::sort(all.references.begin() + static_cast<std::ptrdiff_t>(members.byName),
              all.references.end(), [&](Position one, Position other) {
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
    if (const auto* const named = namedSchemasOf(&schemas)) {
        addNamedProperties(*named, members);
        takeRequired(members);
    }
    members.firstPattern = static_cast<Position>(result_->expressions.size());
    members.patternNodes = static_cast<Position>(all.references.size());
    if (const auto* const patterns = namedSchemasOf(find(Keyword::patternProperties))) {
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
        } else if (textsOf(&dependency) != nullptr) {
            all.dependencies.push_back({nameOf(key), valueOf(dependency), true});
        }
    }
    check.count = static_cast<std::uint32_t>(all.dependencies.size() - check.first);
}

void SchemaCompiler::reference(const JSONValue& reference) {
    const auto text = reference.ifString();
    if (!text) return;
    const auto target = references_.follow(*text);
    if (target.schema == nullptr) return addFailure(target.failure);
    if (!hasReferences_) {
        hasReferences_ = true;
        for (Position node = 0; node < schemas_.size(); ++node)
            nodes_.emplace(schemas_[node], node);
    }
    auto& check = add();
    check.first = nodeOf(*target.schema);
    check.count = valueOf(reference);
}

}  // namespace zentara
