// Building the whole client with a full queue and a large cache of schemas, compared with reading
// the two files. There is no network.

#include <zentara/ZentaraClient.h>

#include <atomic>
#include <filesystem>

#include "Comparison.h"
#include "SampleQueue.h"
#include "dispatch/storage/FileStorage.h"
#include "json/JSONText.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

/// A cache of schemas of about a megabyte.
std::string schemasText() {
    constexpr std::size_t wantedSize = 1'000'000;
    std::string text = "[{";
    for (int number = 0; text.size() < wantedSize; ++number) {
        for (const auto& sample : samples()) {
            if (text.size() > 2) text += ',';
            text += '"' + sample.name + '-' + std::to_string(number) + "\":";
            if (!appendJSON(text, sample.schema)) throw std::logic_error("not JSON");
        }
    }
    return text + "}]";
}

void get(benchmark::State& state) {
    // A port without a listener.
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = endpoints.qaSchemas = "http://127.0.0.1:9";
    ZentaraEndpoints::use(endpoints);
    const std::string queue = queueText(8000);
    const std::string schemas = schemasText();
    for ([[maybe_unused]] auto _ : state) {
        Times ours;
        Times parts;
        for (int round = 0; round < 12; ++round) {
            const test::TestHost host;
            std::filesystem::create_directories(host.documents());
            writeFile(host.file("events-storage").string(), queue);
            writeFile(host.file("zentara-schemas-storage").string(), schemas);
            // Both results live until the end, as they do in the client.
            std::vector<InternalEvent> events;
            std::vector<JSONObject> table;
            const auto readFiles = [&] {
                events = *quietStorage("events-storage")->load();
                table = *SchemasStorage(systemFiles(), "zentara-schemas-storage").load();
            };
            std::shared_ptr<ZentaraClient> client;
            // The cached table reports ready before the failed fetch reports its error.
            auto wasReady = std::make_shared<std::atomic<bool>>(false);
            const auto build = [&] {
                client = ZentaraClient::get([wasReady](const ZentaraClientErrorRef& error) {
                    if (!error) *wasReady = true;
                });
            };
            if (round % 2 == 0) parts.measure(readFiles);
            ours.measure(build);
            if (round % 2 != 0) parts.measure(readFiles);
            if (events.size() != 8000 || table.size() != 1) state.SkipWithError("not loaded");
            if (!*wasReady) state.SkipWithError("not ready");
            ZentaraClient::setSharedClient(nullptr);
            ZentaraClient::setIsReady(false);
        }
        report(state, ours, parts, 1.3);
    }
}

BENCHMARK(get)->Name("get, 8000 events, 1 MB of schemas")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
