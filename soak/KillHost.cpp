// The host application that soak_kill kills. Several threads send numbered events, change the user
// and the context, and request deliveries. They start at once, so that the first events are held
// back.
//
//     kill_host COLLECTOR SCHEMAS DOCUMENTS RUN FIRST COUNT HASTE linger|leave|drain
//
// After HASTE events it waits for the schemas. After COUNT events it requests deliveries until it
// is killed ("linger"), or returns from main during a delivery ("leave"). With "drain" it waits for
// the schemas first and then sends events one by one until both queues are empty.
//
// It writes a line to standard output for each of these:
//
//     queued N     the handler of event N reported success
//     held N       the handler reported that the event is held back
//     dropped N    the handler reported that the host has dropped the event
//     refused N    the handler reported another error
//     interrupt    the host is about to interrupt all requests in flight
//     fetch        the host requests a delivery, by a fetch or a flush
//     fetched      the delivery has ended
//     leaving      main returns
//
// "drain" ends with `books`, the two imbalances of the library's statistics and the counts of
// delivered and of evicted events.

#include <fcntl.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Traffic.h"
#include "support/HostSetUp.h"

using namespace zentara;

namespace {

constexpr int senders = 3;
constexpr int mostFetches = 4;

// Not destroyed, as the workers of the library outlive main.
int output = -1;
std::atomic<std::int64_t> next = 0;
std::atomic<int> fetches = 0;
std::atomic<int> deliveries = 0;

/// Writes to the pipe at once, so that no line is lost with the process.
void tell(std::string line) {
    line += '\n';
    if (::write(output, line.data(), line.size()) != static_cast<ssize_t>(line.size())) ::abort();
}

void send(ZentaraClient& client, std::int64_t number) {
    auto event = soak::numberedEvent(number);
    client.send(std::move(event.schemaId), std::move(event.schemaVersion), "application/json",
                number, "", std::move(event.properties), std::nullopt,
                [number](const EventRef&, const ZentaraClientErrorRef& error) {
                    const char* outcome = "refused ";
                    if (!error) {
                        outcome = "queued ";
                    } else if (dynamic_cast<const EventDroppedError*>(error.get()) != nullptr) {
                        outcome = "dropped ";
                    } else if (std::string_view(error->what()).find("queued to be sent later") !=
                               std::string_view::npos) {
                        outcome = "held ";
                    }
                    tell(outcome + std::to_string(number));
                });
}

void fetch(ZentaraClient& client) {
    if (++fetches > mostFetches) {
        --fetches;
        return;
    }
    tell("fetch");
    const auto end = [](const auto&) {
        tell("fetched");
        --fetches;
    };
    // A flush has one batch in flight at a time, too.
    if (++deliveries % 8 == 0) {
        ZentaraClient::flush(std::chrono::hours(1), end);
    } else {
        client.performFetch(end);
    }
}

void changeUser(std::int64_t number) {
    if (number % 3 == 0) {
        ZentaraClient::removeLoggedUser();
    } else {
        ZentaraClient::setLoggedUser(UserTokenType::guest, "user-" + std::to_string(number % 3));
    }
}

EventDecision mayQueue(const OutgoingEvent& event) {
    return std::stoll(event.url.string()) % 89 == 0 ? EventDecision::drop : EventDecision::queue;
}

/// Uses what a host controls while other threads send.
void control(std::int64_t number) {
    switch (number % 5) {
        case 0:
            tell("interrupt");
            ZentaraClient::setConsent(Consent::pending);
            ZentaraClient::setConsent(Consent::granted);
            break;
        case 1:
            ZentaraClient::pauseDelivery();
            break;
        case 2:
            ZentaraClient::resumeDelivery();
            break;
        case 3:
            ZentaraClient::setBeforeQueue(mayQueue);
            break;
        default:
            ZentaraClient::setBeforeQueue(nullptr);
    }
}

void sendMany(ZentaraClient& client, std::int64_t end, std::int64_t endOfHaste,
              const std::shared_future<void>& ready) {
    for (std::int64_t number = next++; number < end; number = next++) {
        if (number >= endOfHaste) ready.wait();
        if (number % 61 == 0) changeUser(number / 61);
        if (number % 97 == 0) client.newContextId();
        if (number % 29 == 0) control(number / 29);
        send(client, number);
        if (number % 4 == 0) fetch(client);
    }
}

void drain(ZentaraClient& client) {
    do {
        send(client, next++);
    } while (ZentaraClient::statistics().heldBackWaiting > 0);
    for (;;) {
        const auto books = ZentaraClient::statistics();
        if (books.waiting == 0 && books.inFlight == 0) break;
        std::promise<void> fetched;
        tell("fetch");
        client.performFetch([&fetched](BackgroundFetchResult) { fetched.set_value(); });
        fetched.get_future().wait();
        tell("fetched");
    }
    const auto books = ZentaraClient::statistics();
    const auto [queue, heldBack] = test::imbalances(books);
    tell("books " + std::to_string(queue) + ' ' + std::to_string(heldBack) + ' ' +
         std::to_string(books.delivered) + ' ' +
         std::to_string(books.evicted + books.heldBackEvicted));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 9) return 64;
    output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    // The library prints each event that it holds back to standard output.
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);

    test::setUpHost(argv[3], argv[1], argv[2], argv[4]);
    const std::string_view mode = argv[8];
    next = std::stoll(argv[5]);
    const std::int64_t end = next + std::stoll(argv[6]);
    const std::int64_t endOfHaste = next + std::stoll(argv[7]);

    const auto promise = std::make_shared<std::promise<void>>();
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const std::shared_future<void> ready = promise->get_future();
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef& error) {
        if (!error && !told->exchange(true)) promise->set_value();
    });
    // An earlier run may have been killed between the two changes of consent.
    ZentaraClient::setConsent(Consent::granted);
    if (mode == "drain") {
        ready.wait();
        drain(*client);
        return 0;
    }
    std::vector<std::thread> threads;
    for (int sender = 0; sender < senders; ++sender)
        threads.emplace_back([&] { sendMany(*client, end, endOfHaste, ready); });
    for (auto& thread : threads)
        thread.join();
    ZentaraClient::resumeDelivery();
    while (mode == "linger") {
        fetch(*client);
        std::this_thread::yield();
    }
    fetch(*client);
    tell("leaving");
    return 0;
}
