// A collector under load, with every event checked against its schema: at a given rate of requests
// and, with a rate of 0, as fast as it answers. In the end all events are counted where they
// belong. Collector, load and what the events are handed on to share the machine. First the limits
// are measured alone: rows into SQLite, messages of a producer, COPY into the same tables.
//
//     collector_load [--seconds N] [options of the benchmark library]
//
// The exit code is 1 if a row's events do not balance.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "Comparison.h"
#include "Downstream.h"
#include "EventTable.h"
#include "LoadGenerator.h"
#include "OutboxEntries.h"
#include "PlainProducer.h"
#include "RowBatch.h"
#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/forward/postgresql/PostgreSQLSink.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/PostgreSQLServer.h"

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

seconds duration{10};
constexpr minutes longestWait{10};
bool hasFailed = false;

void fail(benchmark::State& state, const char* reason) {
    hasFailed = true;
    state.SkipWithError(reason);
}

enum class Place { memory, table, producer, copy };
/// Events a second that a place takes alone; 0 if that was not measured.
std::array<double, 4> limits{};

double& limitOf(Place place) {
    return limits.at(static_cast<std::size_t>(place));
}

void reportLimit(benchmark::State& state, Place place, Times& times, double count) {
    limitOf(place) = count * 1e9 / times.mean();
    state.counters["events/s"] = limitOf(place);
}

void rowsIntoSQLite(benchmark::State& state) {
    const auto entries = makeEntries();
    for ([[maybe_unused]] auto _ : state) {
        Times times;
        for (int i = 0; i < 3; ++i) {
            const test::TemporaryDirectory folder;
            EventTable table(folder.path() / "alone");
            times.measure([&] { table.insert(entries); });
        }
        reportLimit(state, Place::table, times, events);
    }
}

void messagesOfAProducer(benchmark::State& state) {
    const auto entries = makeEntries();
    for ([[maybe_unused]] auto _ : state) {
        Times times;
        for (int i = 0; i < 3; ++i) {
            const test::KafkaCluster cluster({"alone"});
            PlainProducer producer(cluster.brokers());
            // The first message takes a second, which is for the producer's number.
            producer.produce("key", "schema", "uuid", "value");
            producer.flush();
            times.measure([&] {
                for (const auto& entry : entries)
                    for (const auto& action : entry.envelope->actions)
                        producer.produce(entry.envelope->clientUUID, action.schema, action.uuid,
                                         action.json);
                producer.flush();
            });
            if (cluster.count("alone") != events + 1) fail(state, "not every message has arrived");
        }
        reportLimit(state, Place::producer, times, events);
    }
}

void copyIntoPostgreSQL(benchmark::State& state) {
    constexpr std::size_t size = 1000;
    for ([[maybe_unused]] auto _ : state) {
        const test::PostgreSQLServer server;
        const collector::StopSignal never;
        collector::PostgreSQLConnection copy(server.url(), never);
        collector::PostgreSQLSink sink({.url = server.url(), .file = {}, .complain = {}});
        std::mt19937_64 random(17);
        const RowBatch first(0, size, random);
        (void)sink.deliver(first.events());
        (void)copy.run(copiedTables);
        Times times;
        for (int round = 1; round <= 30; ++round) {
            const RowBatch batch(round, size, random);
            const auto rows = batch.rows();
            const auto uuids = batch.uuids();
            times.measure([&] {
                (void)copy.run("BEGIN");
                copy.copy("COPY copied.action_uuids FROM STDIN", uuids);
                copy.copy(copyInto("copied.events"), rows);
                (void)copy.run("COMMIT");
            });
        }
        reportLimit(state, Place::copy, times, size);
    }
}

/// `place` is what the row is compared with.
void load(benchmark::State& state, std::unique_ptr<Downstream> (*make)(), Place place) {
    const test::TemporaryDirectory folder;
    const auto downstream = make();
    auto options = downstream->options(folder.path());
    options.insert(options.end(), {"--no-https", "--quiet"});
    test::CollectorProcess collector(ZENTARA_EXAMPLES "/schemas", options);
    for ([[maybe_unused]] auto _ : state) {
        const double before = processorSeconds(collector.id());
        const auto result =
            LoadGenerator::run(collector.url() + "/event", state.range(0), duration);
        const auto end = steady_clock::now();
        const double busy = processorSeconds(collector.id()) - before;
        // Counting takes processor time, too.
        while (downstream->count(collector.url()) < result.events() &&
               steady_clock::now() < end + longestWait)
            std::this_thread::sleep_for(250ms);
        const std::chrono::duration<double> behind = steady_clock::now() - end;
        const double took = result.took.count();
        const double rate = static_cast<double>(result.events()) / took;
        state.counters["events/s"] = rate;
        const double throughRate = static_cast<double>(result.events()) / (took + behind.count());
        state.counters["through/s"] = throughRate;
        // At a given rate the row would be compared with that rate.
        if (state.range(0) == 0) {
            if (place == Place::memory) limitOf(place) = rate;
            if (limitOf(Place::memory) > 0)
                state.counters["of_memory"] = rate / limitOf(Place::memory);
            if (place != Place::memory && limitOf(place) > 0)
                state.counters["of_limit"] = throughRate / limitOf(place);
        }
        state.counters["p50_ms"] = result.percentile(0.5);
        state.counters["p99_ms"] = result.percentile(0.99);
        state.counters["max_ms"] = result.percentile(1);
        state.counters["behind_s"] = behind.count();
        state.counters["collector_cores"] = busy / took;
        state.counters["load_cores"] = result.processorTime.count() / took;
        state.counters["MB"] = residentMegabytes(collector.id());
        state.counters["events"] = static_cast<double>(result.events());
        if (result.errors > 0) fail(state, "not every request was answered with 200");
        if (downstream->count(collector.url()) != result.events())
            fail(state, "not every event is where it belongs, once");
    }
    if (collector.stop() != 0) fail(state, "the collector did not end as it should");
}

void limit(benchmark::internal::Benchmark* benchmark) {
    benchmark->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);
}

void rates(benchmark::internal::Benchmark* benchmark) {
    limit(benchmark->ArgName("requests_per_second")->Arg(1000)->Arg(0));
}

BENCHMARK(rowsIntoSQLite)->Name("limit/SQLite")->Apply(limit);
BENCHMARK(messagesOfAProducer)->Name("limit/Kafka")->Apply(limit);
BENCHMARK(copyIntoPostgreSQL)->Name("limit/PostgreSQL")->Apply(limit);
BENCHMARK_CAPTURE(load, memory, memoryOnly, Place::memory)->Apply(rates);
BENCHMARK_CAPTURE(load, database, databaseOnDisk, Place::table)->Apply(rates);
BENCHMARK_CAPTURE(load, Kafka, kafkaBrokers, Place::producer)->Apply(rates);
BENCHMARK_CAPTURE(load, Kafka flushed, kafkaBrokersFlushed, Place::producer)->Apply(rates);
BENCHMARK_CAPTURE(load, PostgreSQL, postgreSQLServer, Place::copy)->Apply(rates);

/// Takes "--seconds N" out of the arguments. False if N is no positive number.
bool readSeconds(int& argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::string_view(argv[i]) != "--seconds") continue;
        duration = seconds(std::atoi(argv[i + 1]));
        for (int k = i; k + 2 < argc; ++k)
            argv[k] = argv[k + 2];
        argc -= 2;
        break;
    }
    return duration > seconds(0);
}

}  // namespace
}  // namespace zentara::bench

int main(int argc, char** argv) {
    if (!zentara::bench::readSeconds(argc, argv)) {
        std::cerr << "collector_load: --seconds needs a positive number\n";
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return zentara::bench::hasFailed ? 1 : 0;
}
