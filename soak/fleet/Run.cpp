#include "Run.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

namespace zentara::fleet {

namespace {

struct Figures {
    std::int64_t peak = 0;       ///< requests in a second, at any time
    std::int64_t peakAfter = 0;  ///< from the end of the disturbance on
    std::int64_t failed = 0;
    std::int64_t most = 0;  ///< events waiting
    std::int64_t peakSchemas = 0;
    std::int64_t outbox = 0;  ///< events
    double readyAfter = -1;   ///< minutes from the begin of the disturbance; -1 is never
    double normalAfter = -1;  ///< minutes from its end; -1 is not within the run
};

Figures measured(const Scenario& scenario, const Run& run) {
    Figures figures;
    const auto begin = static_cast<std::size_t>(scenario.disturbance.begin / second);
    const auto end = static_cast<std::size_t>(scenario.disturbance.end / second);
    std::int64_t usual = 0;
    for (std::size_t at = begin / 2; at < begin; ++at)
        usual = std::max(usual, run.samples[at].waiting);
    // One event with one client in a hundred.
    const auto allowance = scenario.variants.front().fleet.clients / 100;
    for (std::size_t at = 0; at < run.samples.size(); ++at) {
        const auto& sample = run.samples[at];
        figures.peak = std::max(figures.peak, sample.requests());
        figures.failed += sample.failed;
        figures.most = std::max(figures.most, sample.waiting);
        figures.peakSchemas = std::max(figures.peakSchemas, sample.schemas);
        figures.outbox = std::max(figures.outbox, sample.fullestOutbox);
        if (at < end) continue;
        figures.peakAfter = std::max(figures.peakAfter, sample.requests());
        const auto minutes = static_cast<double>(at - end) / 60;
        const bool isUsual = sample.waiting <= usual + allowance;
        if (!isUsual) figures.normalAfter = -1;
        if (isUsual && figures.normalAfter < 0) figures.normalAfter = minutes;
    }
    for (auto at = run.samples.size(); at > begin && run.samples[at - 1].notReady == 0; --at)
        figures.readyAfter = static_cast<double>(at - 1 - begin) / 60;
    return figures;
}

std::string minutesText(double minutes) {
    if (minutes < 0) return "not yet";
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.1f min", minutes);
    return text.data();
}

std::string grouped(std::int64_t value) {
    auto digits = std::to_string(value);
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

}  // namespace

Run Run::of(const Scenario& scenario, const Variant& variant) {
    Fleet fleet(variant.fleet, variant.collectors);
    Run run{variant.name, {}, {}, 0};
    for (Time now = 0; now < scenario.length; now += second)
        run.samples.push_back(fleet.passSecond());
    run.books = fleet.books();
    run.handedOn = fleet.collectors().handedOn();
    if (run.books.imbalance() != 0) throw std::logic_error("the books do not balance");
    return run;
}

std::vector<Cell> figuresOf(const Scenario& scenario, const Run& run) {
    const auto figures = measured(scenario, run);
    std::vector<Cell> cells{{"Variant", run.name},
                            {"peak, requests/s", grouped(figures.peak)},
                            {"failed requests", grouped(figures.failed)},
                            {"most events waiting", grouped(figures.most)},
                            {"events lost", grouped(run.books.evicted)},
                            {"events delivered", grouped(run.books.delivered)}};
    if (scenario.disturbance.end == 0) return cells;
    cells.push_back({"peak afterwards, requests/s", grouped(figures.peakAfter)});
    cells.push_back({"backlog gone after", minutesText(figures.normalAfter)});
    if (scenario.name == "broker")
        cells.push_back({"most events in an outbox", grouped(figures.outbox)});
    if (scenario.name == "release") {
        cells.push_back({"peak of `/schemas`, requests/s", grouped(figures.peakSchemas)});
        cells.push_back({"schemas everywhere after", minutesText(figures.readyAfter)});
    }
    return cells;
}

}  // namespace zentara::fleet
