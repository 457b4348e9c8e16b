// What a collector adds to the cost of a database and of a broker when it hands events on: an event
// is committed to the outbox, and later read, delivered and removed.

#include <benchmark/benchmark.h>
#include <librdkafka/rdkafka.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <latch>
#include <memory>
#include <string>
#include <vector>

#include "Comparison.h"
#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/forward/Forwarder.h"
#include "collector/forward/Outbox.h"
#include "collector/forward/kafka/KafkaSink.h"
#include "support/Files.h"

namespace zentara::bench {
namespace {

using namespace collector;

constexpr int envelopes = 5000;
constexpr int eventsPerEnvelope = 10;
constexpr int events = envelopes * eventsPerEnvelope;
constexpr int repetitions = 3;

std::string eventText(int number) {
    const std::string text = std::to_string(number);
    return R"({"id":"page-view","version":"1","url":"https://shop.example/a/)" + text +
           R"(","contentType":"application/json","properties":{"title":"A page about )" + text +
           R"(","section":"home","language":"en","loadMs":1200,"experiments":["new-search:variant-b","free-shipping:control"]},)"
           R"("actionTs":1700000000000,"zentaraClientVersion":"1.2.3","zentaraClientReferer":"",)"
           R"("zentaraRelationId":null,"zentaraClientContextID":"context","zentaraActionSequence":)" +
           text + R"(,"zentaraActionUUID":")" + text + R"(","zentaraActionExtraAttributes":""})";
}

constexpr const char* facts =
    R"("receivedAt":1700000000123,"clientUUID":"0b7e6d1c-58a3-4a0e-9a64-0c9d7f6d1a11","tenant":"shop",)"
    R"("clientType":"mobile","deviceGroup":"iOS","environment":"app","clientTs":1700000000100,)"
    R"("dispatchNumber":3,"actionCounter":10,"userAgent":"shop 1.2.3","cookie":"","user":null)";

std::vector<Outbox::Entry> makeEntries() {
    std::vector<Outbox::Entry> entries;
    int number = 0;
    for (int i = 0; i < envelopes; ++i) {
        auto envelope = std::make_shared<Envelope>();
        envelope->clientUUID = "client-" + std::to_string(i % 100);
        envelope->tenant = "shop";
        for (int k = 0; k < eventsPerEnvelope; ++k, ++number) {
            envelope->actions.push_back({.schema = "page-view-1",
                                         .uuid = std::to_string(number),
                                         .contextID = "context",
                                         .sequence = number,
                                         .actionTs = 1'700'000'000'000,
                                         .json = eventText(number)});
        }
        entries.push_back({.receivedAt = 1'700'000'000'123,
                           .user = {},
                           .facts = facts,
                           .findings = std::vector<std::string>(eventsPerEnvelope, "[]"),
                           .envelope = std::move(envelope)});
    }
    return entries;
}

/// Adds all, as threads of a server do that do not wait for each other, and waits for the commits.
void addAll(Outbox& outbox, const std::vector<Outbox::Entry>& entries) {
    std::latch committed(static_cast<std::ptrdiff_t>(entries.size()));
    for (const auto& entry : entries)
        outbox.add(entry, [&committed](const std::string&) { committed.count_down(); });
    committed.wait();
}

/// The rows of the outbox's events, a thousand in a transaction.
void insertAlone(const std::filesystem::path& file, const std::vector<Outbox::Entry>& entries) {
    sqlite3* opened = nullptr;
    sqlite3_open(file.c_str(), &opened);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
    sqlite3_exec(opened,
                 "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                 "CREATE TABLE events (ordinal INTEGER PRIMARY KEY, client TEXT, schema TEXT, "
                 "actionUUID TEXT, sequence INTEGER, json TEXT)",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(opened, "INSERT INTO events VALUES (NULL, ?, ?, ?, ?, ?)", -1, &prepared,
                       nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(prepared,
                                                                               sqlite3_finalize);
    const auto bind = [prepared](int column, const std::string& text) {
        sqlite3_bind_text(prepared, column, text.data(), static_cast<int>(text.size()), nullptr);
    };
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i % 100 == 0) sqlite3_exec(opened, "BEGIN", nullptr, nullptr, nullptr);
        for (const auto& action : entries[i].envelope->actions) {
            bind(1, entries[i].envelope->clientUUID);
            bind(2, action.schema);
            bind(3, action.uuid);
            sqlite3_bind_int64(prepared, 4, action.sequence);
            bind(5, action.json);
            sqlite3_step(prepared);
            sqlite3_reset(prepared);
        }
        if (i % 100 == 99) sqlite3_exec(opened, "COMMIT", nullptr, nullptr, nullptr);
    }
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
            limit.measure([&] { insertAlone(folder.path() / "alone", entries); });
        }
        report(state, ours.mean() / events, limit.mean() / events, 2);
    }
}

/// A producer with the settings of the collector's, and records of the same size.
void produceAlone(const test::KafkaCluster& cluster, const std::vector<std::string>& records) {
    rd_kafka_conf_t* const configuration = rd_kafka_conf_new();
    for (const auto& [name, value] :
         std::vector<std::pair<std::string, std::string>>{{"bootstrap.servers", cluster.brokers()},
                                                          {"enable.idempotence", "true"},
                                                          {"acks", "all"},
                                                          {"compression.codec", "lz4"},
                                                          {"linger.ms", "5"}})
        rd_kafka_conf_set(configuration, name.c_str(), value.c_str(), nullptr, 0);
    const std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)> producer(
        rd_kafka_new(RD_KAFKA_PRODUCER, configuration, nullptr, 0), rd_kafka_destroy);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::string key = "client-" + std::to_string(i / eventsPerEnvelope % 100);
        rd_kafka_producev(producer.get(), RD_KAFKA_V_TOPIC("alone"),
                          RD_KAFKA_V_KEY(key.data(), key.size()),
                          RD_KAFKA_V_VALUE(const_cast<char*>(records[i].data()), records[i].size()),
                          RD_KAFKA_V_END);
    }
    rd_kafka_flush(producer.get(), 60'000);
}

void kafka(benchmark::State& state) {
    const auto entries = makeEntries();
    for ([[maybe_unused]] auto _ : state) {
        Times ours;
        Times limit;
        for (int i = 0; i < repetitions; ++i) {
            const test::TemporaryDirectory folder;
            const test::KafkaCluster cluster({"events", "alone"});
            Outbox outbox(folder.path() / "outbox", {});
            addAll(outbox, entries);
            std::vector<std::string> records;
            const auto all = outbox.read(events, std::int64_t{1} << 40);
            for (const auto& event : all->events())
                records.emplace_back(event.record);
            const auto ignore = [](const std::string&) {
            };
            ours.measure([&] {
                Forwarder forwarder(
                    outbox,
                    std::make_unique<KafkaSink>(Sink::Settings{cluster.url("events"), "", ignore}),
                    {.complain = ignore});
                forwarder.drain(std::chrono::minutes(1));
            });
            if (outbox.statistics().events != 0) state.SkipWithError("events are left");
            limit.measure([&] { produceAlone(cluster, records); });
        }
        report(state, ours.mean() / events, limit.mean() / events, 2);
    }
}

BENCHMARK(outbox)->Name("commit to the outbox, SQLite alone")->Iterations(1);
BENCHMARK(kafka)->Name("hand on to Kafka, a producer alone")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
