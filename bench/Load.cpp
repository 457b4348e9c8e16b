// Reading the queue at start-up, compared with a parser that only builds its tree of the same file;
// and the memory of the events, compared with the size of the file.

#include <malloc.h>
#include <simdjson.h>

#include "Comparison.h"
#include "SampleQueue.h"
#include "platform/FileSystem.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

constexpr int rounds = 15;

std::size_t memoryInUse() {
    const auto information = mallinfo2();
    return information.uordblks + information.hblkhd;
}

void load(benchmark::State& state, double bar, bool againstRead) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::filesystem::create_directories(host.documents());
        const std::string path = host.file("queue").string();
        writeFile(path, queueText(8000));
        Times ours;
        Times limit;
        for (int round = 0; round < rounds; ++round) {
            std::vector<InternalEvent> events;
            ours.measure([&] { events = *quietStorage("queue")->load(); });
            if (events.size() != 8000) state.SkipWithError("not loaded");
            events = {};
            auto contents = *systemFiles().read(path);
            simdjson::dom::parser parser;
            limit.measure([&] {
                if (againstRead) {
                    contents = *systemFiles().read(path);
                    return;
                }
                simdjson::dom::element root;
                const simdjson::padded_string_view text(contents.data(), contents.size(),
                                                        contents.capacity());
                if (parser.parse(text).get(root) != simdjson::SUCCESS)
                    state.SkipWithError("not parsed");
            });
        }
        report(state, ours, limit, bar);
    }
}

void memory(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::filesystem::create_directories(host.documents());
        const std::string path = host.file("queue").string();
        writeFile(path, queueText(8000));
        const auto before = memoryInUse();
        Ledger::Queue counts;
        const EventsRepository repository(8000, quietStorage("queue"), counts);
        const auto after = memoryInUse();
        report(state, static_cast<double>(after - before),
               static_cast<double>(std::filesystem::file_size(path)), 1.6, "bytes");
    }
}

BENCHMARK_CAPTURE(load, parse, 2, false)
    ->Name("load of 8000 events, against parsing")
    ->Iterations(1);
BENCHMARK_CAPTURE(load, read, 0, true)->Name("load of 8000 events, against read")->Iterations(1);
BENCHMARK(memory)->Name("memory of 8000 events")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
