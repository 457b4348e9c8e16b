// A collector under load, with every event checked against its schema: at a given rate of requests
// and, with a rate of 0, as fast as it answers. In the end all events are counted where they
// belong. Collector, load and what the events are handed on to share the machine.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "Downstream.h"
#include "LoadGenerator.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::bench {
namespace {

using namespace std::chrono;

double residentMegabytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/statm");
    long total = 0;
    long resident = 0;
    status >> total >> resident;
    return static_cast<double>(resident * ::sysconf(_SC_PAGESIZE)) / 1e6;
}

double processorSeconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), {});
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

/// Of the collector that keeps its events in memory, as fast as it answers.
double eventsPerSecondInMemory = 0;

void load(benchmark::State& state, std::unique_ptr<Downstream> (*make)()) {
    const test::TemporaryDirectory folder;
    const auto downstream = make();
    auto options = downstream->options(folder.path());
    options.insert(options.end(), {"--no-https", "--quiet"});
    test::CollectorProcess collector(ZENTARA_EXAMPLES "/schemas", options);
    for ([[maybe_unused]] auto _ : state) {
        const double before = processorSeconds(collector.id());
        const auto result =
            LoadGenerator::run(collector.url() + "/event", state.range(0), seconds(state.range(1)));
        const auto end = steady_clock::now();
        const bool isComplete =
            test::eventually([&] { return downstream->count(collector.url()) >= result.events(); });
        const duration<double> behind = steady_clock::now() - end;
        const double rate = static_cast<double>(result.events()) / result.took.count();
        state.counters["events/s"] = rate;
        if (state.range(0) == 0) {
            if (eventsPerSecondInMemory == 0) eventsPerSecondInMemory = rate;
            state.counters["of_memory"] = rate / eventsPerSecondInMemory;
        }
        state.counters["p50_ms"] = result.percentile(0.5);
        state.counters["p99_ms"] = result.percentile(0.99);
        state.counters["max_ms"] = result.percentile(1);
        state.counters["behind_s"] = behind.count();
        state.counters["cpu_us/event"] = (processorSeconds(collector.id()) - before) * 1e6 /
                                         static_cast<double>(result.events());
        state.counters["MB"] = residentMegabytes(collector.id());
        state.counters["events"] = static_cast<double>(result.events());
        if (result.errors > 0) state.SkipWithError("not every request was answered with 200");
        if (!isComplete || downstream->count(collector.url()) != result.events())
            state.SkipWithError("not every event is where it belongs, once");
    }
    if (collector.stop() != 0) state.SkipWithError("the collector did not end as it should");
}

void rates(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"requests_per_second", "seconds"})
        ->Args({1000, 30})
        ->Args({0, 10})
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kSecond);
}

BENCHMARK_CAPTURE(load, memory, memoryOnly)->Apply(rates);
BENCHMARK_CAPTURE(load, database, databaseOnDisk)->Apply(rates);
BENCHMARK_CAPTURE(load, Kafka, kafkaBrokers)->Apply(rates);
BENCHMARK_CAPTURE(load, Kafka flushed, kafkaBrokersFlushed)->Apply(rates);
BENCHMARK_CAPTURE(load, PostgreSQL, postgreSQLServer)->Apply(rates);

}  // namespace
}  // namespace zentara::bench
