#include <memory>
#include <string>
#include <vector>

#include "schemas/catalogue/Describe.h"
#include "schemas/catalogue/Html.h"
#include "schemas/catalogue/Markdown.h"
#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

namespace {

constexpr const char* details = R"(
The page is one file that requests nothing from anywhere: it can be mailed, put on any web server, or
opened as it is. Each version of an event has an address in it, such as catalogue.html#add-to-cart-2.
The same schemas give the same bytes, so that the file can be kept under version control. Faults and
warnings of "check" are shown beside their event and do not change the exit code.

Exit codes: 0 written; 2 the command line is invalid, or a file cannot be read or written, is no
schema, or is not named {id}-{version}.json.

Example: zentara-schemas catalogue schemas/ --output catalogue.html --title "Events of the shop")";

struct Options {
    std::vector<std::string> paths;
    std::string output;
    std::string format = "html";
    std::string title = "Events";
    std::string scope = "events";
};

std::string checkScope(const std::string& text) {
    return text.empty() || isScope(text) ? "" : text + " is no name such as shop::events";
}

void write(const Options& options) {
    std::vector<CheckedSchema> schemas;
    for (auto& file : readValidSchemas(options.paths))
        schemas.emplace_back(std::move(file));
    std::vector<const CheckedSchema*> places;
    for (const auto& schema : schemas)
        places.push_back(&schema);
    const auto events = describe(places, options.scope);
    writeFile(options.output, options.format == "html"
                                  ? catalogueHtml(events, {.title = options.title})
                                  : catalogueMarkdown(events, options.title));
}

}  // namespace

void addCatalogue(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<Options>();
    auto command = program.subcommand(
        "catalogue", "Write a page of all events: properties, rules, examples, calls, history",
        details, [options, &exitCode] {
            write(*options);
            exitCode = exitClean;
        });
    addSchemas(command, options->paths);
    addOutput(command, options->output);
    addChoice(command, "--format", options->format, {"html", "markdown"}, "html or markdown");
    command.option("--title", &options->title, "TEXT", "What the page is called").showDefault();
    command
        .option("--scope", &options->scope, "NAME",
                "The namespace of the generated types in the calls that are shown: "
                "shop::events, which is shop_events_ in C and SE in Objective-C")
        .check(checkScope);
}

}  // namespace zentara::schemas
