// A host application that does everything at once, from several threads and from the library's own
// callbacks. Tells on standard output, as "taken 7", the events that the library has taken over.
//
//     zentara_stress_host SERVICES FOLDER FIRST OPERATIONS [RETURN-AFTER]
//
// It ends when all was delivered and the books balance, or returns from main in the middle, when it
// has done so many operations.

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <zentara/ZentaraClient.h>
#include "facade/ClientSettingsAccess.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

constexpr int threadCount = 6;

/// Used until the process is gone, so never destroyed.
struct Work {
    explicit Work(std::int64_t first, std::int64_t operations, std::int64_t end)
        : nextNumber(first), left(operations), untilReturn(end) {}

    std::atomic<std::int64_t> nextNumber;
    std::atomic<std::int64_t> left;
    std::atomic<std::int64_t> untilReturn;
    std::atomic<std::int64_t> beingSent = 0;
    test::Signal mayReturn;

    /// Whether there is one more operation to do.
    bool take() {
        if (--untilReturn == 0) mayReturn.notify();
        return left-- > 0;
    }
};

Work* work = nullptr;

/// Timers that fire often, whatever `useSettings` makes of them.
void useFastTimers() {
    auto settings = std::make_shared<ClientSettings>();
    settings->environment = ZentaraEnvironment::qa;
    settings->dispatchInterval = 0.005;
    settings->identityRefreshInterval = 0.005;
    ClientSettingsAccess::setCurrent(std::move(settings));
}

void send(bool goesOn = false) {
    ++work->beingSent;
    const auto number = work->nextNumber++;
    ZentaraClient::get()->send("any", "1", "t", number, "r", {{"n", number}}, std::nullopt,
                               [=](const EventRef&, const ZentaraClientErrorRef& error) {
                                   if (error && error->code() != 1) std::_Exit(3);
                                   const auto line = "taken " + std::to_string(number) + '\n';
                                   if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) {
                                       std::_Exit(4);
                                   }
                                   if (goesOn && work->take()) send();
                               });
    --work->beingSent;
}

void fetch() {
    ZentaraClient::get()->performFetch([](BackgroundFetchResult) {
        if (!work->take()) return;
        send();
        fetch();
    });
}

/// What takes next to no time, so that it is often done by several threads at once.
void doSomethingSmall(ZentaraClient& client, unsigned what) {
    switch (what % 11) {
        case 0:
            ZentaraClient::useSettings("tenant", ZentaraEnvironment::qa, "advertising");
            break;
        case 1:
            useFastTimers();
            break;
        case 2:
            ZentaraClient::setIsReady(what % 3 != 0);
            break;
        case 3:
        case 4:
            client.newContextId();
            break;
        case 5:
            if (client.getContextId().size() != 36) std::_Exit(7);
            break;
        case 6:
            ZentaraClient::setLoggedUser(UserTokenType::externalId, "somebody");
            break;
        case 7:
            ZentaraClient::removeLoggedUser();
            break;
        case 8:
            client.setAdvertisingId("advertising");
            break;
        case 9:
            client.removeAdvertisingId();
            break;
        default:
            static_cast<void>(ZentaraClient::statistics());
    }
}

void doSomething(std::mt19937& random) {
    const auto client = ZentaraClient::get([](const ZentaraClientErrorRef&) {
        if (work->take()) send();
    });
    for (int i = 0; i < 50; ++i)
        doSomethingSmall(*client, static_cast<unsigned>(random()));
    const auto what = static_cast<unsigned>(random());
    switch (what % 32) {
        case 0:
            ZentaraClient::setSharedClient(nullptr);
            break;
        case 1:
            client->getHsid([](const std::string&) {
                if (work->take()) fetch();
            });
            break;
        case 2:
        case 3:
            fetch();
            break;
        case 4:
            client->getAnonymousUser([](const auto&...) {
                if (work->take()) send();
            });
            break;
        default:
            send(what % 8 == 0);
    }
}

void doAll(unsigned seed) {
    std::mt19937 random(seed);
    while (work->take())
        doSomething(random);
}

/// Whether everything arrives and is accounted for.
bool finish() {
    useFastTimers();
    ZentaraClient::setIsReady(true);
    return test::eventually([] {
        if (work->beingSent > 0) return false;
        const auto books = ZentaraClient::statistics();
        // Each one that is sent releases ten that were held back.
        if (books.heldBackWaiting > 0) send();
        constexpr int fetches = 8;
        const auto isDone = std::make_shared<test::Signal>();
        for (int i = 0; i < fetches; ++i) {
            ZentaraClient::get()->performFetch(
                [isDone](BackgroundFetchResult) { isDone->notify(); });
        }
        return isDone->waitFor(fetches) &&
               books.heldBackWaiting + books.waiting + books.underWay == 0 &&
               books.accepted + books.notSaved + books.released + books.restored ==
                   books.delivered + books.evicted &&
               books.heldBack + books.heldBackNotSaved + books.heldBackRestored ==
                   books.released + books.droppedInvalid + books.droppedUnknownSchema +
                       books.heldBackEvicted;
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 64;
    // An end that hangs is an end by this signal.
    ::alarm(60);
    HostApplication::setDocumentsDirectory(argv[2]);
    HostApplication::setPreferencesDirectory(argv[2]);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = endpoints.qaSchemas = argv[1];
    ZentaraEndpoints::use(endpoints);
    useFastTimers();
    work = new Work(std::stoll(argv[3]), std::stoll(argv[4]), argc > 5 ? std::stoll(argv[5]) : -1);

    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread)
        threads.emplace_back(doAll, static_cast<unsigned>(work->nextNumber) + thread);
    if (argc > 5) {
        for (auto& thread : threads)
            thread.detach();
        return work->mayReturn.waitFor() ? 0 : 5;
    }
    for (auto& thread : threads)
        thread.join();
    return finish() ? 0 : 6;
}
