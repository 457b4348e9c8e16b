// How the costs grow with the queue, the event and the schema, also beyond the client's limits.

#include "Comparison.h"
#include "SampleQueue.h"
#include "dispatch/storage/ListText.h"
#include "schemas/Schema.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

InternalEvent eventOfSize(std::int64_t number, std::size_t size) {
    return test::sampleEvent(number, {}, {{"text", std::string(size, 'x')}});
}

/// The store with the given number of events of about the given size: an append, an eviction, and
/// loading it.
void queue(benchmark::State& state) {
    const auto length = state.range(0);
    const auto size = static_cast<std::size_t>(state.range(1));
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::filesystem::create_directories(host.documents());
        Times append;
        Times drop;
        Times load;
        {
            ListText::Memory texts;
            EventList list;
            for (std::int64_t number = 0; number < length; ++number)
                list.append(texts.packed(eventOfSize(number, size)));
            const auto storage = quietStorage("queue");
            const auto save = [&] {
                if (!storage->save(list).ok()) state.SkipWithError("not saved");
            };
            for (int round = 0; round < 3; ++round) {
                list.append(texts.packed(eventOfSize(length, size)));
                save();
            }
            for (int round = 0; round < 60; ++round) {
                const auto event = eventOfSize(length, size);
                append.measure([&] {
                    list.append(texts.packed(event));
                    save();
                });
            }
            for (int round = 0; round < 9; ++round) {
                drop.measure([&] {
                    list.dropFront(1);
                    save();
                });
            }
        }
        for (int round = 0; round < 5; ++round) {
            std::vector<InternalEvent> events;
            load.measure([&] { events = *quietStorage("queue")->load(); });
            if (events.empty()) state.SkipWithError("not loaded");
        }
        state.counters["append_us"] = append.mean() / 1e3;
        state.counters["drop_ms"] = drop.mean() / 1e6;
        state.counters["load_ms"] = load.mean() / 1e6;
        state.counters["file_MB"] =
            static_cast<double>(std::filesystem::file_size(host.file("queue"))) / 1e6;
    }
}

/// An event and a schema with the given number of properties.
void validateProperties(benchmark::State& state) {
    JSONObject named;
    JSONObject object;
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        const auto name = "property" + std::to_string(number);
        if (number % 2 == 0) {
            named[name] = {{"type", "integer"}, {"minimum", 0}};
            object[name] = number;
        } else {
            named[name] = {{"type", "string"}, {"maxLength", 100}};
            object[name] = "value " + std::to_string(number);
        }
    }
    const Schema schema({{"type", "object"}, {"properties", named}});
    const JSONValue value = object;
    for ([[maybe_unused]] auto _ : state) {
        Times validating;
        for (int round = 0; round < 300; ++round) {
            validating.measure([&] {
                if (!schema.validate(value).valid()) state.SkipWithError("not valid");
            });
        }
        state.counters["validate_us"] = validating.mean() / 1e3;
    }
}

BENCHMARK(queue)
    ->ArgNames({"events", "bytes"})
    ->Args({100, 600})
    ->Args({1000, 600})
    ->Args({8000, 600})
    ->Args({32'000, 600})
    ->Args({100'000, 600})
    ->Args({100, 10'000})
    ->Args({100, 100'000})
    ->Args({100, 1'000'000})
    ->Iterations(1);
BENCHMARK(validateProperties)->Arg(5)->Arg(25)->Arg(100)->Arg(1000)->Arg(10'000)->Iterations(1);

}  // namespace
}  // namespace zentara::bench
