#include <algorithm>
#include <cctype>
#include <unordered_map>
#include <unordered_set>

#include "schemas/generate/Generators.h"
#include "schemas/generate/ReservedWords.h"
#include "schemas/generate/Writer.h"

namespace zentara::schemas {

namespace {

constexpr std::string_view mark = "/// ";

const std::vector<std::string_view>& reservedMembers() {
    static const auto words =
        wordsIn({wordsOfC, wordsOfObjC, "properties otherProperties client event handler"});
    return words;
}

/// A property of a record as a property of a class.
struct Member {
    const Property* property = nullptr;
    std::string name;
    std::string isNull;  ///< "…IsNull"; empty if null needs no property of its own

    [[nodiscard]] const ValueType& type() const { return property->type; }
};

bool isAlwaysThere(const Property& property) {
    return property.isRequired && !canBeNull(property.type);
}

/// Whether records are in the list, or in lists in it.
bool holdsRecords(const ValueType& list) {
    return list.element->shape == Shape::record ||
           (list.element->shape == Shape::list && holdsRecords(*list.element));
}

/// Whether methods with this name return objects that the caller owns, to the compiler.
bool isOfMethodFamily(std::string_view name) {
    name.remove_prefix(std::min(name.find_first_not_of('_'), name.size()));
    for (const std::string_view family : {"alloc", "copy", "init", "mutableCopy", "new"}) {
        if (!name.starts_with(family)) continue;
        const auto next = name.substr(family.size(), 1);
        if (next.empty() || next.front() < 'a' || next.front() > 'z') return true;
    }
    return false;
}

std::string withCapital(std::string name) {
    if (name.front() >= 'a' && name.front() <= 'z')
        name.front() = static_cast<char>(name.front() - 'a' + 'A');
    return name;
}

std::string literal(std::string_view text) {
    return '@' + literalInC(text);
}

/// Any JSON value as an object.
std::string objectLiteral(const JSONValue& json) {
    switch (json.kind()) {
        case JSONValue::Kind::null:
            return "[NSNull null]";
        case JSONValue::Kind::boolean:
            return json.boolean() ? "@YES" : "@NO";
        case JSONValue::Kind::integer:
            return "@(" + integerInC(json.integer()) + ')';
        case JSONValue::Kind::unsignedInteger:
            return "@(" + json.text() + "ULL)";
        case JSONValue::Kind::number:
            return "@(" + numberText(json.number()) + ')';
        case JSONValue::Kind::string:
            return literal(json.string());
        case JSONValue::Kind::array:
        case JSONValue::Kind::object:
            break;
    }
    if (const auto* const object = json.ifObject()) {
        return "@{" +
               listed(*object,
                      [](const JSONMember& member) {
                          return literal(member.key()) + " : " + objectLiteral(member.value());
                      }) +
               '}';
    }
    return "@[" + listed(json.array(), objectLiteral) + ']';
}

/// A message or a declaration of labels and what follows each, with the colons below each other.
std::string aligned(const std::string& start,
                    const std::vector<std::pair<std::string, std::string>>& parts) {
    std::string text = start;
    std::size_t column = 0;
    for (const auto& [label, content] : parts) {
        if (&label == &parts.front().first) {
            column = start.size() + label.size();
        } else {
            text += '\n' + std::string(column > label.size() ? column - label.size() : 4, ' ');
        }
        text += label + ':' + content;
    }
    return text;
}

using EnumerationNames = TypeNamesIn<std::string>;
using RecordNames = TypeNamesIn<Member>;

/// The names and the code for one event.
class EventInObjC {
  public:
    EventInObjC(const EventType& event, const GeneratedNames& names, Scope& globals)
        : event_(event), prefix_(names.scope), globals_(event, globals) {
        for (const auto& enumeration : event.enumerations) {
            auto& type = enumerations_.emplace_back(
                EnumerationNames{named(enumeration.words),
                                 namesOfValues(enumeration, event.path, NameStyle::upperCamel)});
            for (auto& value : type.members)
                value = globals_.take(type.name + value);
        }
        for (const auto& record : event.records)
            records_.push_back({named(record.words), membersOf(record)});
    }

    void declare(Writer& code) const {
        for (std::size_t index = 0; index < enumerations_.size(); ++index)
            declareEnumeration(code, event_.enumerations[index], enumerations_[index]);
        for (std::size_t index = 0; index < records_.size(); ++index)
            declareRecord(code, index);
    }

    void define(Writer& code) const {
        for (std::size_t index = 0; index < enumerations_.size(); ++index)
            defineEnumeration(code, event_.enumerations[index], enumerations_[index]);
        for (std::size_t index = 0; index < records_.size(); ++index)
            defineRecord(code, index);
    }

    [[nodiscard]] std::string call(const JSONObject& properties) const {
        Writer code;
        std::unordered_map<std::string, int> variables;
        makeRecord(code, records_.size() - 1, properties, "event", variables);
        code.line(
            "[event sendWith:client url:[NSURL URLWithString:@\"https://example.com/\"] "
            "handler:nil];");
        return code.text();
    }

  private:
    std::string named(const std::vector<std::string>& words) {
        return globals_.take(prefix_ + globals_.typeName(words, NameStyle::upperCamel));
    }

    [[nodiscard]] std::vector<Member> membersOf(const Record& record) const {
        Scope scope(placeOf(event_, record), reservedMembers());
        std::vector<Member> members;
        std::unordered_set<std::string> names;
        for (const auto& property : record.properties) {
            auto& member = members.emplace_back();
            member.property = &property;
            member.name = scope.add(property.key, wordsOf(property.key), NameStyle::lowerCamel);
            names.insert(member.name);
        }
        for (auto& member : members) {
            if (!canBeNull(member.type()) || member.property->isRequired) continue;
            member.isNull =
                identifier(wordsOf(member.property->key), NameStyle::lowerCamel) + "IsNull";
            while (!names.insert(member.isNull).second)
                member.isNull += '_';
        }
        return members;
    }

    [[nodiscard]] bool isOfTexts(const ValueType& type) const {
        return event_.enumerations[type.position].values.front().isString();
    }

    /// Whether it is a plain value in C, not an object.
    [[nodiscard]] bool isPlain(const Property& property) const {
        const auto shape = property.type.shape;
        return isAlwaysThere(property) &&
               (shape == Shape::integer || shape == Shape::number || shape == Shape::boolean ||
                (shape == Shape::enumeration && !isOfTexts(property.type)));
    }

    /// "NSString *", with everything in front of a name.
    [[nodiscard]] std::string objectType(const ValueType& type) const {
        switch (type.shape) {
            case Shape::json:
                return "id ";
            case Shape::text:
                return "NSString *";
            case Shape::integer:
            case Shape::number:
            case Shape::boolean:
                return "NSNumber *";
            case Shape::enumeration:
                return isOfTexts(type) ? enumerations_[type.position].name + ' ' : "NSNumber *";
            case Shape::record:
                return records_[type.position].name + " *";
            case Shape::list:
                break;
        }
        if (canBeNull(*type.element)) return "NSArray *";
        auto element = objectType(*type.element);
        if (element.ends_with(' ')) element.pop_back();
        return "NSArray<" + element + "> *";
    }

    [[nodiscard]] std::string typeOf(const Property& property) const {
        if (isPlain(property)) {
            if (property.type.shape == Shape::integer) return "int64_t ";
            if (property.type.shape == Shape::number) return "double ";
            if (property.type.shape == Shape::boolean) return "BOOL ";
            return enumerations_[property.type.position].name + ' ';
        }
        return objectType(property.type);
    }

    [[nodiscard]] std::string swiftName(const std::string& name) const {
        return "ZENTARA_SWIFT_NAME(\"" + name.substr(prefix_.size()) + "\")";
    }

    // The header.

    void declareEnumeration(Writer& code, const Enumeration& enumeration,
                            const EnumerationNames& type) const {
        code.comment(mark, enumeration.description);
        if (enumeration.values.front().isString()) {
            code.line("typedef NSString *" + type.name +
                      " __attribute__((swift_newtype(enum)))\n    " + swiftName(type.name) + ';');
            for (std::size_t index = 0; index < type.members.size(); ++index) {
                const auto& value = enumeration.values[index];
                if (!isPlainlyCalled(value.string(), type.members[index]))
                    code.comment(mark, "In JSON: " + value.text());
                code.line("ZENTARA_TYPED_EVENTS_EXTERN " + type.name + " const " +
                          type.members[index] + ';');
            }
            code.line();
            return;
        }
        code.line("typedef NS_ENUM(int64_t, " + type.name + ") {");
        code.indent();
        for (std::size_t index = 0; index < type.members.size(); ++index)
            code.line(type.members[index] + " = " +
                      integerInC(enumeration.values[index].asInteger().value_or(0)) + ',');
        code.outdent();
        code.line("} " + swiftName(type.name) + ";\n\n");
    }

    void declareProperty(Writer& code, const Member& member) const {
        const auto& property = *member.property;
        const auto shape = member.type().shape;
        std::string comment = property.isRequired ? "Required" : "Optional";
        if (canBeNull(member.type())) comment += ", or null";
        comment += ". " + commentOf(property, member.name);
        if (shape == Shape::enumeration && !isOfTexts(member.type()) && !isPlain(property))
            comment += "\nA value of " + enumerations_[member.type().position].name + '.';
        if (shape == Shape::list && canBeNull(*member.type().element))
            comment += "\nElements may be NSNull.";
        code.comment(mark, comment);
        std::string attributes = "nonatomic";
        if (!isPlain(property)) {
            attributes += shape == Shape::record || shape == Shape::json ? ", strong" : ", copy";
            if (!isAlwaysThere(property)) attributes += ", nullable";
        }
        code.line("@property(" + attributes + ") " + typeOf(property) + member.name + ';');
        if (isOfMethodFamily(member.name)) {
            const auto nullability = attributes.ends_with("nullable") ? "nullable " : "";
            auto type = typeOf(property);
            if (type.ends_with(' ')) type.pop_back();
            code.line("- (" + std::string(nullability) + type + ')' + member.name +
                      " __attribute__((objc_method_family(none)));");
        }
        if (!member.isNull.empty()) {
            code.comment(mark, "Sends null for " + member.name + ", while that is nil.");
            code.line("@property(nonatomic) BOOL " + member.isNull + ';');
        }
    }

    /// The initialiser with the required properties; empty if there are none.
    [[nodiscard]] std::string initialiser(const RecordNames& type) const {
        std::vector<std::pair<std::string, std::string>> parts;
        for (const auto& member : type.members) {
            const auto& property = *member.property;
            if (!property.isRequired) continue;
            auto name = typeOf(property);
            if (name.ends_with(' ')) name.pop_back();
            const auto nullability = isAlwaysThere(property) ? "" : "nullable ";
            parts.emplace_back(parts.empty() ? "initWith" + withCapital(member.name) : member.name,
                               '(' + std::string(nullability) + name + ')' + member.name);
        }
        return parts.empty() ? std::string() : aligned("- (instancetype)", parts);
    }

    [[nodiscard]] static std::string sending() {
        return aligned("- (void)", {{"sendWith", "(QVNZentaraClient *)client"},
                                    {"url", "(nullable id)url"},
                                    {"handler",
                                     "(void (^_Nullable)(QVNEvent *event,\n"
                                     "                                    QVNZentaraClientError "
                                     "*_Nullable error))handler"}});
    }

    void declareRecord(Writer& code, std::size_t position) const {
        const auto& record = event_.records[position];
        const auto& type = records_[position];
        const bool isEvent = position + 1 == records_.size();
        code.comment(mark,
                     isEvent ? paragraphs(event_.title, event_.description) : record.description);
        code.line(swiftName(type.name));
        const bool isEmpty = type.members.empty() && !record.hasFreeProperties;
        code.line("@interface " + type.name + " : NSObject" + (isEmpty ? "" : " {"));
        if (!isEmpty) {
            code.line("  @private");
            code.indent();
            for (const auto& member : type.members) {
                code.line(typeOf(*member.property) + '_' + member.name + ';');
                if (!member.isNull.empty()) code.line("BOOL _" + member.isNull + ';');
            }
            if (record.hasFreeProperties) code.line("NSDictionary *_otherProperties;");
            code.outdent();
            code.line("}");
        }
        code.line();
        for (const auto& member : type.members)
            declareProperty(code, member);
        if (record.hasFreeProperties) {
            code.comment(mark, "The other properties. " + record.whyFree);
            code.line(
                "@property(nonatomic, copy, nullable) NSDictionary<NSString *, id> "
                "*otherProperties;");
        }
        if (!isEmpty) code.line();
        if (const auto declaration = initialiser(type); !declaration.empty()) {
            code.line(declaration + " NS_DESIGNATED_INITIALIZER;");
            code.line("- (instancetype)init __attribute__((unavailable(\"use initWith...\")));");
            code.line("+ (instancetype)new __attribute__((unavailable(\"use initWith...\")));\n\n");
        }
        code.line("/// The properties as JSON has them.");
        code.line("- (NSDictionary<NSString *, id> *)properties;\n\n");
        if (isEvent) {
            code.line("/// Sends the event, as `sendWithSchemaId:...` of the client does.");
            code.line(sending() + ";\n\n");
        }
        code.line("@end\n\n");
    }

    // The source.

    static void defineEnumeration(Writer& code, const Enumeration& enumeration,
                                  const EnumerationNames& type) {
        if (!enumeration.values.front().isString()) return;
        for (std::size_t index = 0; index < type.members.size(); ++index)
            code.line(type.name + " const " + type.members[index] + " = " +
                      literal(enumeration.values[index].string()) + ';');
        code.line();
    }

    void defineRecord(Writer& code, std::size_t position) const {
        const auto& record = event_.records[position];
        const auto& type = records_[position];
        code.line("@implementation " + type.name + "\n\n");
        for (const auto& member : type.members) {
            code.line("@synthesize " + member.name + " = _" + member.name + ';');
            if (!member.isNull.empty())
                code.line("@synthesize " + member.isNull + " = _" + member.isNull + ';');
        }
        if (record.hasFreeProperties) code.line("@synthesize otherProperties = _otherProperties;");
        code.line();
        if (const auto declaration = initialiser(type); !declaration.empty()) {
            code.line(declaration + " {");
            code.line("    self = [super init];\n    if (self != nil) {");
            for (const auto& member : type.members)
                if (member.property->isRequired)
                    code.line("        self." + member.name + " = " + member.name + ';');
            code.line("    }\n    return self;\n}\n\n");
        }
        defineDealloc(code, record, type);
        defineProperties(code, record, type);
        if (position + 1 == records_.size()) defineSend(code);
        code.line("@end\n\n");
    }

    void defineDealloc(Writer& code, const Record& record, const RecordNames& type) const {
        std::string releases;
        for (const auto& member : type.members)
            if (!isPlain(*member.property)) releases += "    [_" + member.name + " release];\n";
        if (record.hasFreeProperties) releases += "    [_otherProperties release];\n";
        if (releases.empty()) return;
        code.line("#if !__has_feature(objc_arc)\n- (void)dealloc {\n" + releases +
                  "    [super dealloc];\n}\n#endif\n\n");
    }

    void defineProperties(Writer& code, const Record& record, const RecordNames& type) const {
        code.line("- (NSDictionary<NSString *, id> *)properties {");
        code.indent();
        code.line(
            "NSMutableDictionary<NSString *, id> *properties = [NSMutableDictionary dictionary];");
        if (record.hasFreeProperties)
            code.line(
                "if (self.otherProperties != nil)\n"
                "    [properties addEntriesFromDictionary:self.otherProperties];");
        for (const auto& member : type.members) {
            const auto name = "self." + member.name;
            const auto shape = member.type().shape;
            auto value = name;
            if (isPlain(*member.property)) {
                value = "@(" + name + ')';
            } else if (shape == Shape::record) {
                value = '[' + name + " properties]";
            } else if (shape == Shape::list && holdsRecords(member.type())) {
                value = "propertiesOf(" + name + ')';
            }
            if (canBeNull(member.type())) {
                const auto absent = member.isNull.empty()
                                        ? std::string("[NSNull null]")
                                        : "self." + member.isNull + " ? [NSNull null] : nil";
                value = name + " != nil ? (id)" + value + " : " + absent;
            }
            // Without a value, nothing is set.
            code.breakable("[properties setValue:" + value,
                           " forKey:" + literal(member.property->key) + "];");
        }
        code.line("return properties;");
        code.outdent();
        code.line("}\n\n");
    }

    void defineSend(Writer& code) const {
        code.line(sending() + " {");
        code.line(aligned("    [client ", {{"sendWithSchemaId", literal(event_.name.id)},
                                           {"schemaVersion", literal(event_.name.version)},
                                           {"contentType", "@\"application/json\""},
                                           {"url", "url != nil ? url : @\"\""},
                                           {"referer", "@\"\""},
                                           {"properties", "[self properties]"},
                                           {"relationId", "nil"},
                                           {"handler", "handler];"}}));
        code.line("}\n\n");
    }

    // Calls.

    using Variables = std::unordered_map<std::string, int>;

    /// An expression for the value; makes objects of records before it.
    std::string value(Writer& code, const ValueType& type, bool isPlainValue, const JSONValue& json,
                      Variables& variables) const {
        if (json.isNull()) return "[NSNull null]";
        std::string plain;
        switch (type.shape) {
            case Shape::json:
            case Shape::text:
                return objectLiteral(json);
            case Shape::integer:
                plain = integerInC(json.asInteger().value_or(0));
                break;
            case Shape::number:
                plain = numberText(json.asDouble().value_or(0));
                break;
            case Shape::boolean:
                plain = json.boolean() ? "YES" : "NO";
                break;
            case Shape::enumeration: {
                const auto at = positionIn(event_.enumerations[type.position], json);
                plain = enumerations_[type.position].members[at];
                if (isOfTexts(type)) return plain;
                break;
            }
            case Shape::record: {
                auto words = event_.records[type.position].words;
                auto name = identifier(words, NameStyle::lowerCamel);
                name += std::to_string(++variables[name]);
                makeRecord(code, type.position, json.object(), name, variables);
                return name;
            }
            case Shape::list:
                return "@[" +
                       listed(json.array(),
                              [&](const JSONValue& element) {
                                  return value(code, *type.element, false, element, variables);
                              }) +
                       ']';
        }
        return isPlainValue ? plain : "@(" + plain + ')';
    }

    void makeRecord(Writer& code, std::size_t position, const JSONObject& object,
                    const std::string& variable, Variables& variables) const {
        const auto& type = records_[position];
        std::vector<std::pair<std::string, std::string>> arguments;
        std::string settings;
        auto others = object;
        for (const auto& member : type.members) {
            const auto& property = *member.property;
            const auto* const json = object.find(property.key);
            others.erase(property.key);
            const bool isNull = json != nullptr && json->isNull() && canBeNull(property.type);
            const auto content =
                json == nullptr || isNull
                    ? std::string("nil")
                    : value(code, property.type, isPlain(property), *json, variables);
            if (property.isRequired) {
                arguments.emplace_back(
                    arguments.empty() ? "initWith" + withCapital(member.name) : member.name,
                    content);
            } else if (isNull) {
                settings += variable + '.' + member.isNull + " = YES;\n";
            } else if (json != nullptr) {
                settings += variable + '.' + member.name + " = " + content + ";\n";
            }
        }
        if (event_.records[position].hasFreeProperties && !others.empty())
            settings += variable + ".otherProperties = " + objectLiteral(JSONValue(others)) + ";\n";
        const auto start = type.name + " *" + variable + " = [[" + type.name + " alloc] ";
        code.line((arguments.empty() ? start + "init" : aligned(start, arguments)) + "];");
        if (!settings.empty()) code.line(settings);
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
    "/// A property that is nil is left out of the event. Where null is permitted, a required\n"
    "/// property that is nil is null, and an optional one with `...IsNull`. JSON values are\n"
    "/// objects as `sendWithSchemaId:...` takes them. For sources with and without automatic\n"
    "/// reference counting.\n"
    "#import <zentara/QVNZentaraClient.h>\n\n"
    "#if !defined(ZENTARA_TYPED_EVENTS_EXTERN)\n"
    "#if defined(__cplusplus)\n"
    "#define ZENTARA_TYPED_EVENTS_EXTERN extern \"C\"\n"
    "#else\n"
    "#define ZENTARA_TYPED_EVENTS_EXTERN extern\n"
    "#endif\n"
    "#endif\n\n"
    "NS_ASSUME_NONNULL_BEGIN\n\n";

constexpr std::string_view conversion =
    "/// The list with the properties of the records in it.\n"
    "static NSArray *propertiesOf(NSArray *list) {\n"
    "    if (list == nil) return nil;\n"
    "    NSMutableArray *result = [NSMutableArray arrayWithCapacity:[list count]];\n"
    "    for (id element in list) {\n"
    "        if ([element isKindOfClass:[NSArray class]]) {\n"
    "            [result addObject:propertiesOf(element)];\n"
    "        } else if ([element isKindOfClass:[NSNull class]]) {\n"
    "            [result addObject:element];\n"
    "        } else {\n"
    "            [result addObject:[element properties]];\n"
    "        }\n"
    "    }\n"
    "    return result;\n"
    "}\n\n";

}  // namespace

std::vector<GeneratedFile> generateObjC(std::span<const EventType> events,
                                        const GeneratedNames& names) {
    Scope globals("Objective-C", {});
    Writer header;
    Writer body;
    header.line(introduction);
    for (const auto& event : events) {
        const EventInObjC code(event, names, globals);
        code.declare(header);
        code.define(body);
    }
    header.line("NS_ASSUME_NONNULL_END");
    Writer source;
    source.line("// Made by zentara-schemas. Changes are lost when it is made again.");
    source.line("#import \"" + names.file + ".h\"\n\n");
    if (body.text().find("propertiesOf(") != std::string::npos) source.line(conversion);
    auto content = source.text() + body.text();
    content.pop_back();
    return {{names.file + ".h", header.text()}, {names.file + ".m", std::move(content)}};
}

std::string callInObjC(const EventType& event, const JSONObject& properties,
                       const GeneratedNames& names) {
    Scope globals("Objective-C", {});
    return EventInObjC(event, names, globals).call(properties);
}

}  // namespace zentara::schemas
