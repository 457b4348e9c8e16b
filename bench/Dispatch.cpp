// A batch of ten from the queue to the bytes for the HTTP session, compared with copying those
// bytes.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "Allocations.h"
#include "Comparison.h"
#include "SampleQueue.h"
#include "dispatch/storage/QueueFiles.h"
#include "model/ZentaraEnvelope.h"
#include "network/URLRequestBuilder.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

const std::int64_t batchSize = ClientSettings().dispatchBatchSize;

void dispatch(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::filesystem::create_directories(host.documents());
        const auto queue = queueOf(4000, "queue", host.file("queue").string());
        Times ours;
        Times limit;
        std::int64_t allocated = 0;
        for (int round = 0; round < 300; ++round) {
            std::string body;
            const auto before = allocations();
            ours.measure([&] {
                ZentaraEnvelope envelope;
                envelope.actions = queue->take(batchSize);
                envelope.zentaraActionCounter = batchSize;
                benchmark::DoNotOptimize(envelope.actions.front().user());
                URLRequestBuilder builder(URL::parse("http://localhost/event").value());
                builder.method = "POST";
                builder.body = envelope.requestBody().value();
                auto request = builder.build();
                benchmark::DoNotOptimize(request);
                body = *std::move(builder.body);
            });
            allocated = allocations() - before;
            std::string copy(body.size(), ' ');
            limit.measure([&] {
                std::memcpy(copy.data(), body.data(), body.size());
                benchmark::ClobberMemory();
            });
        }
        report(state, ours, limit, 0);
        state.counters["allocations"] = static_cast<double>(allocated);
    }
}

/// Writes the file of the batch in flight before the batch leaves the list, and removes the file
/// afterwards.
void keep(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::filesystem::create_directories(host.documents());
        const auto batch =
            queueOf(batchSize, "queue", host.file("queue").string())->take(batchSize);
        std::string text;
        for (const auto& event : batch)
            text += event.jsonText().value();
        const auto path = host.file("limit").string();
        const auto renamed = path + "-renamed";
        InFlightFile file(QueueFiles(systemFiles(), "queue"));
        Times ours;
        Times limit;
        for (int round = 0; round < 300; ++round) {
            ours.measure([&] {
                static_cast<void>(file.save(batch));
                static_cast<void>(file.save({}));
            });
            limit.measure([&] {
                const int descriptor = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
                benchmark::DoNotOptimize(::write(descriptor, text.data(), text.size()));
                ::close(descriptor);
                ::rename(path.c_str(), renamed.c_str());
                ::unlink(renamed.c_str());
            });
        }
        report(state, ours, limit, 0);
    }
}

BENCHMARK(dispatch)->Name("dispatch of a batch of 10")->Iterations(1);
BENCHMARK(keep)->Name("keep a batch of 10 while in flight")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
