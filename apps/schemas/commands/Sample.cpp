#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/values/Random.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas {

namespace {

constexpr const char* details = R"(Each line of output is one event, as zentara-track reads it:
  {"schemaId":"page-view","schemaVersion":"1","url":"https://www.example.com/page-view",
   "properties":{"title":"Rain jacket"}}
The first event of a schema has every property; later ones vary and reach for the bounds. The
library's engine has confirmed each of them. With --invalid each event has one fault, another
keyword in turn, and "expected" holds the message that it is refused with; zentara-track ignores
that member.

The same schemas, seed and count give the same bytes on every machine. A schema's samples do not
depend on the other schemas.

Exit codes: 0 all samples were written; 1 some schema has too few, the others were written; 2 wrong
arguments, or a file cannot be read or written.

Example: zentara-schemas sample schemas/ --count 5 | zentara-track --collector http://127.0.0.1:8080)";

struct Options {
    std::vector<std::string> paths;
    std::int64_t count = 1;
    std::uint64_t seed = 1;
    bool isInvalid = false;
    std::string output = "-";
};

std::string lineOf(const SchemaName& name, JSONValue properties,
                   const std::optional<std::string>& expected) {
    JSONObject line{{"schemaId", name.id},
                    {"schemaVersion", name.version},
                    {"url", "https://www.example.com/" + name.id}};
    line.set("properties", std::move(properties));
    if (expected) line.set("expected", *expected);
    return JSONValue(std::move(line)).text() + '\n';
}

int sample(const Options& options) {
    std::string lines;
    int exitCode = exitClean;
    for (const auto& schema : readValidSchemas(options.paths)) {
        Sampler sampler(*schema.document, mixed(options.seed, hashOf(schema.name->key())));
        std::int64_t written = 0;
        for (; written < options.count; ++written) {
            if (options.isInvalid) {
                auto broken = sampler.invalid();
                if (!broken) break;
                lines += lineOf(*schema.name, std::move(broken->value), broken->message);
            } else {
                auto value = sampler.valid();
                if (!value) break;
                lines += lineOf(*schema.name, *std::move(value), std::nullopt);
            }
        }
        if (written == options.count) continue;
        std::cerr << schema.path << ": " << written << " of " << options.count
                  << (options.isInvalid ? " invalid" : " valid")
                  << " samples were found; zentara-schemas check may tell why\n";
        exitCode = exitFindings;
    }
    writeFile(options.output, lines);
    return exitCode;
}

}  // namespace

void addSample(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<Options>();
    auto command = program.subcommand("sample", "Writes sample events for zentara-track.", details,
                                      [options, &exitCode] { exitCode = sample(*options); });
    addSchemas(command, options->paths);
    command.option("--count", &options->count, "N", "Events per schema")
        .between(1, 1'000'000)
        .showDefault();
    command.option("--seed", &options->seed, "N", "Another seed gives other events").showDefault();
    command.flag("--invalid", options->isInvalid, "Events with one fault each");
    addOutput(command, options->output);
}

}  // namespace zentara::schemas
