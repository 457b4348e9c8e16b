// A host application that sends numbered events and waits to be killed:
//
//     zentara_sending_host COLLECTOR SCHEMAS DOCUMENTS FIRST COUNT linger|fork
//
// On standard output stands a line for each event that was queued, its number. With "fork" children
// are forked meanwhile: "child <exit status>" for each that ended, "last <process id>" for the
// last.

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

/// Asked by the leak sanitizer: what threads hold that are not in a child looks lost there.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return 1;
}

namespace {

/// Nothing is lost with the process, or said again by a child.
void tell(const std::string& text) {
    const auto line = text + '\n';
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

/// What a child can do: nothing, but that without harm. Its exit status.
int tryInChild(ZentaraClient& client) {
    // Hanging counts as failing.
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
    const bool forks = std::string_view(argv[6]) == "fork";
    forks ? forkWhileSending(*client, send) : send();
    std::promise<void>().get_future().wait();
    return 0;
}
