// Writes the headers of many schemas, and functions that fill the types in them from JSON:
//
//     typed_emitter FOLDER PARTS COUNT SCHEMA...
//
// PARTS sources of the given schemas and of COUNT random ones.

#include <fstream>
#include <iostream>

#include "apps/schemas/RandomSchemas.h"
#include "schemas/generate/CppNames.h"
#include "schemas/generate/Writer.h"

namespace zentara::schemas {
namespace {

std::string readers(const EventType& event, const std::string& scope) {
    const CppNames names(event);
    const auto type = scope + "::" + names.event;
    std::string text;
    const auto begin = [&](const std::string& read) {
        text += "inline " + read + " fromJSON(const JSONValue& value, Of<" + read + ">) {\n";
    };
    for (std::size_t position = 0; position < names.enumerations.size(); ++position) {
        const auto read = type + "::" + names.enumerations[position].type;
        std::string texts;
        std::string choices;
        for (const auto& value : event.enumerations[position].values)
            texts += literalInC(value.text()) + ',';
        for (const auto& choice : names.enumerations[position].choices)
            choices += read + "::" + choice + ',';
        begin(read);
        text += "    return choice<" + read + ">(value, {" + texts + "}, {" + choices + "});\n}\n";
    }
    for (std::size_t position = 0; position < names.records.size(); ++position) {
        const auto& record = event.records[position];
        const bool isEvent = position + 1 == names.records.size();
        const auto read = isEvent ? type : type + "::" + names.records[position].type;
        begin(read);
        text += "    [[maybe_unused]] const auto& object = value.object();\n    return {";
        std::string keys;
        for (std::size_t each = 0; each < record.properties.size(); ++each) {
            const auto& name = names.records[position].members[each];
            const auto key = literalInC(record.properties[each].key);
            keys += key + ',';
            text += "\n        ." + name + " = member<decltype(" + read + "::" + name +
                    ")>(object, " + key + "),";
        }
        if (record.hasFreeProperties) {
            text += "\n        ." + names.records[position].others + " = others(object, {" + keys +
                    "}),";
        }
        text += "};\n}\n";
    }
    return text;
}

void emit(const std::string& folder, int parts, int count, std::vector<SchemaFile> files) {
    // Names that collide are refused, so there are some more seeds than schemas.
    const auto examples = files.size();
    for (std::uint64_t seed = 1; files.size() < examples + static_cast<std::size_t>(count);
         ++seed) {
        const auto name = "random-" + std::to_string(seed) + "-1.json";
        files.push_back(SchemaFile::fromText(name, JSONValue(randomSchema(seed)).text()));
        try {
            static_cast<void>(CppNames(eventTypeOf(files.back())));
        } catch (const CommandError& error) {
            std::cerr << error.what() << '\n';
            files.pop_back();
            if (seed > 2 * static_cast<std::uint64_t>(count)) throw;
        }
    }
    for (int part = 0; part < parts; ++part) {
        const auto scope = "part" + std::to_string(part);
        std::vector<EventType> events;
        std::string text;
        std::string table;
        for (auto file = static_cast<std::size_t>(part); file < files.size();
             file += static_cast<std::size_t>(parts)) {
            events.push_back(eventTypeOf(files[file]));
            const auto type = scope + "::" + CppNames(events.back()).event;
            text += readers(events.back(), scope);
            table += "    {" + literalInC(files[file].text) +
                     ",\n     [](const JSONValue& value) -> EventDraft {\n"
                     "         return fromJSON(value, Of<" +
                     type + ">()); }},\n";
        }
        const auto header = generateCpp(events, {.file = scope, .scope = scope}).front();
        writeFile(folder + '/' + header.name, header.content);
        // As a namespace of its own, so that the functions are found by the type of `Of`, too.
        writeFile(folder + '/' + scope + ".cpp",
                  "#include \"" + header.name +
                      "\"\n#include \"apps/schemas/typed/Reading.h\"\n\n"
                      "namespace zentara::test {\n" +
                      text + "\nextern const TypedCase cases" + std::to_string(part) +
                      "[];\nconst TypedCase cases" + std::to_string(part) + "[] = {\n" + table +
                      "    {nullptr, nullptr}};\n}\n");
    }
}

}  // namespace
}  // namespace zentara::schemas

int main(int argc, char** argv) {
    using namespace zentara::schemas;
    if (argc < 5) return 2;
    try {
        const std::vector<std::string> paths(argv + 4, argv + argc);
        emit(argv[1], std::stoi(argv[2]), std::stoi(argv[3]), readValidSchemas(paths));
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
