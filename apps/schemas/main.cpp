#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "schemas/commands/Commands.h"

int main(int argc, char** argv) {
    using namespace zentara::schemas;
    CLI::App app("Works with the schemas of events, as the library's engine understands them.",
                 "zentara-schemas");
    app.set_version_flag("--version", ZENTARA_VERSION);
    app.require_subcommand(1);
    int exitCode = exitClean;
    for (auto* const add : {addCheck, addDiff, addCatalogue, addSample, addBundle, addGenerate})
        add(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitClean : exitUsage;
    } catch (const std::exception& error) {
        std::cerr << "zentara-schemas: " << error.what() << '\n';
        return exitUsage;
    }
    return exitCode;
}
