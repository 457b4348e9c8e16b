#include <algorithm>
#include <array>
#include <unordered_set>

#include "schemas/generate/Generators.h"
#include "schemas/generate/ReservedWords.h"
#include "schemas/generate/Writer.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

namespace {

const std::vector<std::string_view>& reservedMembers() {
    static const auto words = wordsIn({wordsOfC, "other_properties"});
    return words;
}

constexpr std::string_view noKey = "zentara_text_of(NULL)";
constexpr std::string_view mark = "/// ";

bool isScalar(Shape shape) {
    return shape == Shape::integer || shape == Shape::number || shape == Shape::boolean;
}

/// The functions that put values of the first shapes end in these.
constexpr std::string_view plainNames[] = {"json", "text", "integer", "number", "boolean"};

/// Whether null bytes stand for an absent value.
bool isText(Shape shape) {
    return shape == Shape::text || shape == Shape::json;
}

/// A property as a member of a record, with the members that belong to it.
struct Member {
    const Property* property = nullptr;
    std::string name;
    std::string present;  ///< "has_…" of a number or a boolean; or empty
    std::string isNull;   ///< "…_is_null"; empty if null needs no member of its own
    std::string count;    ///< "…_count" of a list; or empty

    [[nodiscard]] const ValueType& type() const { return property->type; }
    [[nodiscard]] bool isAlwaysThere() const { return property->isRequired && !canBeNull(type()); }
    /// Whether it points to a record.
    [[nodiscard]] bool isPointer() const {
        return type().shape == Shape::record && !isAlwaysThere();
    }
};

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                                    : character;
    });
    return text;
}

/// `name` behind a prefix, which makes an underscore in front of a digit needless.
std::string joined(std::string prefix, std::string_view name) {
    if (!prefix.empty() && name.starts_with('_')) name.remove_prefix(1);
    return prefix.append(name);
}

bool hasZero(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

/// The function for texts with a length of their own.
std::string withLength(const std::string& prefix) {
    return prefix + "text_with_length";
}

std::string putOthers(const std::string& prefix) {
    return prefix + "put_others";
}

/// The members of one record, none of which has the name of another.
std::vector<Member> membersOf(const Record& record, const std::string& what) {
    Scope scope(what, reservedMembers());
    std::vector<Member> members;
    std::unordered_set<std::string> names{"other_properties"};
    for (const auto& property : record.properties) {
        auto& member = members.emplace_back();
        member.property = &property;
        member.name = scope.add(property.key, wordsOf(property.key), NameStyle::lowerSnake);
        names.insert(member.name);
    }
    const auto unused = [&names](std::string name) {
        while (!names.insert(name).second)
            name += '_';
        return name;
    };
    for (auto& member : members) {
        const auto& type = member.type();
        const auto name = identifier(wordsOf(member.property->key), NameStyle::lowerSnake);
        if (isScalar(type.shape) && !member.isAlwaysThere()) member.present = unused("has_" + name);
        if (canBeNull(type) && !member.property->isRequired)
            member.isNull = unused(name + "_is_null");
        if (type.shape == Shape::list) member.count = unused(name + "_count");
    }
    return members;
}

using EnumerationNames = TypeNamesIn<std::string>;
using RecordNames = TypeNamesIn<Member>;

/// The names and the code for one event.
class EventInC {
  public:
    EventInC(const EventType& event, const GeneratedNames& names, Scope& globals)
        : event_(event), prefix_(names.scope), globals_(event, globals) {
        for (const auto& enumeration : event.enumerations) {
            static constexpr std::array<std::string_view, 1> reserved{"ABSENT"};
            auto& type = enumerations_.emplace_back(EnumerationNames{
                named(enumeration.words),
                namesOfValues(enumeration, event.path, NameStyle::upperSnake, reserved)});
            for (auto& value : type.members)
                value = globals_.take(joined(upperCase(type.name) + '_', value));
        }
        for (const auto& record : event.records) {
            records_.push_back({named(record.words), membersOf(record, placeOf(event, record))});
        }
        // Functions, so that no type has their name.
        for (const auto& type : enumerations_)
            globals_.take(putOf(type.name));
        for (const auto& type : records_)
            globals_.take(putOf(type.name));
        globals_.take(makeOf());
        globals_.take(sendOf());
    }

    void declare(Writer& code) const {
        for (std::size_t index = 0; index < enumerations_.size(); ++index)
            declareEnumeration(code, event_.enumerations[index], enumerations_[index]);
        for (std::size_t index = 0; index < records_.size(); ++index) {
            declareRecord(code, event_.records[index], records_[index]);
            if (index + 1 < records_.size()) definePut(code, index);
        }
        defineProperties(code);
        defineSend(code);
    }

    [[nodiscard]] std::string call(const JSONObject& properties) const {
        Writer code;
        const auto last = records_.size() - 1;
        code.line("const " + records_[last].name + " event = " + recordValue(last, properties) +
                  ";");
        code.line(sendOf() +
                  "(NULL, &event, zentara_text_of(\"https://example.com/\"), NULL, NULL, " +
                  "NULL);");
        return code.text();
    }

  private:
    // Names.

    std::string named(const std::vector<std::string>& words) {
        return globals_.take(joined(prefix_, globals_.typeName(words, NameStyle::lowerSnake)));
    }

    [[nodiscard]] static std::string absentOf(const EnumerationNames& type) {
        return upperCase(type.name) + "_ABSENT";
    }

    [[nodiscard]] std::string putOf(const std::string& type) const {
        return prefix_ + "put_" + type.substr(prefix_.size());
    }
    [[nodiscard]] std::string makeOf() const {
        return prefix_ + "properties_of_" + records_.back().name.substr(prefix_.size());
    }
    [[nodiscard]] std::string sendOf() const {
        return prefix_ + "send_" + records_.back().name.substr(prefix_.size());
    }

    // Types.

    /// The type of a value; of lists and of what may be null in lists, `hint` is their name.
    [[nodiscard]] std::string typeName(const ValueType& type, const std::string& hint) const {
        switch (type.shape) {
            case Shape::json:
            case Shape::text:
                return "zentara_text";
            case Shape::integer:
                return "int64_t";
            case Shape::number:
                return "double";
            case Shape::boolean:
                return "bool";
            case Shape::enumeration:
                return enumerations_[type.position].name;
            case Shape::record:
                return records_[type.position].name;
            case Shape::list:
                break;
        }
        return hint + "_list";
    }

    [[nodiscard]] std::string elementName(const ValueType& type, const std::string& hint) const {
        if (type.isNullable && isScalar(type.shape)) return hint + "_element";
        if (type.isNullable && type.shape == Shape::record)
            return "const " + typeName(type, hint) + '*';
        return typeName(type, hint);
    }

    /// "const T*", for an array.
    [[nodiscard]] static std::string pointerTo(const std::string& type) {
        return type.ends_with('*') ? type + " const*" : "const " + type + '*';
    }

    /// Declares the types that the elements of a list need.
    void declareElements(Writer& code, const ValueType& list, const std::string& hint) const {
        const auto& element = *list.element;
        if (element.shape == Shape::list) {
            declareElements(code, element, hint + "_list");
            const auto name = hint + "_list";
            code.comment(mark, "A list in a list" +
                                   std::string(element.isNullable ? "; null without items." : "."));
            code.line("typedef struct " + name + " {");
            code.indent();
            code.line(pointerTo(elementName(*element.element, name)) + " items;");
            code.line("size_t count;");
            code.outdent();
            code.line("} " + name + ";\n\n");
        } else if (element.isNullable && isScalar(element.shape)) {
            const auto name = hint + "_element";
            code.comment(mark, "An element of a list; null without a value.");
            code.line("typedef struct " + name + " {");
            code.indent();
            code.line("bool has_value;");
            code.line(typeName(element, name) + " value;");
            code.outdent();
            code.line("} " + name + ";\n\n");
        }
    }

    void declareEnumeration(Writer& code, const Enumeration& enumeration,
                            const EnumerationNames& type) const {
        code.comment(mark, enumeration.description);
        code.line("typedef enum " + type.name + " {");
        code.indent();
        code.line(absentOf(type) + " = 0,");
        for (std::size_t index = 0; index < type.members.size(); ++index) {
            const auto& value = enumeration.values[index];
            if (!value.isString() || !isPlainlyCalled(value.string(), type.members[index]))
                code.comment(mark, "In JSON: " + value.text());
            code.line(type.members[index] + " = " + std::to_string(index + 1) + ',');
        }
        code.outdent();
        code.line("} " + type.name + ";\n\n");

        const bool isOfTexts = enumeration.values.front().isString();
        code.line("static inline zentara_status " + putOf(type.name) +
                  "(\n    zentara_properties* properties, zentara_text key, " + type.name +
                  " value) {");
        code.indent();
        code.line("switch (value) {");
        code.indent();
        code.line("case " + absentOf(type) + ": break;");
        for (std::size_t index = 0; index < type.members.size(); ++index) {
            const auto& value = enumeration.values[index];
            code.line("case " + type.members[index] + ':');
            code.line("    return zentara_properties_put_" +
                      (isOfTexts ? "text(properties, key, " + text(value.string())
                                 : "integer(properties, key, " + integerInC(value.integer())) +
                      ");");
        }
        code.outdent();
        code.line("}\nreturn zentara_properties_put_null(properties, key);");
        code.outdent();
        code.line("}\n\n");
    }

    void declareRecord(Writer& code, const Record& record, const RecordNames& type) const {
        for (const auto& member : type.members)
            if (member.type().shape == Shape::list)
                declareElements(code, member.type(), type.name + '_' + member.name);
        const bool isEvent = &record == &event_.records.back();
        code.comment(mark,
                     isEvent ? paragraphs(event_.title, event_.description) : record.description);
        code.line("typedef struct " + type.name + " {");
        code.indent();
        for (const auto& member : type.members)
            declareMember(code, member, type.name);
        if (record.hasFreeProperties) {
            code.comment(mark, "The other properties: a JSON object. " + record.whyFree);
            code.line("zentara_text other_properties;");
        } else if (type.members.empty()) {
            code.line("bool unused;");
        }
        code.outdent();
        code.line("} " + type.name + ";\n\n");
    }

    void declareMember(Writer& code, const Member& member, const std::string& record) const {
        const auto& type = member.type();
        const auto name = typeName(type, {});
        code.comment(mark, (member.property->isRequired ? "Required" : "Optional") +
                               std::string(canBeNull(type) ? ", or null. " : ". ") +
                               commentOf(*member.property, member.name));
        if (!member.present.empty()) code.line("bool " + member.present + ';');
        if (type.shape == Shape::list) {
            const auto hint = record + '_' + member.name;
            code.line(pointerTo(elementName(*type.element, hint)) + ' ' + member.name + ';');
            code.line("size_t " + member.count + ';');
        } else if (member.isPointer()) {
            code.line("const " + name + "* " + member.name + ';');
        } else {
            code.line(name + ' ' + member.name + ';');
        }
        if (!member.isNull.empty()) code.line("bool " + member.isNull + ';');
    }

    // Functions.

    [[nodiscard]] std::string text(std::string_view content) const {
        if (!hasZero(content)) return "zentara_text_of(" + literalInC(content) + ')';
        return withLength(prefix_) + '(' + literalInC(content) + ", " +
               std::to_string(content.size()) + ')';
    }

    static void putPlainly(Writer& code, std::string_view kind, std::string_view key,
                           std::string_view value) {
        code.breakable("failed |= zentara_properties_put_" + std::string(kind) + '(',
                       "properties, " + std::string(key) + (value.empty() ? "" : ", ") +
                           std::string(value) + ");");
    }

    /// Puts a value that is there. `value` is its member; of a record, the address; of a list, the
    /// items, whose number is `count`.
    void put(Writer& code, const ValueType& type, const std::string& key, const std::string& value,
             const std::string& count, std::size_t depth = 0) const {
        switch (type.shape) {
            case Shape::json:
            case Shape::text:
            case Shape::integer:
            case Shape::number:
            case Shape::boolean:
                return putPlainly(code, plainNames[static_cast<std::size_t>(type.shape)], key,
                                  value);
            case Shape::enumeration:
                code.breakable("failed |= " + putOf(enumerations_[type.position].name) + '(',
                               "properties, " + key + ", " + value + ");");
                return;
            case Shape::record:
                code.line("failed |= zentara_properties_open_object(properties, " + key + ");");
                code.breakable("failed |= " + putOf(records_[type.position].name) + '(',
                               "properties, " + value + ");");
                break;
            case Shape::list: {
                const auto index = depth == 0 ? "i" : 'i' + std::to_string(depth);
                code.line("failed |= zentara_properties_open_array(properties, " + key + ");");
                code.line("for (size_t " + index + " = 0; " + index + " < " + count + "; ++" +
                          index + ") {");
                code.indent();
                putElement(code, *type.element, value + '[' + index + ']', depth + 1);
                code.outdent();
                code.line("}");
                break;
            }
        }
        code.line("failed |= zentara_properties_close(properties);");
    }

    void putElement(Writer& code, const ValueType& type, const std::string& item,
                    std::size_t depth) const {
        std::string present;
        auto value = item;
        if (isText(type.shape)) {
            present = item + ".bytes != NULL";
        } else if (type.shape == Shape::list) {
            present = type.isNullable ? item + ".items != NULL" : std::string();
            value = item + ".items";
        } else if (type.shape == Shape::record) {
            present = type.isNullable ? item + " != NULL" : std::string();
            value = (type.isNullable ? "" : "&") + item;
        } else if (type.isNullable && isScalar(type.shape)) {
            present = item + ".has_value";
            value = item + ".value";
        }
        const std::string key(noKey);
        if (!present.empty()) {
            code.line("if (" + present + ") {");
            code.indent();
        }
        put(code, type, key, value, item + ".count", depth);
        if (!present.empty()) {
            code.outdent();
            code.line("} else {");
            code.indent();
            putPlainly(code, "null", key, {});
            code.outdent();
            code.line("}");
        }
    }

    void putMember(Writer& code, const Member& member, const std::string& record) const {
        const auto& type = member.type();
        const auto name = record + "->" + member.name;
        const auto key = text(member.property->key);
        const bool isInEveryCase =
            member.isAlwaysThere() && !isText(type.shape) && type.shape != Shape::enumeration;
        if (!isInEveryCase) {
            code.line("if (" +
                      (!member.present.empty() ? record + "->" + member.present
                       : isText(type.shape)    ? name + ".bytes != NULL"
                       : type.shape == Shape::enumeration
                           ? name + " != " + absentOf(enumerations_[type.position])
                           : name + " != NULL") +
                      ") {");
            code.indent();
        }
        const bool isRecord = type.shape == Shape::record && !member.isPointer();
        put(code, type, key, isRecord ? '&' + name : name, record + "->" + member.count);
        if (isInEveryCase) return;
        code.outdent();
        if (canBeNull(type)) {
            code.line(member.isNull.empty()
                          ? "} else {"
                          : "} else if (" + record + "->" + member.isNull + ") {");
            code.indent();
            putPlainly(code, "null", key, {});
            code.outdent();
        }
        code.line("}");
    }

    /// The body of a function that puts a record.
    void putMembers(Writer& code, std::size_t position, const std::string& record) const {
        code.line("zentara_status failed = ZENTARA_OK;");
        if (event_.records[position].hasFreeProperties)
            code.line("failed |= " + putOthers(prefix_) + "(properties, " + record +
                      "->other_properties);");
        else if (records_[position].members.empty())
            code.line("(void)" + record + ";\n(void)properties;");
        for (const auto& member : records_[position].members)
            putMember(code, member, record);
    }

    void definePut(Writer& code, std::size_t position) const {
        const auto& name = records_[position].name;
        code.line("static inline zentara_status " + putOf(name) +
                  "(\n    zentara_properties* properties, const " + name + "* record) {");
        code.indent();
        putMembers(code, position, "record");
        code.line("return failed;");
        code.outdent();
        code.line("}\n\n");
    }

    void defineProperties(Writer& code) const {
        const auto& name = records_.back().name;
        code.comment(mark,
                     "The properties of the event, to be released; null if there is no memory, "
                     "or if a JSON text cannot be read.");
        code.line("static inline zentara_properties* " + makeOf() + "(\n    const " + name +
                  "* event) {");
        code.indent();
        code.line("zentara_properties* properties = zentara_properties_make();");
        code.line("if (properties == NULL) return NULL;");
        putMembers(code, records_.size() - 1, "event");
        code.line(
            "if (failed == ZENTARA_OK) return properties;\n"
            "zentara_properties_release(properties);\nreturn NULL;");
        code.outdent();
        code.line("}\n\n");
    }

    void defineSend(Writer& code) const {
        const auto& name = records_.back().name;
        code.comment(mark, "Sends the event, as `zentara_send` does. An absent `url` is empty.");
        code.line(
            "static inline zentara_status " + sendOf() +
            "(\n    const zentara_client* client, const " + name +
            "* event, zentara_text url,\n"
            "    zentara_send_handler handler, void* context, void (*release)(void* context)) {");
        code.indent();
        code.line("zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);");
        code.line("draft.schema_id = " + text(event_.name.id) + ';');
        code.line("draft.schema_version = " + text(event_.name.version) + ';');
        code.line("draft.url = url;");
        code.line("draft.properties = " + makeOf() + "(event);");
        code.line(
            "if (draft.properties != NULL)\n"
            "    return zentara_send_take(client, &draft, handler, context, release);\n"
            "const zentara_status status = zentara_last_status();\n"
            "if (release != NULL) release(context);\n"
            "return status;");
        code.outdent();
        code.line("}\n\n");
    }

    // Values, in a call.

    [[nodiscard]] std::string value(const ValueType& type, const JSONValue& json,
                                    const std::string& hint) const {
        switch (type.shape) {
            case Shape::json:
                return text(json.text());
            case Shape::text:
                if (!hasZero(json.string())) return text(json.string());
                return "(zentara_text){" + literalInC(json.string()) + ", " +
                       std::to_string(json.string().size()) + '}';
            case Shape::integer:
                return integerInC(json.asInteger().value_or(0));
            case Shape::number:
                return numberText(json.asDouble().value_or(0));
            case Shape::boolean:
                return json.boolean() ? "true" : "false";
            case Shape::enumeration: {
                const auto at = positionIn(event_.enumerations[type.position], json);
                return enumerations_[type.position].members[at];
            }
            case Shape::record:
                return recordValue(type.position, json.object());
            case Shape::list:
                break;
        }
        return "{.items = " + items(type, json.array(), hint + "_list") +
               ", .count = " + std::to_string(json.array().size()) + '}';
    }

    // Zeros, written so that no compiler misses braces or members.

    [[nodiscard]] std::string emptyRecord(std::size_t position) const {
        const auto& members = records_[position].members;
        if (members.empty()) {
            return event_.records[position].hasFreeProperties
                       ? "{.other_properties = {.bytes = NULL}}"
                       : "{.unused = false}";
        }
        const auto& first = members.front();
        const auto& type = first.type();
        if (!first.present.empty()) return "{." + first.present + " = false}";
        const bool isNoPointer = type.shape != Shape::list && !first.isPointer();
        return "{." + first.name + " = " + (isNoPointer ? emptyValue(type) : "NULL") + '}';
    }

    [[nodiscard]] std::string emptyValue(const ValueType& type) const {
        if (isText(type.shape)) return "{.bytes = NULL}";
        if (type.shape == Shape::record) return emptyRecord(type.position);
        if (type.shape == Shape::enumeration) return absentOf(enumerations_[type.position]);
        return type.shape == Shape::boolean ? "false" : "0";
    }

    [[nodiscard]] std::string emptyElement(const ValueType& type) const {
        if (type.shape == Shape::list) return "{.items = NULL}";
        if (type.isNullable && isScalar(type.shape)) return "{.has_value = false}";
        if (type.isNullable && type.shape == Shape::record) return "NULL";
        return emptyValue(type);
    }

    [[nodiscard]] std::string element(const ValueType& type, const JSONValue& json,
                                      const std::string& hint) const {
        const bool isStruct = type.isNullable && isScalar(type.shape);
        if (json.isNull() && canBeNull(type)) {
            return type.shape == Shape::record ? "NULL" : emptyElement(type);
        }
        if (isStruct) return "{.has_value = true, .value = " + value(type, json, hint) + '}';
        if (type.isNullable && type.shape == Shape::record)
            return "&(const " + typeName(type, hint) + ")" + value(type, json, hint);
        return value(type, json, hint);
    }

    /// The items of a list, not null.
    [[nodiscard]] std::string items(const ValueType& list, const JSONArray& array,
                                    const std::string& hint) const {
        const auto name = pointerTo(elementName(*list.element, hint));
        const auto type = '(' + name.substr(0, name.size() - 1);
        if (array.empty()) return type + "[1]){" + emptyElement(*list.element) + '}';
        std::string lines;
        for (const auto& json : array)
            lines += element(*list.element, json, hint) + ",\n";
        return type + "[]){\n" + indented(lines) + '}';
    }

    [[nodiscard]] static std::string indented(const std::string& lines) {
        Writer code;
        code.indent();
        code.line(lines);
        return code.text();
    }

    [[nodiscard]] std::string recordValue(std::size_t position, const JSONObject& object) const {
        std::string lines;
        const auto add = [&lines](const std::string& name, const std::string& value) {
            lines += '.' + name + " = " + value + ",\n";
        };
        JSONObject others = object;
        for (const auto& member : records_[position].members) {
            const auto* const json = object.find(member.property->key);
            if (json == nullptr) continue;
            others.erase(member.property->key);
            const auto& type = member.type();
            if (json->isNull() && canBeNull(type)) {
                if (!member.isNull.empty()) add(member.isNull, "true");
                continue;
            }
            if (!member.present.empty()) add(member.present, "true");
            const auto hint = records_[position].name + '_' + member.name;
            if (type.shape == Shape::list) {
                if (json->array().empty() && member.isAlwaysThere()) continue;
                add(member.name, items(type, json->array(), hint));
                add(member.count, std::to_string(json->array().size()));
            } else {
                const auto pointer =
                    member.isPointer() ? "&(const " + typeName(type, hint) + ')' : std::string();
                add(member.name, pointer + value(type, *json, hint));
            }
        }
        if (event_.records[position].hasFreeProperties && !others.empty())
            add("other_properties", text(JSONValue(others).text()));
        return lines.empty() ? emptyRecord(position) : "{\n" + indented(lines) + '}';
    }

    const EventType& event_;
    std::string prefix_;
    GlobalNames globals_;
    std::vector<EnumerationNames> enumerations_;
    std::vector<RecordNames> records_;
};

constexpr std::string_view introduction =
    "/// @file\n"
    "/// Typed events, made by zentara-schemas. Changes are lost when it is made again.\n"
    "///\n"
    "/// A member without a value is left out of the event: a text and a JSON text whose bytes "
    "are\n"
    "/// null, an enumeration that is 0, a record or a list whose pointer is null, a number or a\n"
    "/// boolean whose `has_` member is false. Where null is permitted, a required member without "
    "a\n"
    "/// value is null, and an optional one with `_is_null`. Without a required text or "
    "enumeration\n"
    "/// the schema refuses the event, and the error names the property. A number or a boolean "
    "that\n"
    "/// is required is always sent.\n"
    "#pragma once\n"
    "\n"
    "#include <zentara/zentara.h>\n\n";

void defineWithLength(Writer& code, const std::string& prefix) {
    code.line(
        "/// A text that may hold zeros.\n"
        "static inline zentara_text " +
        withLength(prefix) + "(const char* bytes, size_t length) {");
    code.line(
        "    zentara_text text = {bytes, length};\n"
        "    return text;\n"
        "}\n\n");
}

void definePutOthers(Writer& code, const std::string& prefix) {
    code.line(
        "/// Puts the members of a JSON object, unless it is absent.\n"
        "static inline zentara_status " +
        putOthers(prefix) + "(zentara_properties* properties, zentara_text json) {");
    code.line(
        "    if (json.bytes == NULL) return ZENTARA_OK;\n"
        "    zentara_properties* others = zentara_properties_make_from_json(json);\n"
        "    if (others == NULL) return zentara_last_status();\n"
        "    zentara_status failed = ZENTARA_OK;\n"
        "    const zentara_value* object = zentara_properties_value(others);\n"
        "    const size_t count = zentara_value_look(object).count;\n"
        "    for (size_t i = 0; i < count; ++i) {\n"
        "        zentara_text key = zentara_text_of(NULL);\n"
        "        const zentara_value* value = zentara_value_member(object, i, &key);\n"
        "        failed |= zentara_properties_put_json(properties, key, "
        "zentara_value_json(value));\n"
        "    }\n"
        "    zentara_properties_release(others);\n"
        "    return failed;\n"
        "}\n\n");
}

Scope globalsOf(const GeneratedNames& names) {
    // Behind a prefix, no name is a word of the language.
    Scope globals("C", names.scope.empty() ? std::span(reservedMembers())
                                           : std::span<const std::string_view>());
    for (const auto& name : {withLength(names.scope), putOthers(names.scope)})
        globals.add("a function of the header", std::span(&name, 1), NameStyle::lowerSnake);
    return globals;
}

}  // namespace

std::vector<GeneratedFile> generateC(std::span<const EventType> events,
                                     const GeneratedNames& names) {
    auto globals = globalsOf(names);
    Writer body;
    for (const auto& event : events)
        EventInC(event, names, globals).declare(body);

    Writer code;
    code.line(introduction);
    if (body.text().find(withLength(names.scope)) != std::string::npos)
        defineWithLength(code, names.scope);
    if (body.text().find(putOthers(names.scope)) != std::string::npos)
        definePutOthers(code, names.scope);
    auto content = code.text() + body.text();
    content.pop_back();
    return {{names.file + ".h", std::move(content)}};
}

std::string callInC(const EventType& event, const JSONObject& properties,
                    const GeneratedNames& names) {
    auto globals = globalsOf(names);
    return EventInC(event, names, globals).call(properties);
}

}  // namespace zentara::schemas
