// Simulates a million clients of the library in simulated time, and prints a table for each
// scenario. The same seed gives the same figures.
//
//     zentara_fleet [SCENARIO...] [--clients N] [--seed N] [--plots FOLDER]

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Plot.h"
#include "Run.h"
#include "Scenarios.h"

using namespace zentara::fleet;

namespace {

void write(const std::filesystem::path& file, const Plot& plot) {
    std::ofstream(file) << plot.svg();
}

template <typename Value>
Plot plotOf(const Scenario& scenario, const std::vector<Run>& runs, const std::string& what,
            Value value) {
    Plot plot{scenario.title + ": " + what, {}, scenario.disturbance};
    for (const auto& run : runs) {
        Plot::Line line{run.name, {}};
        for (const auto& sample : run.samples)
            line.values.push_back(static_cast<double>(value(sample)));
        plot.lines.push_back(std::move(line));
    }
    return plot;
}

void print(const std::vector<Cell>& cells, std::string Cell::*text) {
    for (const auto& cell : cells)
        std::printf("| %s ", (cell.*text).c_str());
    std::puts("|");
}

void simulate(const Scenario& scenario, const std::string& folder) {
    std::printf("\n%s\n\n", scenario.title.c_str());
    std::vector<Run> runs;
    for (const auto& variant : scenario.variants) {
        runs.push_back(Run::of(scenario, variant));
        const auto cells = figuresOf(scenario, runs.back());
        if (runs.size() == 1) {
            print(cells, &Cell::name);
            for (std::size_t count = 0; count < cells.size(); ++count)
                std::fputs("|---", stdout);
            std::puts("|");
        }
        print(cells, &Cell::value);
        std::fflush(stdout);
    }
    if (folder.empty()) return;
    auto requests = plotOf(scenario, runs, "requests a second",
                           [](const Sample& sample) { return sample.requests(); });
    const auto& collectors = scenario.variants.front().collectors;
    requests.limit = static_cast<double>(collectors.count) * collectors.requestsPerSecond;
    const auto stem = folder + "/scale-" + scenario.name;
    write(stem + "-requests.svg", requests);
    write(stem + "-waiting.svg", plotOf(scenario, runs, "events waiting with the clients",
                                        [](const Sample& sample) { return sample.waiting; }));
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> names;
    std::int64_t clients = 1'000'000;
    std::uint64_t seed = 1;
    std::string folder;
    CLI::App app("Simulates a fleet of clients.");
    app.add_option("scenarios", names, "day, outage, long, release, broker; all if none is named")
        ->check(CLI::IsMember({"day", "outage", "long", "release", "broker"}));
    app.add_option("--clients", clients)->check(CLI::Range(100, 10'000'000));
    app.add_option("--seed", seed);
    app.add_option("--plots", folder, "folder for SVG files")->check(CLI::ExistingDirectory);
    CLI11_PARSE(app, argc, argv);
    for (const auto& scenario : scenarios(clients, seed)) {
        if (names.empty() || std::ranges::find(names, scenario.name) != names.end())
            simulate(scenario, folder);
    }
    return 0;
}
