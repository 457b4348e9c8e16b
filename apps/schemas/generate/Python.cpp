#include <algorithm>

#include "schemas/generate/Generators.h"
#include "schemas/generate/ReservedWords.h"
#include "schemas/generate/Writer.h"

namespace zentara::schemas {

namespace {

constexpr std::string_view mark = "#: ";
constexpr std::string_view decorator = "@dataclasses.dataclass(kw_only=True, slots=True)";

const std::vector<std::string_view>& reservedMembers() {
    static const auto words = wordsIn({wordsOfPython,
                                       "properties send other_properties "
                                       "dataclasses enum typing zentara"});
    return words;
}

constexpr std::string_view reservedClasses[] = {"False", "None", "True", "Unset"};

/// A value of JSON in Python.
std::string literal(const JSONValue& json) {
    switch (json.kind()) {
        case JSONValue::Kind::null:
            return "None";
        case JSONValue::Kind::boolean:
            return json.boolean() ? "True" : "False";
        case JSONValue::Kind::integer:
        case JSONValue::Kind::unsignedInteger:
            return json.text();
        case JSONValue::Kind::number:
            return numberText(json.number());
        case JSONValue::Kind::string:
            return literalInPython(json.string());
        case JSONValue::Kind::array:
        case JSONValue::Kind::object:
            break;
    }
    if (const auto* const object = json.ifObject()) {
        return '{' +
               listed(*object,
                      [](const JSONMember& member) {
                          return literalInPython(member.key()) + ": " + literal(member.value());
                      }) +
               '}';
    }
    return '[' + listed(json.array(), literal) + ']';
}

void writeDocstring(Writer& code, std::string_view text) {
    auto lines = commentLines(text, 90);
    if (lines.empty()) return;
    for (auto& line : lines) {
        for (std::size_t at = 0; (at = line.find_first_of("\\\"", at)) != std::string::npos;
             at += 2) {
            // A quotation mark alone is no end.
            const bool isHarmless =
                line[at] == '"' && line.compare(at, 2, "\"\"") != 0 && at + 1 < line.size();
            if (isHarmless) {
                --at;
            } else {
                line.insert(at, 1, '\\');
            }
        }
    }
    if (lines.size() == 1) {
        code.line("\"\"\"" + lines.front() + "\"\"\"\n\n");
        return;
    }
    lines.front().insert(0, "\"\"\"");
    for (const auto& line : lines)
        code.line(line);
    code.line("\"\"\"\n\n");
}

/// Whether None cannot stand for a value that is left out.
bool canBeNone(const ValueType& type) {
    return type.isNullable || type.shape == Shape::json;
}

bool holdsRecords(const ValueType& type) {
    return type.shape == Shape::record ||
           (type.shape == Shape::list && holdsRecords(*type.element));
}

/// The expression for a value in JSON.
std::string inJSON(const ValueType& type, const std::string& value, std::size_t depth = 0) {
    if (!holdsRecords(type)) return value;
    if (type.shape == Shape::record) return value + ".properties()";
    const auto item = "item" + (depth == 0 ? std::string() : std::to_string(depth));
    auto element = inJSON(*type.element, item, depth + 1);
    if (type.element->isNullable) element = "None if " + item + " is None else " + element;
    return '[' + element + " for " + item + " in " + value + ']';
}

using Names = TypeNamesIn<std::string>;

/// The names and the code for one event.
class EventInPython {
  public:
    EventInPython(const EventType& event, Scope& globals) : event_(event) {
        name_ = globals.add(event.name.key(), event.words, NameStyle::upperCamel);
        const auto reserved =
            std::vector<std::string_view>{name_, "False", "None", "True", "Unset"};
        Scope classes(event.path, reserved);
        const auto named = [&](std::vector<std::string> words) {
            if (words.empty()) return name_;
            const auto original = identifier(words, NameStyle::lowerSnake);
            // A property may be called "_3d", too.
            if (original.starts_with('_')) words.insert(words.begin(), "type");
            return name_ + '.' + classes.add(original, words, NameStyle::upperCamel);
        };
        for (const auto& enumeration : event.enumerations)
            enumerations_.push_back(
                {named(enumeration.words),
                 namesOfValues(enumeration, event.path, NameStyle::upperSnake)});
        for (const auto& record : event.records)
            records_.push_back({named(record.words), membersOf(record)});
    }

    void define(Writer& code) const {
        code.line(decorator);
        code.line("class " + name_ + ':');
        code.indent();
        writeDocstring(code, paragraphs(event_.title, event_.description));
        for (std::size_t index = 0; index < enumerations_.size(); ++index)
            defineEnumeration(code, event_.enumerations[index], enumerations_[index]);
        for (std::size_t index = 0; index + 1 < records_.size(); ++index) {
            code.line(decorator);
            code.line("class " + records_[index].name.substr(name_.size() + 1) + ':');
            code.indent();
            writeDocstring(code, event_.records[index].description);
            defineMembers(code, index);
            code.outdent();
        }
        defineMembers(code, records_.size() - 1);
        code.line(
            "def send(self, client: zentara.Client, *, url: str = \"\", referer: str = \"\",");
        code.line("         relation_id: str | None = None) -> None:");
        code.indent();
        code.line("\"\"\"Sends the event, as `client.send` does.\"\"\"");
        code.line("client.send(" + literalInPython(event_.name.id) + ", " +
                  literalInPython(event_.name.version) +
                  ", self.properties(), url=url,\n            referer=referer, "
                  "relation_id=relation_id)\n\n");
        code.outdent();
        code.outdent();
        code.line();
    }

    [[nodiscard]] std::string call(const JSONObject& properties, const std::string& module) const {
        Writer code;
        code.line("event = " + recordValue(records_.size() - 1, properties, module + '.'));
        code.line("event.send(client, url=\"https://example.com/\")");
        return code.text();
    }

  private:
    [[nodiscard]] std::vector<std::string> membersOf(const Record& record) const {
        Scope scope(placeOf(event_, record), reservedMembers());
        std::vector<std::string> names;
        for (const auto& property : record.properties)
            names.push_back(scope.add(property.key, wordsOf(property.key), NameStyle::lowerSnake));
        return names;
    }

    static void defineEnumeration(Writer& code, const Enumeration& enumeration, const Names& type) {
        const bool isOfTexts = enumeration.values.front().isString();
        code.line("class " + type.name.substr(type.name.find('.') + 1) +
                  (isOfTexts ? "(enum.StrEnum):" : "(enum.IntEnum):"));
        code.indent();
        writeDocstring(code, enumeration.description);
        for (std::size_t index = 0; index < type.members.size(); ++index)
            code.line(type.members[index] + " = " + literal(enumeration.values[index]));
        code.outdent();
        code.line();
    }

    [[nodiscard]] std::string typeOf(const ValueType& type) const {
        if (type.shape == Shape::json) return "typing.Any";
        return typeWithoutNone(type) + (type.isNullable ? " | None" : "");
    }

    [[nodiscard]] std::string typeWithoutNone(const ValueType& type) const {
        constexpr std::string_view plainNames[] = {"typing.Any", "str", "int", "float", "bool"};
        if (type.shape == Shape::enumeration) return enumerations_[type.position].name;
        if (type.shape == Shape::record) return records_[type.position].name;
        if (type.shape == Shape::list) return "list[" + typeOf(*type.element) + ']';
        return std::string(plainNames[static_cast<std::size_t>(type.shape)]);
    }

    void defineMembers(Writer& code, std::size_t position) const {
        const auto& record = event_.records[position];
        const auto& members = records_[position].members;
        for (std::size_t index = 0; index < members.size(); ++index) {
            const auto& property = record.properties[index];
            code.comment(mark, commentOf(property, members[index]));
            const auto absent = property.isRequired        ? ""
                                : canBeNone(property.type) ? " | Unset = UNSET"
                                                           : " | None = None";
            code.line(members[index] + ": " + typeOf(property.type) + absent);
        }
        if (record.hasFreeProperties) {
            code.comment(mark, "The other properties. " + record.whyFree);
            code.line(
                "other_properties: dict[str, typing.Any] = "
                "dataclasses.field(default_factory=dict)");
        }
        if (!members.empty() || record.hasFreeProperties) code.line();
        defineProperties(code, record, members);
    }

    static void defineProperties(Writer& code, const Record& record,
                                 const std::vector<std::string>& members) {
        code.line("def properties(self) -> dict[str, typing.Any]:");
        code.indent();
        code.line("\"\"\"The properties as JSON has them.\"\"\"");
        code.line("result: dict[str, typing.Any] = " +
                  std::string(record.hasFreeProperties ? "dict(self.other_properties)" : "{}"));
        for (std::size_t index = 0; index < members.size(); ++index) {
            const auto& property = record.properties[index];
            const auto value = "self." + members[index];
            auto content = inJSON(property.type, value);
            if (property.type.isNullable && content != value)
                content = "None if " + value + " is None else " + content;
            if (!property.isRequired)
                code.line("if " + value + " is not " +
                          (canBeNone(property.type) ? "UNSET:" : "None:"));
            code.line((property.isRequired ? "" : "    ") +
                      ("result[" + literalInPython(property.key)) + "] = " + content);
        }
        code.line("return result\n\n");
        code.outdent();
    }

    // Values, in a call.

    [[nodiscard]] std::string value(const ValueType& type, const JSONValue& json,
                                    const std::string& module) const {
        if (json.isNull()) return "None";
        switch (type.shape) {
            case Shape::json:
            case Shape::text:
            case Shape::boolean:
                return literal(json);
            case Shape::integer:
                return std::to_string(json.asInteger().value_or(0));
            case Shape::number:
                return numberText(json.asDouble().value_or(0));
            case Shape::enumeration: {
                const auto at = positionIn(event_.enumerations[type.position], json);
                const auto& names = enumerations_[type.position];
                return module + names.name + '.' + names.members[at];
            }
            case Shape::record:
                return recordValue(type.position, json.object(), module);
            case Shape::list:
                break;
        }
        return '[' +
               listed(json.array(),
                      [&](const JSONValue& element) {
                          return value(*type.element, element, module);
                      }) +
               ']';
    }

    [[nodiscard]] std::string recordValue(std::size_t position, const JSONObject& object,
                                          const std::string& module) const {
        const auto& record = event_.records[position];
        auto others = object;
        Writer arguments;
        arguments.indent();
        for (std::size_t index = 0; index < record.properties.size(); ++index) {
            const auto& property = record.properties[index];
            const auto* const json = object.find(property.key);
            if (json == nullptr) continue;
            others.erase(property.key);
            arguments.line(records_[position].members[index] + '=' +
                           value(property.type, *json, module) + ',');
        }
        if (record.hasFreeProperties && !others.empty())
            arguments.line("other_properties=" + literal(JSONValue(others)) + ',');
        const auto name = module + records_[position].name;
        return name + (arguments.text().empty() ? "()" : "(\n" + arguments.text() + ')');
    }

    const EventType& event_;
    std::string name_;
    std::vector<Names> enumerations_;
    std::vector<Names> records_;
};

constexpr std::string_view introduction =
    "\"\"\"Typed events, made by zentara-schemas. Changes are lost when it is made again.\n"
    "\n"
    "An optional property is left out of the event while it is None, or UNSET where None is null.\n"
    "\"\"\"\n"
    "\n"
    "from __future__ import annotations\n"
    "\n"
    "import dataclasses\n"
    "import enum\n"
    "import typing\n"
    "\n"
    "if typing.TYPE_CHECKING:\n"
    "    import zentara\n"
    "\n"
    "\n"
    "class Unset(enum.Enum):\n"
    "    \"\"\"What a property is that is left out, but could be null.\"\"\"\n"
    "\n"
    "    UNSET = \"UNSET\"\n"
    "\n"
    "\n"
    "UNSET: typing.Final = Unset.UNSET\n"
    "\n\n";

}  // namespace

std::vector<GeneratedFile> generatePython(std::span<const EventType> events,
                                          const GeneratedNames& names) {
    Scope globals("Python", reservedClasses);
    Writer code;
    code.line(introduction);
    for (const auto& event : events)
        EventInPython(event, globals).define(code);
    auto content = code.text();
    content.erase(content.find_last_not_of('\n') + 2);
    return {{names.file + ".py", std::move(content)}};
}

std::string callInPython(const EventType& event, const JSONObject& properties,
                         const GeneratedNames& names) {
    Scope globals("Python", reservedClasses);
    return EventInPython(event, globals).call(properties, names.file);
}

}  // namespace zentara::schemas
