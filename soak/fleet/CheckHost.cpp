// One client of check_fleet: the whole library, with a short dispatch interval and a small queue.
// It sends events at random moments until its time has passed, and prints its counts.
//
//     check_host COLLECTOR FOLDER NUMBER BEGIN SECONDS RATE INTERVAL CAPACITY default|policy
//
// BEGIN is in milliseconds since 1970. Prints "ready" when the schemas are there and at the end
// `made delivered evicted left`.

#include <fcntl.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "support/ClientSettingsAccess.h"
#include "support/HostSetUp.h"

using namespace zentara;

namespace {

using WallClock = std::chrono::system_clock;

int output = -1;

void tell(const std::string& line) {
    const auto text = line + '\n';
    if (::write(output, text.data(), text.size()) != static_cast<ssize_t>(text.size())) ::_exit(1);
}

void configure(double interval, std::int64_t capacity, bool hasPolicy) {
    auto settings = std::make_shared<ClientSettings>(*ClientSettings::current());
    settings->dispatchInterval = interval;
    settings->maxEvents = capacity;
    settings->delivery.backOff = hasPolicy;
    settings->delivery.continueAtOnce = hasPolicy;
    ClientSettingsAccess::setCurrent(std::move(settings));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 10) return 64;
    // The library prints what it fails to deliver.
    output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), stream);
    test::setUpHost(argv[2], argv[1], argv[1], "fleet");
    configure(std::stod(argv[7]), std::stoll(argv[8]), std::string_view(argv[9]) == "policy");
    const auto begin = WallClock::time_point(std::chrono::milliseconds(std::stoll(argv[4])));
    const auto end = begin + std::chrono::seconds(std::stoll(argv[5]));

    const auto promise = std::make_shared<std::promise<void>>();
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef& error) {
        if (!error && !told->exchange(true)) promise->set_value();
    });
    promise->get_future().wait();
    tell("ready");

    std::mt19937_64 random(std::stoull(argv[3]));
    std::exponential_distribution<double> gap(std::stod(argv[6]));
    std::int64_t made = 0;
    const auto wait = [&] {
        return std::chrono::duration_cast<WallClock::duration>(
            std::chrono::duration<double>(gap(random)));
    };
    for (auto at = begin + wait(); at < end; at += wait(), ++made) {
        std::this_thread::sleep_until(at);
        client->send("page-view", "1", "application/json", made, "",
                     {{"title", "fleet"}, {"section", "home"}, {"language", "de"}, {"loadMs", 12}});
    }
    std::this_thread::sleep_until(end);
    const auto books = ZentaraClient::statistics();
    std::string line;
    for (const auto count : {made, books.delivered, books.evicted, books.waiting + books.inFlight})
        line += std::to_string(count) + ' ';
    tell(line);
    // Without the work at the end of a process, which would post again.
    ::_exit(0);
}
