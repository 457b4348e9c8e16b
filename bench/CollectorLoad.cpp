// Sends the collector 1,000 requests a second of 10 events each for 30 seconds, with a database on
// disk and every event checked against its schema. Then counts the events in the database.

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <signal.h>
#include <sqlite3.h>
#include <zentara/CollectorClient.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Files.h"

namespace {

using namespace std::chrono;
using namespace zentara;
using Clock = steady_clock;

constexpr int eventsPerRequest = 10;
constexpr int senders = 8;

std::string action(int sender, int request, int index) {
    const std::string number =
        std::to_string(sender) + "-" + std::to_string(request) + "-" + std::to_string(index);
    return R"({"id":"page-view","version":"1","url":"https://shop.example/a/)" + number +
           R"(","contentType":"application/json","properties":{"title":"A page about )" + number +
           R"(","section":"home","language":"en","loadMs":1200,"experiments":["new-search:variant-b","free-shipping:control"]},)"
           R"("actionTs":1700000000000,"zentaraClientVersion":"1.2.3","zentaraClientReferer":"",)"
           R"("zentaraRelationId":null,"zentaraClientContextID":"context-)" +
           std::to_string(sender) + R"(","zentaraActionSequence":)" +
           std::to_string(request * eventsPerRequest + index + 1) + R"(,"zentaraActionUUID":")" +
           number + R"(","zentaraActionExtraAttributes":""})";
}

std::string envelope(int sender, int request) {
    std::string actions;
    for (int index = 0; index < eventsPerRequest; ++index) {
        if (index > 0) actions += ',';
        actions += action(sender, request, index);
    }
    return R"({"zentaraClientUUID":"client-)" + std::to_string(sender) +
           R"(","zentaraClientTenant":"load","zentaraClientType":"mobile",)"
           R"("zentaraClientDeviceGroup":"iOS","zentaraEnvironment":"app",)"
           R"("zentaraClientTs":1700000000001,"actions":[)" +
           actions + R"(],"zentaraDispatchNumber":)" + std::to_string(request + 1) +
           R"(,"zentaraActionCounter":10})";
}

/// Posts at an even pace and records the time of each answer.
class Sender {
  public:
    Sender(int number, std::string url) : number_(number), url_(std::move(url)) {}

    void run(Clock::time_point start, Clock::time_point end, nanoseconds interval) {
        const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                       curl_easy_cleanup);
        const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
            curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
        curl_easy_setopt(curl.get(), CURLOPT_URL, url_.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
        curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
        // Like the library, uses a new connection for each body.
        curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(curl.get(), CURLOPT_FORBID_REUSE, 1L);
        curl_easy_setopt(
            curl.get(), CURLOPT_WRITEFUNCTION,
            +[](const char*, std::size_t, std::size_t size, void*) { return size; });
        for (auto due = start; due < end; due += interval) {
            std::this_thread::sleep_until(due);
            const std::string body = envelope(number_, requests);
            curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.data());
            curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
            const auto before = Clock::now();
            const CURLcode result = curl_easy_perform(curl.get());
            took.push_back(Clock::now() - before);
            long status = 0;
            curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
            ++requests;
            if (result != CURLE_OK || status != 200) ++errors;
        }
    }

    int requests = 0;
    int errors = 0;
    std::vector<nanoseconds> took;

  private:
    const int number_;
    const std::string url_;
};

double residentMegabytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/statm");
    long total = 0;
    long resident = 0;
    status >> total >> resident;
    return static_cast<double>(resident) * 4096 / 1e6;
}

std::int64_t eventsIn(const std::string& file) {
    sqlite3* opened = nullptr;
    sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(opened, "SELECT count(*) FROM events", -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(prepared,
                                                                               sqlite3_finalize);
    return sqlite3_step(prepared) == SQLITE_ROW ? sqlite3_column_int64(prepared, 0) : -1;
}

void load(benchmark::State& state) {
    const auto requestsPerSecond = state.range(0);
    const seconds duration(state.range(1));
    for ([[maybe_unused]] auto _ : state) {
        const test::TemporaryDirectory folder;
        const std::string database = (folder.path() / "events.sqlite").string();
        test::ChildProcess collector({ZENTARA_COLLECTOR, "--port", "0", "--no-https", "--quiet",
                                      "--schemas", ZENTARA_EXAMPLES "/schemas", "--database",
                                      database});
        const std::string line = collector.readLine().value_or("");
        const std::string url = line.substr(line.find("http"));
        const double before = residentMegabytes(collector.id());

        std::vector<Sender> all;
        for (int number = 0; number < senders; ++number)
            all.emplace_back(number, url + "/event");
        const nanoseconds between = nanoseconds(seconds(1)) / requestsPerSecond;
        const auto start = Clock::now() + 100ms;
        std::vector<std::thread> threads;
        for (int number = 0; number < senders; ++number) {
            threads.emplace_back([&, number] {
                all[static_cast<std::size_t>(number)].run(start + number * between,
                                                          start + duration, senders * between);
            });
        }
        for (auto& thread : threads)
            thread.join();
        const double took =
            duration_cast<std::chrono::duration<double>>(Clock::now() - start).count();
        const double after = residentMegabytes(collector.id());
        const auto summary = collector::CollectorClient(url).summary();
        collector.signal(SIGTERM);
        const int exitCode = collector.wait();

        std::vector<nanoseconds> latencies;
        int requests = 0;
        int errors = 0;
        for (const Sender& sender : all) {
            requests += sender.requests;
            errors += sender.errors;
            latencies.insert(latencies.end(), sender.took.begin(), sender.took.end());
        }
        std::sort(latencies.begin(), latencies.end());
        const auto percentile = [&latencies](double part) {
            const auto index =
                static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1));
            return static_cast<double>(latencies[index].count()) / 1e6;
        };
        const auto stored = eventsIn(database);
        state.counters["requests/s"] = requests / took;
        state.counters["errors"] = errors;
        state.counters["events_sent"] = static_cast<double>(requests) * eventsPerRequest;
        state.counters["events_in_database"] = static_cast<double>(stored);
        state.counters["p50_ms"] = percentile(0.5);
        state.counters["p99_ms"] = percentile(0.99);
        state.counters["max_ms"] = percentile(1);
        state.counters["resident_before_MB"] = before;
        state.counters["resident_after_MB"] = after;
        if (exitCode != 0) state.SkipWithError("the collector did not end as it should");
        if (errors > 0) state.SkipWithError("not every request was answered with 200");
        if (stored != static_cast<std::int64_t>(requests) * eventsPerRequest ||
            summary.good != static_cast<std::size_t>(stored)) {
            state.SkipWithError("not every event is in the database, and good");
        }
    }
}

BENCHMARK(load)
    ->ArgNames({"requests_per_second", "seconds"})
    ->Args({1000, 30})
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);

}  // namespace
