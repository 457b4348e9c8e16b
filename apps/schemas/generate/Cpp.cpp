#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "schemas/files/SchemaFile.h"
#include "schemas/generate/CppNames.h"
#include "schemas/generate/Generators.h"
#include "schemas/generate/Writer.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

namespace {

constexpr std::size_t longestLine = 100;

/// A doc comment; nothing for an empty text.
std::string docComment(std::string_view text, std::size_t indent) {
    std::string result;
    for (const auto& line : commentLines(text, longestLine - indent - 4)) {
        if (result.empty() && line.empty()) continue;
        result += std::string(indent, ' ') + (line.empty() ? "///" : "/// ") + line + '\n';
    }
    return result;
}

/// Items in as few lines as possible.
std::string filled(const std::vector<std::string>& items, const std::string& before,
                   const std::string& after, std::size_t indent) {
    const auto all = before + listed(items, std::identity()) + after;
    if (indent + all.size() <= longestLine) return std::string(indent, ' ') + all + '\n';
    std::string result = std::string(indent, ' ') + before;
    const std::string inner(indent + 4, ' ');
    std::string line;
    for (const auto& item : items) {
        if (!line.empty() && inner.size() + line.size() + item.size() + 2 > longestLine) {
            result += '\n' + inner + line;
            line.clear();
        }
        line += (line.empty() ? "" : " ") + item + (&item == &items.back() ? "" : ",");
    }
    return result + '\n' + inner + line + after + '\n';
}

class CppEvent {
  public:
    CppEvent(const EventType& event, std::string scope)
        : event_(event), names_(event), scope_(std::move(scope)) {
        for (const auto& each : names_.enumerations)
            taken_.insert(each.type);
        for (const auto& each : names_.records)
            taken_.insert(each.type);
    }

    [[nodiscard]] const std::string& name() const { return names_.event; }

    /// The struct of the event, and the functions behind it.
    std::string code() {
        // The rules come from the types of the members.
        std::vector<std::string> members;
        for (std::size_t position = 0; position < event_.records.size(); ++position)
            members.push_back(recordMembers(position, isEvent(position) ? 4 : 8));

        std::string text =
            docComment(paragraphs(event_.title, event_.description) + "\n\nThe event \"" +
                           event_.name.id + "\", version \"" + event_.name.version + "\".",
                       0);
        text += "struct " + names_.event + " {\n";
        for (std::size_t position = 0; position < event_.enumerations.size(); ++position)
            text += enumeration(position);
        for (const auto& rule : rules_)
            text += "    struct " + rule.first + " {\n" + rule.second + "    };\n";
        for (std::size_t position = 0; !isEvent(position); ++position) {
            text += docComment(event_.records[position].description, 4) + "    struct " +
                    names_.records[position].type + " {\n" + members[position] +
                    comparison(names_.records[position].type, 8) + "    };\n";
        }
        if (text.ends_with("};\n")) text += '\n';
        text += members.back();
        if (!members.back().empty()) text += '\n';
        text +=
            "    operator zentara::EventDraft() const;\n" + comparison(names_.event, 4) + "};\n\n";
        for (std::size_t position = 0; position < event_.enumerations.size(); ++position)
            text += enumerationToJSON(position);
        for (std::size_t position = 0; position < event_.records.size(); ++position)
            text += recordToJSON(position);
        text += "inline " + names_.event + "::operator zentara::EventDraft() const {\n" +
                "    return {.schemaId = " + literalInC(event_.name.id) +
                ",\n            .schemaVersion = " + literalInC(event_.name.version) +
                ",\n            .properties = toJSON(*this)};\n}\n";
        return text;
    }

    /// A call that sends the properties.
    std::string call(const JSONObject& properties) {
        prefix_ = (scope_.empty() ? "" : scope_ + "::") + names_.event + "::";
        const auto type = prefix_.substr(0, prefix_.size() - 2);
        return type + " event" + object(event_.records.size() - 1, properties, 0) +
               ";\nclient->send(event, handler);\n";
    }

  private:
    [[nodiscard]] bool isEvent(std::size_t position) const {
        return position + 1 == event_.records.size();
    }

    // Types.

    /// The name of the type of a value that is there. `words` are of the property.
    std::string typeName(const ValueType& type, const std::vector<std::string>& words) {
        const auto plain = [&]() -> std::string {
            switch (type.shape) {
                case Shape::json:
                    return "zentara::JSONValue";
                case Shape::text:
                    return "zentara::Text<" + rule(textRule(type), words) + '>';
                case Shape::integer:
                    return "zentara::Integer<" + rule(numberRule(type), words) + '>';
                case Shape::number:
                    return "zentara::Number<" + rule(numberRule(type), words) + '>';
                case Shape::boolean:
                    return "zentara::Boolean";
                case Shape::enumeration:
                    return names_.enumerations[type.position].type;
                case Shape::record:
                    return names_.records[type.position].type;
                case Shape::list:
                    return "zentara::List<" + typeName(*type.element, words) + '>';
            }
            return {};
        }();
        return canBeNull(type) ? "zentara::Nullable<" + plain + '>' : plain;
    }

    /// Whether a member of this type could be left out without an error.
    [[nodiscard]] bool canBeOmitted(const ValueType& type) const {
        if (type.shape == Shape::record && !canBeNull(type)) {
            const auto& properties = event_.records[type.position].properties;
            return std::none_of(properties.begin(), properties.end(),
                                [](const Property& property) { return property.isRequired; });
        }
        return (type.shape == Shape::enumeration && !canBeNull(type)) || type.shape == Shape::json;
    }

    std::string memberType(const Property& property) {
        const auto name = typeName(property.type, wordsOf(property.key));
        if (!property.isRequired) return "zentara::Optional<" + name + '>';
        return canBeOmitted(property.type) ? "zentara::Required<" + name + '>' : name;
    }

    static std::string textRule(const ValueType& type) {
        std::string text;
        const auto length = [&](const char* name, std::int64_t value) {
            text += "        static constexpr std::size_t " + std::string(name) + " = " +
                    std::to_string(value) + ";\n";
        };
        if (type.minLength && *type.minLength > 0) length("minLength", *type.minLength);
        if (type.maxLength && *type.maxLength >= 0) length("maxLength", *type.maxLength);
        if (!type.patterns.empty()) {
            std::vector<std::string> literals;
            for (const auto& pattern : type.patterns)
                literals.push_back(literalInC(pattern));
            text += filled(literals, "static constexpr std::string_view patterns[] = {", "};", 8);
        }
        return text;
    }

    static std::string numberRule(const ValueType& type) {
        std::string text;
        const auto bound = [&](const char* name, double value) {
            text += "        static constexpr double " + std::string(name) + " = " +
                    numberText(value) + ";\n";
        };
        if (type.minimum)
            bound(type.exclusiveMinimum ? "exclusiveMinimum" : "minimum", *type.minimum);
        if (type.maximum)
            bound(type.exclusiveMaximum ? "exclusiveMaximum" : "maximum", *type.maximum);
        if (type.multipleOf && *type.multipleOf > 0) bound("multipleOf", *type.multipleOf);
        return text;
    }

    /// The name of a rule; properties of the same name and rule share it.
    std::string rule(const std::string& text, std::vector<std::string> words) {
        if (text.empty()) return {};
        words.emplace_back("rule");
        const auto base = identifier(words, NameStyle::upperCamel);
        const auto [known, isNew] = namesOfRules_.try_emplace(base + text);
        if (!isNew) return known->second;
        auto name = base;
        for (int number = 2; !taken_.insert(name).second; ++number)
            name = base + std::to_string(number);
        known->second = name;
        rules_.emplace_back(name, text);
        return name;
    }

    // Declarations.

    std::string enumeration(std::size_t position) {
        const auto& names = names_.enumerations[position];
        const auto& values = event_.enumerations[position].values;
        std::string text = docComment(event_.enumerations[position].description, 4);
        const bool isPlain = std::equal(values.begin(), values.end(), names.choices.begin(),
                                        [](const JSONValue& value, const std::string& name) {
                                            return value.ifString() == name;
                                        });
        if (isPlain)
            return text + filled(names.choices, "enum class " + names.type + " { ", " };", 4);
        text += "    enum class " + names.type + underlying(position) + " {\n";
        for (std::size_t choice = 0; choice < values.size(); ++choice) {
            const auto& value = values[choice];
            text += "        " + names.choices[choice];
            if (!value.isString()) {
                text += " = " + integer(value) + ",\n";
                continue;
            }
            text += value.string() == names.choices[choice]
                        ? ",\n"
                        : ",  ///< " + literalInC(value.string()) + '\n';
        }
        return text + "    };\n";
    }

    [[nodiscard]] std::string underlying(std::size_t position) const {
        const auto& values = event_.enumerations[position].values;
        if (values.front().isString()) return {};
        const bool isUnsigned =
            std::any_of(values.begin(), values.end(),
                        [](const JSONValue& value) { return value.isUnsignedInteger(); });
        return isUnsigned ? " : std::uint64_t" : " : std::int64_t";
    }

    static std::string integer(const JSONValue& value) {
        if (value.isUnsignedInteger()) return value.text() + 'U';
        return integerInC(value.asInteger().value_or(0));
    }

    std::string recordMembers(std::size_t position, std::size_t indent) {
        const auto& record = event_.records[position];
        const auto& names = names_.records[position];
        const std::string margin(indent, ' ');
        std::string text;
        for (std::size_t each = 0; each < record.properties.size(); ++each) {
            const auto& property = record.properties[each];
            text += docComment(comment(property, names.members[each]), indent) + margin +
                    memberType(property) + ' ' + names.members[each] +
                    (property.isRequired ? ";\n" : " = {};\n");
        }
        if (record.hasFreeProperties) {
            text += docComment(record.whyFree, indent) + margin + "zentara::JSONObject " +
                    names.others + " = {};\n";
        }
        return text;
    }

    static std::string comparison(const std::string& type, std::size_t indent) {
        return std::string(indent, ' ') + "friend bool operator==(const " + type + "&, const " +
               type + "&) = default;\n";
    }

    static std::string comment(const Property& property, const std::string& name) {
        auto text = commentOf(property, name);
        // A key with dashes, for example.
        if (property.key != name && isPlainlyCalled(property.key, name))
            text += "\nIn JSON: " + literalInC(property.key);
        return text;
    }

    // Functions.

    std::string enumerationToJSON(std::size_t position) {
        const auto& names = names_.enumerations[position];
        const auto& values = event_.enumerations[position].values;
        std::string text =
            "inline zentara::JSONValue toJSON(" + names_.event + "::" + names.type + " value) {\n";
        if (!values.front().isString()) {
            return text + "    return static_cast<" + underlying(position).substr(3) +
                   ">(value);\n}\n";
        }
        std::vector<std::string> literals;
        for (const auto& value : values) {
            const auto choice = value.string();
            const auto literal = literalInC(choice);
            const bool hasNull = choice.find('\0') != std::string_view::npos;
            literals.push_back(hasNull ? "std::string_view(" + literal + ", " +
                                             std::to_string(choice.size()) + ')'
                                       : literal);
        }
        return text + filled(literals, "static constexpr std::string_view choices[] = {", "};", 4) +
               "    return zentara::typedChoice(value, choices);\n}\n";
    }

    std::string recordToJSON(std::size_t position) {
        const auto& record = event_.records[position];
        const auto& names = names_.records[position];
        const bool isEmpty = record.properties.empty() && !record.hasFreeProperties;
        std::string text = "inline zentara::JSONObject toJSON(const " + names_.event +
                           (isEvent(position) ? "" : "::" + names.type) +
                           (isEmpty ? "& /*value*/) {\n    return {};\n}\n" : "& value) {\n");
        if (isEmpty) return text;
        text += "    zentara::JSONObject object;\n    object.reserve(" +
                std::to_string(record.properties.size()) + ");\n";
        for (std::size_t each = 0; each < record.properties.size(); ++each) {
            text += "    zentara::addTyped(object, " + literalInC(record.properties[each].key) +
                    ", value." + names.members[each] + ");\n";
        }
        if (record.hasFreeProperties) {
            text += "    zentara::addOthers(object, value." + names.others + ");\n";
        }
        return text + "    return object;\n}\n";
    }

    // Calls.

    std::string object(std::size_t position, const JSONObject& properties, std::size_t indent) {
        const auto& record = event_.records[position];
        const auto& names = names_.records[position];
        std::vector<std::string> items;
        std::size_t known = 0;
        for (std::size_t each = 0; each < record.properties.size(); ++each) {
            const auto& property = record.properties[each];
            const auto* const value = properties.find(property.key);
            if (value == nullptr) continue;
            ++known;
            const bool isWrapped = !property.isRequired || canBeOmitted(property.type);
            items.push_back('.' + names.members[each] + " = " +
                            expression(property.type, *value, indent + 4, isWrapped));
        }
        if (known < properties.size() && record.hasFreeProperties) {
            JSONObject others;
            for (const auto& [key, value] : properties) {
                if (std::none_of(
                        record.properties.begin(), record.properties.end(),
                        [name = key](const auto& property) { return property.key == name; }))
                    others.set(key, value);
            }
            items.push_back('.' + names.others + " = zentara::JSONValue::parse(" +
                            literalInC(JSONValue(others).text()) + ").object()");
        }
        return braced(items, indent);
    }

    /// Items in braces: in one line if it is short, otherwise one in each.
    static std::string braced(const std::vector<std::string>& items, std::size_t indent) {
        const auto line = listed(items, std::identity());
        if (line.find('\n') == std::string::npos && line.size() <= 60) return '{' + line + '}';
        std::string text = "{\n";
        for (const auto& item : items)
            text += std::string(indent + 4, ' ') + item + ",\n";
        return text + std::string(indent, ' ') + '}';
    }

    /// `isWrapped`: for a member that does not take the braces of a record alone.
    std::string expression(const ValueType& type, const JSONValue& value, std::size_t indent,
                           bool isWrapped) {
        if (value.isNull()) return "nullptr";
        if (const auto* const properties = value.ifObject();
            properties && type.shape == Shape::record) {
            const bool isNamed = isWrapped || canBeNull(type);
            return (isNamed ? prefix_ + names_.records[type.position].type : "") +
                   object(type.position, *properties, indent);
        }
        if (const auto* const elements = value.ifArray(); elements && type.shape == Shape::list) {
            if (elements->empty()) return "zentara::emptyList";
            std::vector<std::string> items;
            for (const auto& element : *elements)
                items.push_back(expression(*type.element, element, indent + 4, false));
            return braced(items, indent);
        }
        if (type.shape == Shape::enumeration) {
            const auto& values = event_.enumerations[type.position].values;
            const auto& names = names_.enumerations[type.position];
            const auto found = std::find(values.begin(), values.end(), value);
            const auto choice = static_cast<std::size_t>(found - values.begin());
            if (found != values.end()) return prefix_ + names.type + "::" + names.choices[choice];
        }
        if (const auto text = value.ifString()) return literalInC(*text);
        if (const auto truth = value.ifBoolean()) return *truth ? "true" : "false";
        if (type.shape == Shape::integer && value.asInteger()) return integer(value);
        if (value.isDouble()) return numberText(*value.ifDouble());
        if (value.isNumber()) return integer(value);
        return "zentara::JSONValue::parse(" + literalInC(value.text()) + ')';
    }

    const EventType& event_;
    const CppNames names_;
    const std::string scope_;
    std::string prefix_;  ///< of types in calls
    std::set<std::string> taken_;
    std::map<std::string, std::string> namesOfRules_;         ///< by their properties and texts
    std::vector<std::pair<std::string, std::string>> rules_;  ///< name and text, as they appeared
};

}  // namespace

std::vector<GeneratedFile> generateCpp(std::span<const EventType> events,
                                       const GeneratedNames& names) {
    const auto scope = cppNamespace(names);
    std::string text =
        "// Generated by zentara-schemas from the schemas of the events; not to be edited.\n"
        "#pragma once\n\n#include <cstddef>\n#include <cstdint>\n#include <string_view>\n\n"
        "#include <zentara/TypedEvent.h>\n";
    if (!scope.empty()) text += "\nnamespace " + scope + " {\n";
    std::map<std::string, std::string> paths;
    for (const auto& event : events) {
        CppEvent cpp(event, scope);
        const auto [known, isNew] = paths.emplace(cpp.name(), event.path);
        if (!isNew) {
            throw CommandError(event.path + ": the event would be called " + cpp.name() +
                               ", as that of " + known->second);
        }
        text += '\n' + cpp.code();
    }
    if (!scope.empty()) text += "\n}  // namespace " + scope + '\n';
    return {{names.file + ".h", std::move(text)}};
}

std::string callInCpp(const EventType& event, const JSONObject& properties,
                      const GeneratedNames& names) {
    return CppEvent(event, cppNamespace(names)).call(properties);
}

}  // namespace zentara::schemas
