// The cost of a host that has sent one event and is idle.

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <string>
#include <thread>

using namespace zentara;

namespace {

long fieldOf(const std::filesystem::path& status, const std::string& name) {
    std::ifstream file(status);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":")) return std::atol(line.c_str() + name.size() + 1);
    }
    return 0;
}

/// The number of voluntary context switches of all threads so far.
long sleeps() {
    long sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
        sum += fieldOf(thread.path() / "status", "voluntary_ctxt_switches");
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: idle_host COLLECTOR_URL SECONDS\n";
        return 2;
    }
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = endpoints.qaSchemas = argv[1];
    ZentaraEndpoints::use(endpoints);
    const auto seconds = std::atol(argv[2]);
    ZentaraClient::useSettings("bench", ZentaraEnvironment::qa);
    const auto client = ZentaraClient::get();
    client->send("page-view", "1", "application/json", "https://example.com/", "",
                 {{"title", "Home"}, {"section", "home"}, {"language", "en"}});
    // Two ticks deliver the event; after that no work is due.
    std::this_thread::sleep_for(std::chrono::seconds(22));
    const auto before = sleeps();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    // Without those of this thread.
    const auto slept = sleeps() - before - 1;
    std::cout << slept * 60 / seconds << ' ' << fieldOf("/proc/self/status", "Threads") << ' '
              << fieldOf("/proc/self/status", "VmRSS") << '\n';
}
