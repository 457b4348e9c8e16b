// A host application whose library has much to say:
//
//     zentara_logging_host COLLECTOR SCHEMAS DOCUMENTS sink|print COUNT
//
// With "sink" it writes each line of the log to the descriptor 3, as "LEVEL COMPONENT TEXT". It
// ends by a fatal error, after the sink has got COUNT lines.

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "support/HostSetUp.h"

using namespace zentara;

namespace {

std::atomic<int> lines = 0;

void keep(const LogLine& line) {
    const auto text = std::to_string(static_cast<int>(line.level)) + " " + line.component + " " +
                      line.text + "\n";
    if (::write(3, text.data(), text.size()) < 0) std::abort();
    ++lines;
    throw std::runtime_error("the library ignores it");
}

void fetchHsid(ZentaraClient& client) {
    std::promise<void> done;
    client.getHsid([&](const std::string&) { done.set_value(); });
    done.get_future().wait();
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 6) return EXIT_FAILURE;
    const bool hasSink = std::string_view(arguments[4]) == "sink";
    if (hasSink) ZentaraClient::setLogSink(LogLevel::info, keep);
    test::setUpHost(arguments[3], arguments[1], arguments[2]);

    std::promise<void> ready;
    // The ready callback may come again.
    std::atomic<bool> isReady = false;
    const auto client = ZentaraClient::get([&](const ZentaraClientErrorRef& error) {
        if (!error && !isReady.exchange(true)) ready.set_value();
    });
    ZentaraClient::setIsReady(false);
    client->send({.schemaId = "held\nback", .schemaVersion = "1"});
    ready.get_future().wait();
    ZentaraClient::setIsReady(true);

    fetchHsid(*client);
    std::promise<void> fetched;
    client->performFetch([&](BackgroundFetchResult) { fetched.set_value(); });
    fetched.get_future().wait();

    ZentaraClient::setBeforeQueue([](OutgoingEvent&) -> EventDecision { throw 1; });
    client->send({.schemaId = "any", .schemaVersion = "1"});
    ZentaraClient::setBeforeQueue(nullptr);

    ::signal(SIGXFSZ, SIG_IGN);
    rlimit size{};
    ::getrlimit(RLIMIT_FSIZE, &size);
    const rlimit none{0, size.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
    client->send({.schemaId = "any", .schemaVersion = "1"});
    ::setrlimit(RLIMIT_FSIZE, &size);
    client->send({.schemaId = "any", .schemaVersion = "1"});

    const auto child = ::fork();
    if (child == 0) {
        client->send({.schemaId = "any", .schemaVersion = "1"});
        ::_exit(EXIT_SUCCESS);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0) return EXIT_FAILURE;

    while (hasSink && lines < std::atoi(arguments[5]))
        std::this_thread::yield();
    ZentaraClient::setFailFast(true);
    client->send({.schemaId = "nowhere", .schemaVersion = "1"});
    return EXIT_FAILURE;
}
