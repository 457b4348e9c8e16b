#include "schemas/catalogue/Describe.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

#include "schemas/generate/Generators.h"
#include "schemas/generate/Writer.h"
#include "schemas/types/EventType.h"
#include "schemas/types/Names.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas {

namespace {

// A record that is used in many places is shown in each of them, which could take forever.
constexpr std::size_t mostRows = 1000;
constexpr std::size_t mostDepth = 64;
constexpr std::size_t mostValues = 200;     // of an enumeration
constexpr std::size_t longestExample = 80;  // bytes
constexpr std::size_t longestCall = 100'000;

constexpr std::uint64_t seed = 1;

/// Collects the rows of an event.
class Rows {
  public:
    Rows(const EventType& event, const JSONValue* sample) : event_(event) {
        add(event.records.back(), "", 0, sample);
    }

    std::vector<PropertyRow> take() && { return std::move(rows_); }

  private:
    void add(const Record& record, const std::string& prefix, std::size_t depth,
             const JSONValue* sample) {
        const auto* const object = sample == nullptr ? nullptr : sample->ifObject();
        for (const auto& property : record.properties) {
            if (rows_.size() == mostRows) return;
            PropertyRow row;
            row.key = property.key;
            row.path = prefix + property.key;
            row.depth = depth;
            row.isRequired = property.isRequired;
            row.type = typeName(property.type);
            row.description = property.description;
            add(property.type, std::move(row),
                object == nullptr ? nullptr : object->find(property.key));
        }
    }

    /// Adds the row of a value and those of its properties.
    void add(const ValueType& type, PropertyRow row, const JSONValue* sample) {
        addRules(row, type, "");
        if (sample != nullptr && !sample->isBoolean()) row.example = sample->text();
        const auto* inner = &type;
        while (inner->shape == Shape::list) {
            inner = inner->element.get();
            addRules(row, *inner, "Each element: ");
            row.path += "[]";
            const auto* const array = sample == nullptr ? nullptr : sample->ifArray();
            sample = array == nullptr || array->empty() ? nullptr : &array->front();
        }
        if (inner->shape == Shape::record || row.example.size() > longestExample)
            row.example.clear();
        if (inner->shape != Shape::record) {
            rows_.push_back(std::move(row));
            return;
        }
        const auto& record = event_.records[inner->position];
        if (row.description.empty()) row.description = record.description;
        if (record.hasFreeProperties) row.rules.emplace_back("Other properties are permitted.");
        const auto prefix = row.path + '.';
        const auto depth = row.depth + 1;
        rows_.push_back(std::move(row));
        if (depth < mostDepth) add(record, prefix, depth, sample);
    }

    void addRules(PropertyRow& row, const ValueType& type, const std::string& prefix) const {
        auto limits = type;
        limits.patterns.clear();
        limits.element.reset();
        if (auto text = limitsOf(limits); !text.empty()) row.rules.push_back(prefix + text);
        row.patterns.insert(row.patterns.end(), type.patterns.begin(), type.patterns.end());
        if (type.shape == Shape::enumeration) {
            const auto& choice = event_.enumerations[type.position];
            if (row.description.empty()) row.description = choice.description;
            const auto count = choice.values.size();
            if (count > mostValues) {
                row.rules.push_back(prefix + "One of " + std::to_string(count) +
                                    " values, which begin so:");
            }
            for (std::size_t at = 0; at < std::min(count, mostValues); ++at)
                row.values.push_back(choice.values[at].text());
        }
        if (!type.whyJSON.empty()) row.rules.push_back(type.whyJSON);
    }

    std::string typeName(const ValueType& type) const {
        return nonNullName(type) + (type.isNullable ? " or null" : "");
    }

    std::string nonNullName(const ValueType& type) const {
        switch (type.shape) {
            case Shape::text:
                return "string";
            case Shape::integer:
                return "integer";
            case Shape::number:
                return "number";
            case Shape::boolean:
                return "boolean";
            case Shape::enumeration: {
                const auto& values = event_.enumerations[type.position].values;
                return !values.empty() && values.front().isString() ? "string" : "integer";
            }
            case Shape::record:
                return "object";
            case Shape::list: {
                const auto element = typeName(*type.element);
                return "array of " + (type.element->isNullable ? '(' + element + ')' : element);
            }
            case Shape::json:
                break;
        }
        return "any JSON";
    }

    const EventType& event_;
    std::vector<PropertyRow> rows_;
};

/// The scope as the generator of the language takes it: "shop::events", "shop_events_" or "SE".
GeneratedNames namesFor(std::string_view scope, std::string_view language) {
    GeneratedNames names;
    if (language == "C++") names.scope = scope.empty() ? "events" : scope;
    if (scope.empty() || language == "C++" || language == "Python") return names;
    const auto add = [&](std::string_view part) {
        if (language == "C") names.scope.append(part) += '_';
        if (language == "Objective-C")
            names.scope += identifier(wordsOf(part.substr(0, 1)), NameStyle::upperCamel);
    };
    for (auto end = scope.find("::"); end != std::string_view::npos; end = scope.find("::")) {
        add(scope.substr(0, end));
        scope.remove_prefix(end + 2);
    }
    add(scope);
    return names;
}

/// A sentence without the path, which the reader of a catalogue need not know.
std::string reasonOf(const CommandError& error, const std::string& path) {
    std::string_view reason = error.what();
    if (reason.starts_with(path + ": ")) reason.remove_prefix(path.size() + 2);
    return "Cannot be shown: " + std::string(reason) + '.';
}

void addCalls(EventVersion& version, const EventType& event, const std::string& scope) {
    using Call = std::string (*)(const EventType&, const JSONObject&, const GeneratedNames&);
    constexpr std::tuple<std::string_view, std::string_view, Call> languages[] = {
        {"C++", "cpp", callInCpp},
        {"C", "c", callInC},
        {"Objective-C", "objc", callInObjC},
        {"Python", "python", callInPython},
    };
    const auto* const properties = version.sample ? version.sample->ifObject() : nullptr;
    if (properties == nullptr) return;
    try {
        for (const auto& [language, markdownName, call] : languages) {
            auto code = call(event, *properties, namesFor(scope, language));
            if (code.size() <= longestCall)
                version.calls.push_back({language, markdownName, std::move(code)});
        }
    } catch (const CommandError& error) {
        version.calls.clear();
        version.whyNoCalls = reasonOf(error, event.path);
    }
}

EventVersion versionOf(const CheckedSchema& schema, const CheckedSchema* previous, bool isOneOfMany,
                       const std::string& scope) {
    const auto& document = *schema.file.document;
    EventVersion version;
    version.name = *schema.file.name;
    version.findings = schema.findings;
    const auto textAt = [&document](std::string_view key) {
        const auto* const value = document.find(key);
        return std::string(value == nullptr ? "" : value->ifString().value_or(""));
    };
    version.title = textAt("title");
    version.description = textAt("description");
    if (previous != nullptr) {
        version.previous = previous->file.name->version;
        version.change = compare(*previous->file.document, document);
    }
    version.sample = Sampler(document, seed).valid();
    try {
        auto event = eventTypeOf(schema.file);
        if (isOneOfMany) addVersionToName(event);
        version.properties = Rows(event, version.sample ? &*version.sample : nullptr).take();
        const auto& record = event.records.back();
        if (version.properties.size() == mostRows)
            version.otherProperties =
                "The table ends after " + std::to_string(mostRows) + " rows. ";
        version.otherProperties += !record.hasFreeProperties ? "Other properties are refused."
                                                             : "Other properties are permitted.";
        addCalls(version, event, scope);
    } catch (const CommandError& error) {
        version.whyNone = reasonOf(error, schema.file.path);
    }
    return version;
}

}  // namespace

std::vector<EventPage> describe(std::span<const CheckedSchema* const> schemas,
                                const std::string& scope) {
    std::map<std::string, std::vector<const CheckedSchema*>> events;
    for (const auto* const schema : schemas) {
        if (schema->file.document && schema->file.name)
            events[schema->file.name->id].push_back(schema);
    }
    std::vector<EventPage> pages;
    for (auto& [id, versions] : events) {
        std::stable_sort(versions.begin(), versions.end(), [](const auto* one, const auto* other) {
            return isEarlier(*one->file.name, *other->file.name);
        });
        auto& page = pages.emplace_back();
        page.id = id;
        const CheckedSchema* previous = nullptr;
        for (const auto* const version : versions)
            page.versions.push_back(
                versionOf(*version, std::exchange(previous, version), versions.size() > 1, scope));
        std::reverse(page.versions.begin(), page.versions.end());
    }
    return pages;
}

std::string trackLine(const EventVersion& version) {
    return JSONValue(JSONObject{{"schemaId", version.name.id},
                                {"schemaVersion", version.name.version},
                                {"properties", version.sample.value_or(JSONObject())}})
        .text();
}

}  // namespace zentara::schemas
