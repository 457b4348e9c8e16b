// What a collector adds to the cost of a database and of a broker when it hands events on: an event
// is committed to the outbox, and later read, delivered and removed.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <latch>
#include <memory>
#include <string>
#include <vector>

#include "Comparison.h"
#include "EventTable.h"
#include "OutboxEntries.h"
#include "PlainProducer.h"
#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/forward/Forwarder.h"
#include "collector/forward/Outbox.h"
#include "collector/forward/kafka/KafkaSink.h"
#include "support/Files.h"

namespace zentara::bench {
namespace {

using namespace collector;

constexpr int repetitions = 3;

/// Adds all, as threads of a server do that do not wait for each other, and waits for the commits.
void addAll(Outbox& outbox, const std::vector<Outbox::Entry>& entries) {
    std::latch committed(static_cast<std::ptrdiff_t>(entries.size()));
    for (const auto& entry : entries)
        outbox.add(entry, [&committed](const std::string&) { committed.count_down(); });
    committed.wait();
}

void outbox(benchmark::State& state) {
    const auto entries = makeEntries();
    for ([[maybe_unused]] auto _ : state) {
        Times ours;
        Times limit;
        for (int i = 0; i < repetitions; ++i) {
            const test::TemporaryDirectory folder;
            Outbox outbox(folder.path() / "outbox", {});
            ours.measure([&] { addAll(outbox, entries); });
            if (outbox.statistics().events != events) state.SkipWithError("events are missing");
            EventTable table(folder.path() / "alone");
            limit.measure([&] { table.insert(entries); });
        }
        report(state, ours.mean() / events, limit.mean() / events, 2);
    }
}

/// With or without the table that the messages are read and removed from.
void kafka(benchmark::State& state, bool hasTable) {
    const auto entries = makeEntries();
    const auto ignore = [](const std::string&) {
    };
    for ([[maybe_unused]] auto _ : state) {
        Times ours;
        Times limit;
        for (int i = 0; i < repetitions; ++i) {
            const test::TemporaryDirectory folder;
            const test::KafkaCluster cluster({"events", "alone"});
            Outbox outbox(folder.path() / "outbox", {});
            addAll(outbox, entries);
            EventTable table(folder.path() / "alone");
            table.insert(entries);
            // The first message takes a second, which is for the producer's number.
            const auto all = outbox.read(events, std::int64_t{1} << 40);
            auto sink =
                std::make_unique<KafkaSink>(Sink::Settings{cluster.url("events"), "", ignore});
            (void)sink->deliver(all->events().first(1));
            PlainProducer producer(cluster.brokers());
            producer.produce("key", "schema", "uuid", "value");
            producer.flush();

            ours.measure([&] {
                Forwarder forwarder(outbox, std::move(sink), {.complain = ignore});
                forwarder.drain(std::chrono::minutes(1));
            });
            limit.measure([&] {
                if (hasTable) {
                    table.empty([&](auto... texts) { producer.produce(texts...); });
                } else {
                    for (const auto& event : all->events())
                        producer.produce(event.client, event.schema, event.actionUUID,
                                         event.record);
                }
                producer.flush();
            });
            if (outbox.statistics().events != 0 || cluster.count("events") != events + 1 ||
                cluster.count("alone") != events + 1)
                state.SkipWithError("not every event has arrived");
        }
        report(state, ours.mean() / events, limit.mean() / events, 2);
    }
}

BENCHMARK(outbox)->Name("commit to the outbox, SQLite alone")->Iterations(1);
BENCHMARK_CAPTURE(kafka, with a table, true)
    ->Name("hand on to Kafka, SQLite and a producer alone")
    ->Iterations(1);
BENCHMARK_CAPTURE(kafka, without, false)->Name("hand on to Kafka, a producer alone")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
