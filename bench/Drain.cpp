// A full queue drains to the local collector, batch after batch at once and on one connection,
// while the host goes on sending. Compared with ten seconds, and each send with those of a host at
// whose queue the dispatch timer takes one batch at a time.

#include <zentara/ZentaraClient.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <thread>
#include <vector>

#include "Comparison.h"
#include "SampleQueue.h"
#include "support/ChildProcess.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t queuedEvents = 8000;
constexpr auto betweenSends = 5ms;
/// Some ticks for each round, each of which delays a send as one every ten seconds does.
constexpr double tickInterval = 0.5;
constexpr int rounds = 3;
constexpr DeliveryPolicy atOnce{.continueAtOnce = true, .reuseConnections = true};

struct Round {
    double drained = 0;    ///< nanoseconds until the queued events were delivered
    double worstSend = 0;  ///< nanoseconds
};

/// One round with a full queue, until its events are delivered or `most` has passed.
Round run(const std::string& collector, const DeliveryPolicy& policy, Clock::duration most) {
    const test::TestHost host;
    std::filesystem::create_directories(host.documents());
    writeFile(host.file("events-storage").string(), queueText(queuedEvents));
    test::TestHost::useServer(URL::parse(collector).value());
    auto settings = std::make_shared<ClientSettings>(*ClientSettings::current());
    settings->delivery = policy;
    settings->dispatchInterval = tickInterval;
    ClientSettingsAccess::setCurrent(std::move(settings));
    const auto isReady = std::make_shared<std::promise<void>>();
    ZentaraClient::pauseDelivery();
    const auto client = ZentaraClient::get([isReady](const auto&) { isReady->set_value(); });
    isReady->get_future().wait();

    Round round;
    const auto start = Clock::now();
    ZentaraClient::resumeDelivery();
    const auto delivered = ZentaraClient::statistics().delivered;
    const auto isDrained = [delivered] {
        return ZentaraClient::statistics().delivered - delivered >= queuedEvents;
    };
    for (auto due = start; !isDrained(); due += betweenSends) {
        std::this_thread::sleep_until(due);
        const auto before = Clock::now();
        if (before - start > most) break;
        client->send("page-view", "1", "application/json", "https://a.example/b", "",
                     {{"title", "Home"}, {"section", "home"}, {"language", "en"}});
        round.worstSend =
            std::max(round.worstSend,
                     std::chrono::duration<double, std::nano>(Clock::now() - before).count());
    }
    round.drained = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    // Nothing may write in the folder when it is removed.
    const auto isEmpty = std::make_shared<std::promise<void>>();
    ZentaraClient::flush(60s, [isEmpty](const FlushResult&) { isEmpty->set_value(); });
    isEmpty->get_future().wait();
    ZentaraClient::setSharedClient(nullptr);
    ZentaraClient::setIsReady(false);
    return round;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// The collector in a process of its own, which keeps the events in memory.
class Collector {
  public:
    [[nodiscard]] std::string url() {
        const auto line = process_.readLine().value_or("");
        return line.substr(line.find("http"));
    }

  private:
    test::ChildProcess process_{{ZENTARA_COLLECTOR, "--port", "0", "--no-https", "--quiet",
                                 "--schemas", ZENTARA_EXAMPLES "/schemas"}};
};

void drain(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        Collector collector;
        const auto url = collector.url();
        std::vector<double> times;
        for (int round = 0; round < rounds; ++round)
            times.push_back(run(url, atOnce, 60s).drained);
        report(state, median(times), 1e10, 1);
    }
}

void send(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        Collector collector;
        const auto url = collector.url();
        std::vector<double> draining;
        std::vector<double> ticking;
        for (int round = 0; round < rounds; ++round) {
            draining.push_back(run(url, atOnce, 60s).worstSend);
            ticking.push_back(run(url, {}, 5s).worstSend);
        }
        report(state, median(draining), median(ticking), 2);
    }
}

BENCHMARK(drain)->Name("drain 8000 events to a local collector")->Iterations(1);
BENCHMARK(send)->Name("slowest send while 8000 events drain")->Iterations(1);

}  // namespace
}  // namespace zentara::bench
