// The cost of one accepted event for its caller, compared with the minimum: writing the event's
// bytes to an open file, and one rename.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Allocations.h"
#include "BareFile.h"
#include "Comparison.h"
#include "SampleQueue.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

void makeFolder(const test::TestHost& host) {
    std::filesystem::create_directories(host.documents());
}

constexpr int rounds = 90;

void accept(benchmark::State& state) {
    const auto length = state.range(0);
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        makeFolder(host);
        BareFile bare(host);
        Times ours;
        Times limit;
        std::int64_t allocated = 0;
        for (int repetition = 0; repetition < 5; ++repetition) {
            const auto queue = queueOf(length, "queue", host.file("queue").string());
            for (int round = 0; round < rounds; ++round) {
                const auto event = sampleEvent(length + 2 + round);
                const std::string text(*sampleEvent(length + 2 + round).jsonText());
                const auto before = allocations();
                ours.measure([&] { queue->add(event, nullptr); });
                allocated = allocations() - before;
                limit.measure([&] { bare.append(text); });
            }
        }
        report(state, ours, limit, 2);
        state.counters["allocations"] = static_cast<double>(allocated);
    }
}

void acceptAtLength(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        makeFolder(host);
        Times atLength;
        Times atZero;
        for (int repetition = 0; repetition < 5; ++repetition) {
            const auto full = queueOf(7900, "full", host.file("full").string());
            const auto empty = queueOf(0, "empty", host.file("empty").string());
            for (int round = 0; round < rounds; ++round) {
                const auto one = sampleEvent(8000 + round);
                const auto other = sampleEvent(8000 + round);
                atLength.measure([&] { full->add(one, nullptr); });
                atZero.measure([&] { empty->add(other, nullptr); });
            }
        }
        report(state, atLength, atZero, 1.3);
    }
}

/// The offset of the minimum's buffer in its page. Processors copy a quarter faster or more if
/// source and target have the same offset modulo 32 bytes. A list that evicts its first event moves
/// by that event's length, so its offsets differ.
void acceptAtCapacity(benchmark::State& state, std::size_t start) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        makeFolder(host);
        // Filled event by event, since loaded events lie closer together in memory.
        const auto queue = queueOf(0, "queue", host.file("queue").string());
        for (int number = 2; number < 8000; ++number)
            queue->add(sampleEvent(number), nullptr);
        const std::string text = queueText(8000);
        constexpr std::size_t page = 4096;
        std::vector<char> buffer(text.size() + 2 * page);
        const auto past = reinterpret_cast<std::uintptr_t>(buffer.data()) % page;
        const auto begin = buffer.begin() + static_cast<std::ptrdiff_t>(page - past + start);
        std::copy(text.begin(), text.end(), begin);
        const std::string_view bytes(&*begin, text.size());
        BareFile bare(host);
        bare.overwrite(bytes);
        Times ours;
        Times limit;
        for (int round = 0; round < 150; ++round) {
            const auto event = sampleEvent(8000 + round);
            ours.measure([&] { queue->add(event, nullptr); });
            limit.measure([&] { bare.overwrite(bytes); });
        }
        report(state, ours, limit, 1.5);
    }
}

BENCHMARK(accept)->Arg(0)->Arg(1000)->Arg(4000)->Arg(7900)->Iterations(1);
BENCHMARK(acceptAtLength)->Name("accept, 7900 against 0")->Iterations(1);
// The offset that the allocator gives large blocks.
BENCHMARK_CAPTURE(acceptAtCapacity, unaligned, 16)->Name("accept at capacity, 8000")->Iterations(1);
BENCHMARK_CAPTURE(acceptAtCapacity, aligned, 0)
    ->Name("accept at capacity, aligned limit")
    ->Iterations(1);

}  // namespace
}  // namespace zentara::bench
