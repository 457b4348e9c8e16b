// A host application that uses the library from several threads and from the library's callbacks.
// Prints "taken 7" when the library has accepted event 7. Prints "leaving" and returns from main
// after RETURN-AFTER operations; if that is 0, returns when all events are delivered and the
// statistics balance.
//     zentara_stress_host COLLECTOR SCHEMAS AUTHORITY FOLDER FIRST OPERATIONS RETURN-AFTER

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
#include "support/ClientSettingsAccess.h"
#include "support/HostSetUp.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

std::atomic<std::int64_t> nextNumber = 0;
std::atomic<std::int64_t> operationsLeft = 0;
std::atomic<std::int64_t> untilReturn = 0;
std::atomic<std::int64_t> beingSent = 0;
/// Never destroyed: threads use it until the process ends.
auto& mayReturn = *new test::Signal;

void tell(const std::string& text) {
    const auto line = text + '\n';
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) std::_Exit(4);
}

/// Whether there is one more operation to do.
bool takeOperation() {
    if (--untilReturn == 0) mayReturn.notify();
    return operationsLeft-- > 0;
}

/// Replaces the intervals that `useSettings` has set.
void useFastTimers() {
    auto settings = std::make_shared<ClientSettings>();
    settings->environment = ZentaraEnvironment::qa;
    settings->dispatchInterval = 0.005;
    // A fetch that takes longer than this is repeated.
    settings->identityRefreshInterval = 0.5;
    ClientSettingsAccess::setCurrent(std::move(settings));
}

void send(bool goesOn = false) {
    ++beingSent;
    const auto number = nextNumber++;
    ZentaraClient::get()->send("any", "1", "t", number, "r", {{"n", number}}, std::nullopt,
                               [=](const EventRef&, const ZentaraClientErrorRef& error) {
                                   if (error && error->code() != 1) std::_Exit(3);
                                   tell("taken " + std::to_string(number));
                                   if (goesOn && takeOperation()) send();
                               });
    --beingSent;
}

void fetch() {
    ZentaraClient::get()->performFetch([](BackgroundFetchResult) {
        if (!takeOperation()) return;
        send();
        fetch();
    });
}

/// Short calls, so that threads often make them at the same time.
void doSmallThings(ZentaraClient& client, unsigned random) {
    ZentaraClient::useSettings("tenant", ZentaraEnvironment::qa, "advertising");
    useFastTimers();
    ZentaraClient::setIsReady(random % 3 != 0);
    client.newContextId();
    if (client.getContextId().size() != 36) std::_Exit(7);
    if (random % 2 == 0) {
        ZentaraClient::setLoggedUser(UserTokenType::externalId, "user");
        client.setAdvertisingId("advertising");
    } else {
        ZentaraClient::removeLoggedUser();
        client.removeAdvertisingId();
    }
    static_cast<void>(ZentaraClient::statistics());
}

void doSomething(std::mt19937& random) {
    const auto client = ZentaraClient::get([](const ZentaraClientErrorRef&) {
        if (takeOperation()) send();
    });
    for (int i = 0; i < 5; ++i)
        doSmallThings(*client, static_cast<unsigned>(random()));
    const auto what = random() % 32;
    if (what == 0) {
        ZentaraClient::setSharedClient(nullptr);
    } else if (what == 1) {
        client->getHsid([](const std::string&) {
            if (takeOperation()) fetch();
        });
    } else if (what == 2) {
        client->getAnonymousUser([](const auto&...) {
            if (takeOperation()) send();
        });
    } else if (what < 5) {
        fetch();
    } else {
        send(what % 8 == 0);
    }
}

/// Whether all events arrive and the statistics balance.
bool finish() {
    useFastTimers();
    ZentaraClient::setIsReady(true);
    return test::eventually([] {
        if (beingSent > 0) return false;
        const auto books = ZentaraClient::statistics();
        // Each event that is sent releases ten that are held back.
        if (books.heldBackWaiting > 0) send();
        const auto isDone = std::make_shared<test::Signal>();
        ZentaraClient::get()->performFetch([isDone](BackgroundFetchResult) { isDone->notify(); });
        return isDone->waitFor() && books.heldBackWaiting + books.waiting + books.inFlight == 0 &&
               test::imbalances(books) == std::pair<std::int64_t, std::int64_t>();
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 8) return 64;
    // Ends a process that hangs.
    ::alarm(60);
    test::setUpHost(argv[4], argv[1], argv[2], "tenant", argv[3]);
    useFastTimers();
    nextNumber = std::stoll(argv[5]);
    operationsLeft = std::stoll(argv[6]);
    const std::int64_t returnAfter = std::stoll(argv[7]);
    untilReturn = returnAfter;

    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 6; ++thread) {
        threads.emplace_back(
            [random = std::mt19937(static_cast<unsigned>(nextNumber) + thread)]() mutable {
                while (takeOperation())
                    doSomething(random);
            });
    }
    if (returnAfter > 0) {
        for (auto& thread : threads)
            thread.detach();
        const bool isTime = mayReturn.waitFor();
        tell("leaving");
        return isTime ? 0 : 5;
    }
    for (auto& thread : threads)
        thread.join();
    return finish() ? 0 : 6;
}
