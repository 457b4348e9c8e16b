// What a collector adds to the cost of a database and of a broker when it hands events on: an event
// is committed to the outbox, and later read, delivered and removed.

#include <benchmark/benchmark.h>
#include <librdkafka/rdkafka.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <latch>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Comparison.h"
#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/data/Database.h"
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

/// The least of an outbox: rows in a table, a thousand in a transaction.
class Table {
  public:
    explicit Table(const std::filesystem::path& file) : database_((test::writeTo(file, ""), file)) {
        database_.useWriteAheadLog();
        database_.execute(
            "PRAGMA synchronous = NORMAL; CREATE TABLE events (ordinal INTEGER PRIMARY KEY, "
            "client TEXT, schema TEXT, actionUUID TEXT, sequence INTEGER, json TEXT)");
    }

    void insert(const std::vector<Outbox::Entry>& entries) {
        for (std::size_t first = 0; first < entries.size(); first += 100) {
            Database::Transaction transaction(database_, Database::Transaction::Kind::writing);
            for (const auto& entry : std::span(entries).subspan(first, 100))
                for (const auto& action : entry.envelope->actions)
                    database_.run("INSERT INTO events VALUES (NULL, ?, ?, ?, ?, ?)",
                                  std::string_view(entry.envelope->clientUUID),
                                  std::string_view(action.schema), std::string_view(action.uuid),
                                  action.sequence, std::string_view(action.json));
            transaction.commit();
        }
    }

    /// Calls `use` for each row, and removes all, in steps of the outbox's size.
    template <typename Use>
    void empty(const Use& use) {
        constexpr std::int64_t step = 10'000;
        for (std::int64_t first = 1; first <= events; first += step) {
            const std::int64_t last = first + step - 1;
            auto rows = database_.query(
                "SELECT client, schema, actionUUID, json FROM events WHERE ordinal BETWEEN ? AND ?",
                first, last);
            while (rows.step())
                use(rows.text(0), rows.text(1), rows.text(2), rows.text(3));
            database_.run("DELETE FROM events WHERE ordinal BETWEEN ? AND ?", first, last);
        }
    }

  private:
    Database database_;
};

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
            Table table(folder.path() / "alone");
            limit.measure([&] { table.insert(entries); });
        }
        report(state, ours.mean() / events, limit.mean() / events, 2);
    }
}

/// A producer with the settings and the messages of the collector's.
class Producer {
  public:
    explicit Producer(const std::string& brokers) : handle_(nullptr, rd_kafka_destroy) {
        rd_kafka_conf_t* const configuration = rd_kafka_conf_new();
        for (const auto& [name, value] :
             std::vector<std::pair<std::string, std::string>>{{"bootstrap.servers", brokers},
                                                              {"enable.idempotence", "true"},
                                                              {"acks", "all"},
                                                              {"compression.codec", "lz4"},
                                                              {"partitioner", "murmur2_random"},
                                                              {"linger.ms", "5"}})
            rd_kafka_conf_set(configuration, name.c_str(), value.c_str(), nullptr, 0);
        rd_kafka_conf_set_dr_msg_cb(configuration,
                                    [](rd_kafka_t*, const rd_kafka_message_t*, void*) {});
        handle_.reset(rd_kafka_new(RD_KAFKA_PRODUCER, configuration, nullptr, 0));
    }

    void produce(std::string_view key, std::string_view schema, std::string_view uuid,
                 std::string_view value) {
        const auto header = [](const char* name, std::string_view text) {
            return rd_kafka_vu_t{
                .vtype = RD_KAFKA_VTYPE_HEADER,
                .u = {.header = {name, text.data(), static_cast<ssize_t>(text.size())}}};
        };
        const auto bytes = [](std::string_view text) {
            return decltype(rd_kafka_vu_t::u.mem){const_cast<char*>(text.data()), text.size()};
        };
        const std::array parts{
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_TOPIC, .u = {.cstr = "alone"}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_KEY, .u = {.mem = bytes(key)}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_VALUE, .u = {.mem = bytes(value)}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_MSGFLAGS, .u = {.i = RD_KAFKA_MSG_F_COPY}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_TIMESTAMP, .u = {.i64 = 1'700'000'000'123}},
            header("actionUUID", uuid),
            header("schema", schema),
            header("tenant", "shop"),
            header("receivedAt", "1700000000123")};
        if (rd_kafka_produceva(handle_.get(), parts.data(), parts.size()) != nullptr)
            throw std::runtime_error("the producer is full");
    }

    void flush() {
        if (rd_kafka_flush(handle_.get(), 60'000) != RD_KAFKA_RESP_ERR_NO_ERROR)
            throw std::runtime_error("messages are left");
    }

  private:
    std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)> handle_;
};

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
            Table table(folder.path() / "alone");
            table.insert(entries);
            // The first message takes a second, which is for the producer's number.
            const auto all = outbox.read(events, std::int64_t{1} << 40);
            auto sink =
                std::make_unique<KafkaSink>(Sink::Settings{cluster.url("events"), "", ignore});
            (void)sink->deliver(all->events().first(1));
            Producer producer(cluster.brokers());
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
        report(state, ours.mean() / events, limit.mean() / events, hasTable ? 2 : 0);
    }
}

BENCHMARK(outbox)->Name("commit to the outbox, SQLite alone")->Iterations(1);
BENCHMARK_CAPTURE(kafka, with a table, true)
    ->Name("hand on to Kafka, SQLite and a producer alone")
    ->Iterations(1);
BENCHMARK_CAPTURE(kafka, without, false)->Name("hand on to Kafka, a producer alone")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
