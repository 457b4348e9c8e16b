// Writes the generated code of each language, and calls that send the drawn values through it:
//
//     typed_calls FOLDER

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "apps/schemas/languages/DrawnEvents.h"
#include "schemas/generate/Generators.h"

using namespace zentara::schemas;

namespace {

void write(const std::filesystem::path& folder, const std::vector<GeneratedFile>& files) {
    std::filesystem::create_directories(folder);
    for (const auto& file : files)
        writeFile(folder / file.name, file.content);
}

template <typename Call>
std::string functions(const std::vector<DrawnEvent>& events, const GeneratedNames& names,
                      const std::string& argument, const Call& callIn) {
    std::string code;
    std::string calls;
    std::size_t count = 0;
    for (const auto& event : events) {
        for (const auto& value : event.values) {
            const auto name = "call" + std::to_string(count++);
            code += "static void " + name + "(" + (argument.empty() ? "void" : "id " + argument) +
                    ") {\n" + callIn(event.type, value, names) + "}\n";
            calls += "    " + name + '(' + argument + ");\n";
        }
    }
    return code + "static void callAll(" + (argument.empty() ? "void" : "id " + argument) +
           ") {\n" + calls + "}\n";
}

void writeAll(const std::filesystem::path& folder) {
    const GeneratedNames inC{.scope = "my_events_"};
    const auto forC = drawnEvents(drawForC);
    write(folder / "c", generateC(typesOf(forC), inC));
    write(folder / "c", {{"calls.inc", functions(forC, inC, "", callInC)}});

    const GeneratedNames inObjC{.scope = "MY"};
    const auto forObjC = drawnEvents(drawForObjC);
    write(folder / "objc", generateObjC(typesOf(forObjC), inObjC));
    write(folder / "objc", {{"calls.inc", functions(forObjC, inObjC, "client", callInObjC)}});

    const auto forPython = drawnEvents(drawForPython);
    write(folder / "python", generatePython(typesOf(forPython), {}));
    std::string calls = "import events\nfrom host import client\n\n";
    for (const auto& event : forPython)
        for (const auto& value : event.values)
            calls += callInPython(event.type, value, {});
    write(folder / "python", {{"calls.py", calls}});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    try {
        writeAll(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
