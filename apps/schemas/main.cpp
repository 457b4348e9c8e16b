#include <exception>
#include <iostream>

#include "commandline/CommandLine.h"
#include "schemas/commands/Commands.h"

int main(int argc, char** argv) {
    using namespace zentara::schemas;
    using zentara::commandline::CommandLine;
    CommandLine program("zentara-schemas",
                        "Works with the schemas of events, as the library's engine understands "
                        "them.",
                        "");
    program.requireSubcommand();
    int exitCode = exitClean;
    for (auto* const add : {addCheck, addDiff, addCatalogue, addSample, addBundle, addGenerate})
        add(program, exitCode);
    try {
        switch (program.parse(argc, argv)) {
            case CommandLine::Outcome::accepted:
                return exitCode;
            case CommandLine::Outcome::helpShown:
                return exitClean;
            case CommandLine::Outcome::refused:
                break;
        }
    } catch (const std::exception& error) {
        std::cerr << "zentara-schemas: " << error.what() << '\n';
    }
    return exitUsage;
}
