// A host application that sends numbered events and waits to be killed:
//
//     zentara_sending_host COLLECTOR SCHEMAS DOCUMENTS FIRST COUNT linger|fork|return
//
// Prints the number of each queued event. With "fork" it also forks children and prints "child
// STATUS" for each that has ended, and "last ID" for a child that stays.

#include <sys/wait.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "support/HostSetUp.h"

using namespace zentara;

/// Turns the leak sanitizer off: a child lacks the threads that hold its memory.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return 1;
}

namespace {

/// Unbuffered, so that a kill loses no line and a child repeats none.
void tell(const std::string& text) {
    const auto line = text + '\n';
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

/// Checks that each call fails cleanly in a child. Returns the exit status.
int tryInChild(ZentaraClient& client) {
    // Ends a child that hangs.
    ::alarm(20);
    const auto books = ZentaraClient::statistics();
    int failed = 0;
    client.send("numbered", "1", "text/plain", "", "", {{"number", -1}}, std::nullopt,
                [&](const EventRef&, const ZentaraClientErrorRef& error) {
                    if (dynamic_cast<const EventNotQueuedError*>(error.get())) ++failed;
                });
    client.performFetch([&](BackgroundFetchResult result) {
        if (result == BackgroundFetchResult::failed) ++failed;
    });
    client.getHsid([&](const std::string& hsid) {
        if (hsid.empty()) ++failed;
    });
    client.getAnonymousUser(
        [&](const std::string& type, const std::string&, const std::optional<std::string>&) {
            if (type.empty()) ++failed;
        });
    client.newContextId();
    client.setAdvertisingId("id");
    ZentaraClient::setLoggedUser(UserTokenType::guest, "child");
    ZentaraClient::setSharedClient(nullptr);
    const auto again = ZentaraClient::get([&](const ZentaraClientErrorRef& error) {
        if (error) ++failed;
    });
    if (again && again.get() != &client) return 2;
    return failed == 5 && ZentaraClient::statistics() == books ? 0 : 1;
}

void forkWhileSending(ZentaraClient& client, const std::function<void()>& send) {
    std::jthread sender(send);
    int status = 0;
    for (int number = 0; number < 40 && status == 0; ++number) {
        const auto child = ::fork();
        if (child == 0) std::exit(tryInChild(client));
        ::waitpid(child, &status, 0);
        tell("child " + std::to_string(status));
    }
    const auto last = ::fork();
    if (last == 0) ::close(STDOUT_FILENO);
    while (last == 0)
        ::pause();
    sender.join();
    tell("last " + std::to_string(last));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) return 64;
    test::setUpHost(argv[3], argv[1], argv[2]);
    const auto ready = std::make_shared<std::promise<void>>();
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef& error) {
        if (!error && !told->exchange(true)) ready->set_value();
    });
    ready->get_future().wait();
    const auto first = std::stoll(argv[4]);
    const auto count = std::stoll(argv[5]);
    const auto send = [&] {
        for (std::int64_t number = first; number < first + count; ++number) {
            client->send("numbered", "1", "text/plain", number, "", {{"number", number}},
                         std::nullopt,
                         [number](const EventRef&, const ZentaraClientErrorRef& error) {
                             if (!error) tell(std::to_string(number));
                         });
        }
    };
    const std::string_view mode = argv[6];
    mode == "fork" ? forkWhileSending(*client, send) : send();
    if (mode == "return") {
        // With up to ten events in flight.
        ZentaraClient::setLoggedUser(UserTokenType::guest, "user");
        client->performFetch([](BackgroundFetchResult) {});
        return ZentaraClient::statistics().inFlight == count ? 0 : 1;
    }
    std::promise<void>().get_future().wait();
    return 0;
}
