// A host application that is made to be killed. Several threads send numbered events, change the
// user and the context, and ask for deliveries, from the first moment on, so that the earliest
// events are held back.
//
//     kill_host COLLECTOR SCHEMAS DOCUMENTS RUN FIRST COUNT HASTE linger|leave|drain
//
// After HASTE events it waits until the schemas are there. After COUNT events it goes on asking for
// deliveries until it is killed ("linger"), or returns from main in the middle of them ("leave").
// With "drain" it sends its events when it is ready, one after the other, until nothing waits any
// more.
//
// On standard output stands a line for each thing that has happened:
//
//     queued N     the handler of the event with this number reported success
//     held N       it reported that the event is kept to be sent later
//     refused N    it reported another error
//     fetch        a delivery begins, as far as the host knows
//     fetched      and has ended
//     leaving      main returns
//
// and with "drain" at the end `books`, with the two imbalances of the library's statistics and the
// counts of delivered and of evicted events.

#include <fcntl.h>
#include <unistd.h>
#include <zentara/ZentaraClient.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Traffic.h"
#include "support/Books.h"
#include "support/HostSetUp.h"

using namespace zentara;

namespace {

constexpr int senders = 3;
constexpr int mostFetches = 4;

// These outlive main, as the workers of the library do.
int output = -1;
std::atomic<std::int64_t> next = 0;
std::atomic<int> fetches = 0;

/// Straight to the pipe, in one piece, so that nothing is lost with the process.
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
    client.performFetch([](BackgroundFetchResult) {
        tell("fetched");
        --fetches;
    });
}

void changeUser(std::int64_t number) {
    if (number % 3 == 0) {
        ZentaraClient::removeLoggedUser();
    } else {
        ZentaraClient::setLoggedUser(UserTokenType::guest, "user-" + std::to_string(number % 3));
    }
}

void sendMany(ZentaraClient& client, std::int64_t end, std::int64_t endOfHaste,
              const std::shared_future<void>& ready) {
    for (std::int64_t number = next++; number < end; number = next++) {
        if (number >= endOfHaste) ready.wait();
        if (number % 61 == 0) changeUser(number / 61);
        if (number % 97 == 0) client.newContextId();
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
        if (books.waiting == 0 && books.underWay == 0) break;
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
    // Where the library tells of what it holds back.
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);

    test::setUpHost(argv[3], argv[1], argv[2], argv[4]);
    const std::string_view manner = argv[8];
    next = std::stoll(argv[5]);
    const std::int64_t end = next + std::stoll(argv[6]);
    const std::int64_t endOfHaste = next + std::stoll(argv[7]);

    const auto promise = std::make_shared<std::promise<void>>();
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const std::shared_future<void> ready = promise->get_future();
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef& error) {
        if (!error && !told->exchange(true)) promise->set_value();
    });
    if (manner == "drain") {
        ready.wait();
        drain(*client);
        return 0;
    }
    std::vector<std::thread> threads;
    for (int sender = 0; sender < senders; ++sender)
        threads.emplace_back([&] { sendMany(*client, end, endOfHaste, ready); });
    for (auto& thread : threads)
        thread.join();
    while (manner == "linger") {
        fetch(*client);
        std::this_thread::yield();
    }
    fetch(*client);
    tell("leaving");
    return 0;
}
