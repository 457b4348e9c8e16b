// Compares the model with real processes: clients of the library and a collector that refuses posts
// for a while. Both have the same settings. Fails when a count of a stretch of time differs by more
// than chance explains, or when the books of a client do not balance.
//
//     check_fleet [--clients N]

#include <zentara/CollectorClient.h>
#include <zentara/JSONValue.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Fleet.h"
#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"

namespace zentara::fleet {
namespace {

using WallClock = std::chrono::system_clock;
using std::chrono::milliseconds;

constexpr double interval = 1;
constexpr double rate = 1;
constexpr std::int64_t capacity = 25;
constexpr std::int64_t length = 100;
constexpr Span outage{20 * second, 50 * second};
/// The ends of the stretches, in seconds.
constexpr std::array<std::int64_t, 5> stretches{20, 30, 50, 70, length};
constexpr std::uint64_t runsOfTheModel = 200;
/// The processes may differ from the mean of the model's runs by four standard deviations of these,
/// 3 % of the mean and ten: requests that cross the end of a stretch.
constexpr double mostDeviations = 4;
constexpr double tolerance = 0.03;
constexpr double few = 10;
/// For the start of all processes.
constexpr std::chrono::seconds preparation{30};

/// Of one run, a few for each stretch of time.
struct Counts {
    struct Stretch {
        std::int64_t posts = 0;
        std::int64_t failed = 0;
        std::int64_t delivered = 0;
    };

    std::array<Stretch, stretches.size()> during{};
    std::int64_t made = 0;
    std::int64_t evicted = 0;

    Stretch& at(std::int64_t second) {
        const auto stretch = std::ranges::upper_bound(stretches, second);
        return during[static_cast<std::size_t>(stretch - stretches.begin())];
    }

    /// With their names, in the order of the table.
    [[nodiscard]] std::vector<std::pair<std::string, std::int64_t>> named() const {
        std::vector<std::pair<std::string, std::int64_t>> all{{"events made", made},
                                                              {"events lost", evicted}};
        std::int64_t from = 0;
        for (std::size_t index = 0; index < stretches.size(); ++index) {
            const auto when =
                ", " + std::to_string(from) + " to " + std::to_string(stretches[index]) + " s";
            all.emplace_back("posts" + when, during[index].posts);
            all.emplace_back("failed posts" + when, during[index].failed);
            all.emplace_back("events delivered" + when, during[index].delivered);
            from = stretches[index];
        }
        return all;
    }
};

Counts predicted(std::int64_t clients, bool hasPolicy, std::uint64_t seed) {
    FleetSettings settings;
    settings.clients = clients;
    settings.client.dispatchInterval = interval;
    settings.client.maxEvents = capacity;
    settings.client.delivery.backOff = hasPolicy;
    settings.client.delivery.continueAtOnce = hasPolicy;
    settings.eventsPerSecond = rate;
    settings.busyFactor = 1;
    settings.seed = seed;
    CollectorSettings collectors;
    collectors.count = 1;
    collectors.outage = outage;
    Fleet fleet(settings, collectors);
    Counts counts;
    for (std::int64_t at = 0; at < length; ++at) {
        const auto sample = fleet.passSecond();
        auto& stretch = counts.at(at);
        stretch.posts += sample.posts;
        stretch.failed += sample.failed;
        stretch.delivered += sample.delivered;
    }
    const auto books = fleet.books();
    counts.made = books.made;
    counts.evicted = books.evicted;
    return counts;
}

void countRequests(const collector::CollectorClient& collector, std::int64_t begin,
                   Counts& counts) {
    constexpr std::int64_t pageSize = 1000;
    for (std::int64_t offset = 0;; offset += pageSize) {
        const auto page = collector.get("/received/requests?offset=" + std::to_string(offset) +
                                        "&limit=" + std::to_string(pageSize));
        for (const auto& request : page.at("requests").array()) {
            const auto at = request.at("receivedAt").integer() - begin;
            if (request.at("service").string() != "event" || at < 0 || at >= length * second)
                continue;
            auto& stretch = counts.at(at / second);
            ++stretch.posts;
            if (request.at("status").integer() != 200) ++stretch.failed;
            stretch.delivered += request.at("storedEvents").integer();
        }
        if (offset + pageSize >= page.at("total").integer()) return;
    }
}

class Processes {
  public:
    Processes(std::int64_t clients, bool hasPolicy) {
        for (std::int64_t number = 1; number <= clients; ++number) {
            hosts_.push_back(std::make_unique<test::ChildProcess>(std::vector<std::string>{
                ZENTARA_CHECK_HOST, collector_.url(), folder_.path() / std::to_string(number),
                std::to_string(number), std::to_string(since1970()), std::to_string(length),
                std::to_string(rate), std::to_string(interval), std::to_string(capacity),
                hasPolicy ? "policy" : "default"}));
        }
        for (auto& host : hosts_)
            static_cast<void>(host->readLine());
        if (WallClock::now() > begin_)
            throw std::runtime_error("the clients took too long to start");
    }

    /// Lets the time pass, with the outage in it.
    [[nodiscard]] Counts run() {
        std::this_thread::sleep_until(begin_ + milliseconds(outage.begin));
        collector_.client().setFault("event", {{"answer", "status"}, {"status", 503}});
        std::this_thread::sleep_until(begin_ + milliseconds(outage.end));
        collector_.client().clearFaults();
        Counts counts;
        for (auto& host : hosts_)
            addReport(*host, counts);
        countRequests(collector_.client(), since1970(), counts);
        return counts;
    }

  private:
    static void addReport(test::ChildProcess& host, Counts& counts) {
        std::istringstream report(host.readLine().value_or(""));
        std::int64_t made = 0;
        std::int64_t delivered = 0;
        std::int64_t evicted = 0;
        std::int64_t left = 0;
        report >> made >> delivered >> evicted >> left;
        if (!report || made != delivered + evicted + left)
            throw std::runtime_error("the books of a client do not balance: " + report.str());
        counts.made += made;
        counts.evicted += evicted;
    }

    [[nodiscard]] std::int64_t since1970() const {
        return std::chrono::duration_cast<milliseconds>(begin_.time_since_epoch()).count();
    }

    const test::TemporaryDirectory folder_;
    test::CollectorProcess collector_{ZENTARA_EXAMPLES "/schemas"};
    const WallClock::time_point begin_ = WallClock::now() + preparation;
    std::vector<std::unique_ptr<test::ChildProcess>> hosts_;
};

/// Prints a row, and whether the count of the processes is within the bounds.
bool compare(const std::string& name, const std::vector<double>& model, double real) {
    const auto count = static_cast<double>(model.size());
    const auto mean = std::accumulate(model.begin(), model.end(), 0.0) / count;
    double squares = 0;
    for (const auto each : model)
        squares += (each - mean) * (each - mean);
    const auto deviation = std::sqrt(squares / (count - 1));
    const bool agrees =
        std::abs(real - mean) <= mostDeviations * deviation + tolerance * mean + few;
    std::printf("| %s | %.0f ± %.0f | %.0f | %+.1f %% |%s\n", name.c_str(), mean, deviation, real,
                100 * (real - mean) / std::max(mean, 1.0), agrees ? "" : " too much");
    return agrees;
}

bool check(std::int64_t clients, bool hasPolicy) {
    std::vector<std::vector<double>> model;
    for (std::uint64_t seed = 1; seed <= runsOfTheModel; ++seed) {
        const auto counts = predicted(clients, hasPolicy, seed).named();
        model.resize(counts.size());
        for (std::size_t index = 0; index < counts.size(); ++index)
            model[index].push_back(static_cast<double>(counts[index].second));
    }
    const auto real = Processes(clients, hasPolicy).run().named();
    std::printf("\n%s\n\n| | model | processes | difference |\n|---|---|---|---|\n",
                hasPolicy ? "Back-off, draining" : "Default");
    bool agrees = true;
    for (std::size_t index = 0; index < real.size(); ++index)
        agrees &= compare(real[index].first, model[index], static_cast<double>(real[index].second));
    std::fflush(stdout);
    return agrees;
}

}  // namespace
}  // namespace zentara::fleet

int main(int argc, char** argv) {
    std::int64_t clients = 100;
    CLI::App app("Compares the model of a fleet with real processes.");
    app.add_option("--clients", clients)->check(CLI::Range(1, 1000));
    CLI11_PARSE(app, argc, argv);
    const auto isGood = zentara::fleet::check(clients, false);
    return zentara::fleet::check(clients, true) && isGood ? 0 : 1;
}
