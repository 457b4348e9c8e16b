// A host application whose library has much to say:
//
//     zentara_logging_host COLLECTOR SCHEMAS DOCUMENTS COUNT
//
// It writes each line of the log to the descriptor 3, as "LEVEL COMPONENT TEXT". It
// ends by a fatal error, after the sink has got COUNT lines.

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/HostSetUp.h"
#include "support/WaitFor.h"

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

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) return EXIT_FAILURE;
    ZentaraClient::setLogSink(LogLevel::info, keep);
    test::setUpHost(arguments[3], arguments[1], arguments[2]);

    const auto ready = std::make_shared<test::Signal>();
    const auto client = ZentaraClient::get([ready](const ZentaraClientErrorRef& error) {
        if (!error) ready->notify();
    });
    ZentaraClient::setIsReady(false);
    client->send({.schemaId = "held\nback", .schemaVersion = "1"});
    if (!ready->waitFor()) return EXIT_FAILURE;
    ZentaraClient::setIsReady(true);

    test::valueFrom<std::string>([&](auto done) { client->getHsid(done); });
    test::valueFrom<BackgroundFetchResult>([&](auto done) { client->performFetch(done); });

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

    while (lines < std::atoi(arguments[4]))
        std::this_thread::yield();
    ZentaraClient::setFailFast(true);
    client->send({.schemaId = "nowhere", .schemaVersion = "1"});
    return EXIT_FAILURE;
}
